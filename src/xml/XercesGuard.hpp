// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace opc::model {

/// Keeps the Xerces platform initialised while it lives, and from the first one on until static objects are
/// destroyed; uses are counted. Any number of guards may live in any threads, and beyond that. Where the first
/// guard is what initialises the platform, its network accessor is removed before anyone can use it: an
/// application that wants one initialises Xerces before.
class XercesGuard {
 public:
  XercesGuard();
  ~XercesGuard();
  XercesGuard(XercesGuard const&);
  XercesGuard& operator=(XercesGuard const&) = default;
};

}  // namespace opc::model
