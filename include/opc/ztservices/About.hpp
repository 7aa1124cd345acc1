// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "opc/Export.hpp"

/// Versions, for an application that reports a fault. Every function may be called from any thread.
namespace opc::ztservices {

/// A library underneath, by the name that it gives itself.
struct LibraryVersion {
  std::string name;
  std::string version;
};

/// Version of the running library, such as "0.2.0". The headers that the caller was compiled with may be of another.
ZT_API std::string getVersion();

/// The libraries underneath, always in this order: Boost, Xerces-C, zlib, libdeflate, OpenSSL, ICU. The versions of
/// zlib, OpenSSL and ICU are those that run; the others are those that this library was compiled with.
ZT_API std::vector<LibraryVersion> getLibraryVersions();

}  // namespace opc::ztservices
