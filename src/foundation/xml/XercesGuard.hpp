// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace opc::model {

/// Keeps the Xerces platform initialised while it lives; uses are counted. Any number of guards may live
/// in any threads. Where the first guard is what initialises the platform, its network accessor is removed
/// before anyone can use it.
class XercesGuard {
 public:
  XercesGuard();
  ~XercesGuard();
  XercesGuard(XercesGuard const&);
  XercesGuard& operator=(XercesGuard const&) = default;
};

}  // namespace opc::model
