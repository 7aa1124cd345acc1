// SPDX-License-Identifier: Apache-2.0
#include "crypto/InlineIVCheck.hpp"

#include <algorithm>

namespace opc::ztservices {

using foundation::crypto::BytesView;
using foundation::crypto::detail::AESGCM;

static_assert(AESGCM::kIVBytes == AESGCM::kTagBytes, "one array holds either");

void InlineIVCheck::begin() {
  heldBytes_ = 0;
  hasVector_ = false;
}

void InlineIVCheck::append(BytesView bytes) {
  if (hasVector_) return appendCiphertext(bytes);
  std::size_t const count = std::min(bytes.size(), held_.size() - heldBytes_);
  std::copy_n(bytes.begin(), count, held_.begin() + static_cast<std::ptrdiff_t>(heldBytes_));
  heldBytes_ += count;
  if (heldBytes_ < held_.size()) return;
  key_.cipher().beginChecking(held_);
  heldBytes_ = 0;
  hasVector_ = true;
  appendCiphertext(bytes.subspan(count));
}

/// All bytes so far are ciphertext, except the last ones, which may be the tag.
void InlineIVCheck::appendCiphertext(BytesView bytes) {
  std::size_t const surplus = heldBytes_ + bytes.size() - std::min(heldBytes_ + bytes.size(), held_.size());
  std::size_t const fromHeld = std::min(surplus, heldBytes_);
  key_.cipher().continueChecking(BytesView(held_).first(fromHeld));
  key_.cipher().continueChecking(bytes.first(surplus - fromHeld));
  std::copy(held_.begin() + static_cast<std::ptrdiff_t>(fromHeld),
            held_.begin() + static_cast<std::ptrdiff_t>(heldBytes_), held_.begin());
  heldBytes_ -= fromHeld;
  BytesView const rest = bytes.subspan(surplus - fromHeld);
  std::copy(rest.begin(), rest.end(), held_.begin() + static_cast<std::ptrdiff_t>(heldBytes_));
  heldBytes_ += rest.size();
}

bool InlineIVCheck::isAuthentic() {
  return hasVector_ && key_.cipher().endChecking(BytesView(held_).first(heldBytes_));
}

}  // namespace opc::ztservices
