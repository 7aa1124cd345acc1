// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zt_test {

using Bytes = std::vector<unsigned char>;

/// The rows of one kind in tests/data/crypto/known-answers.tsv, which an independent program computed (see
/// KnownAnswers.java beside it); without their first column.
std::vector<std::vector<std::string>> knownAnswers(std::string const& kind);
/// The same for tests/data/crypto/published-vectors.tsv, which names its source.
std::vector<std::vector<std::string>> publishedVectors(std::string const& kind);

/// Content in which every position differs from its neighbours; the known answers are about it.
Bytes sampleContent(std::size_t length);

Bytes fromHex(std::string const& digits);

}  // namespace zt_test
