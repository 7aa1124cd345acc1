// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <utility>

namespace opc::model {

/// An owning UTF-16 string: a name or namespace that is made once and passed to Xerces often.
class XercesString {
 public:
  XercesString() = default;
  explicit XercesString(char16_t const* text) : text_(text) {}
  explicit XercesString(std::u16string text) : text_(std::move(text)) {}

  std::u16string const& toString() const { return text_; }
  /// Zero-terminated, valid while this lives unchanged.
  char16_t const* c_str() const { return text_.c_str(); }
  char16_t* data() { return text_.data(); }
  explicit operator std::u16string() const { return text_; }

  friend bool operator==(XercesString const&, XercesString const&) = default;

 private:
  std::u16string text_;
};

struct XercesRelease {
  template <typename T>
  void operator()(T* object) const {
    object->release();
  }
};

/// An object of XercesHelper: a document, parser or writer. The XercesGuard of its owner outlives it.
template <typename T>
using XercesOwned = std::unique_ptr<T, XercesRelease>;

/// Keeps the Xerces platform initialised while it lives, and from the first guard on until static objects are
/// destroyed. Uses are counted. Any number of guards may live, in any threads and after that point. If the first guard
/// initialises the platform, it removes the network accessor; an application that needs one initialises Xerces first.
class XercesGuard {
 public:
  XercesGuard();
  ~XercesGuard();
  XercesGuard(XercesGuard const&);
  XercesGuard& operator=(XercesGuard const&) = default;
};

}  // namespace opc::model
