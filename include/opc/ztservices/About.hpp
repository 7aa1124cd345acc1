// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "opc/Export.hpp"

/// What an application may say of itself in a report of a fault. Thread-safe.
namespace opc::ztservices {

/// A library underneath, by the name that it gives itself.
struct LibraryVersion {
  std::string name;
  std::string version;
};

/// Version of this library, such as "0.1.0": of the one that runs, whatever headers the caller was compiled with.
ZT_API std::string getVersion();

/// The libraries underneath, always the same and in the same order: Boost, Xerces-C, zlib, libdeflate, OpenSSL, ICU.
/// zlib, OpenSSL and ICU tell which of their versions runs; of the others it is the one that this library was
/// compiled with.
ZT_API std::vector<LibraryVersion> getLibraryVersions();

}  // namespace opc::ztservices
