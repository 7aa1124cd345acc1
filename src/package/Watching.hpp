// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "io/Watch.hpp"
#include "package/PackageState.hpp"

namespace opc::model {

/// One operation on a package, as the package's monitor watches it. While the object lives, streams of the package's
/// parts check the watch at each read and write, on any thread. An operation within an operation belongs to the outer
/// one. Without a monitor nothing is watched.
class Watching {
 public:
  explicit Watching(PackageState& state);
  explicit Watching(Package& package) : Watching(PackageState::of(package)) {}
  ~Watching();
  Watching(Watching const&) = delete;
  Watching& operator=(Watching const&) = delete;

  /// Null where nothing is watched, or an outer operation is.
  Watch* own() const { return own_.get(); }
  /// Of the outermost operation; null where nothing is watched.
  Watch* current() const { return current_.get(); }

 private:
  PackageState& state_;
  std::shared_ptr<Watch> own_, current_;
};

}  // namespace opc::model
