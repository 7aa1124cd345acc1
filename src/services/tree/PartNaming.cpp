// SPDX-License-Identifier: Apache-2.0
#include "services/tree/PartNaming.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "crypto/Utils.hpp"
#include "opc/Strings.hpp"

namespace opc::ztservices {
namespace {

constexpr char16_t kContentRoot[] = u"/fsroot";
constexpr char kUnescaped[] = "/+@";

/// Before the last dot of the whole name, which may stand in a folder's component; else at the end.
std::size_t positionBeforeExtension(std::u16string const& name) { return std::min(name.rfind(u'.'), name.size()); }

/// The digest is of the code units, each with its low byte first.
std::u16string digestName(IDigestEngine& engine, std::u16string const& text) {
  std::vector<unsigned char> bytes;
  bytes.reserve(2 * text.size());
  for (char16_t const unit : text) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  return u"/" + opc::toString(foundation::crypto::utils::hexEncode(engine.digest(bytes)));
}

}  // namespace

// The suffixes accumulate: a second clash of /fsroot/a_1.txt leads to /fsroot/a_1_2.txt.
std::u16string makeUniquePartName(model::Package const& package, std::u16string const& path, IDigestEngine* digest) {
  std::u16string const encoded = model::URI::encodeComponent(path, kUnescaped);
  std::u16string name = kContentRoot + (digest ? digestName(*digest, encoded) : encoded);
  for (std::size_t count = 1;; ++count) {
    std::u16string existing;
    model::PartName const candidate(name);
    if (!package.isPartDerivedFromExistingPartName(candidate, existing)) return name;
    std::size_t position = positionBeforeExtension(name);
    // An existing part that lies below the candidate has the longer name.
    if (!package.hasPart(candidate)) position = std::min(existing.size(), name.size());
    name.insert(position, u"_" + opc::toString(std::to_string(count)));
  }
}

}  // namespace opc::ztservices
