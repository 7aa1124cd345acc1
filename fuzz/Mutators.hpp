// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "FuzzTarget.hpp"

/// Changes that know the format of an input. Bytes changed anywhere seldom get past the checks at the door: a wrong CRC
/// or length ends nearly all of them. These change one thing that a reader looks at and keep the rest consistent.
namespace zt_fuzz {

inline std::size_t below(Random& random, std::size_t bound) { return random() % bound; }

template <typename Choices>
auto const& oneOf(Random& random, Choices const& choices) {
  return choices[below(random, choices.size())];
}

/// A container: contents (with the right CRC and sizes, stored or deflated), names, order and number of items, extra
/// fields (growth hints, zip64 numbers, indexes of chunks), flags, methods, lengths, offsets, pieces, what lies in
/// front, between and behind. Bytes that are no container are changed anyhow.
Bytes changeContainer(Bytes const& input, Random& random, ChangeBytes const& change);

/// A document: one of its elements, attributes or values is repeated, removed, exchanged or replaced by a word that
/// means something in such documents.
Bytes changeMarkup(Bytes const& input, Random& random, ChangeBytes const& change);

}  // namespace zt_fuzz
