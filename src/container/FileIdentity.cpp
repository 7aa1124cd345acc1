// SPDX-License-Identifier: Apache-2.0
#include "container/FileIdentity.hpp"

#include <cerrno>

#include "container/ZipErrors.hpp"

namespace opc::model::zip {

FileIdentity FileIdentity::of(struct stat const& status) {
  return {status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size), status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

FileIdentity FileIdentity::of(int descriptor, char const* path) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw couldNotOpen(path, errno);
  return of(status);
}

}  // namespace opc::model::zip
