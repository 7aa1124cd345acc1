// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "io/FileHandle.hpp"

namespace opc {

/// `.NAME.ztservices-XXXXXX`, unique, for a file that is to replace NAME, which is cut (between characters) to what a
/// folder can hold.
std::string temporaryNameFor(std::string const& name);
/// `.ztservices-XXXXXX`, unique, for a spool in the instant before it loses its name.
std::string temporaryNameForSpool();
/// `.ztservices-XXXXXXXXXX`, unique, for an extracted file or link.
std::string temporaryNameForExtraction();

/// Removes from a folder the temporaries for `name`, and spools with a name, that no process holds by a lock any more.
/// The maker of a temporary locks it, and then checks that it still has its name. What cannot be removed stays.
void removeOrphans(int folder, std::string const& name) noexcept;

/// Removes from a folder the temporaries of extractions that were killed. Those of running ones are locked, or a moment
/// old. What cannot be removed stays.
void removeLeftovers(int folder) noexcept;

/// A name in an open folder (borrowed) of a file or link that is not complete. It goes with this object, unless the
/// file has taken its own name.
class TemporaryName {
 public:
  TemporaryName() = default;
  /// Owns a name that exists.
  TemporaryName(int folder, std::string name) : folder_(folder), name_(std::move(name)) {}
  TemporaryName(TemporaryName&& other) noexcept : folder_(other.folder_), name_(std::exchange(other.name_, {})) {}
  TemporaryName& operator=(TemporaryName&& other) noexcept {
    std::swap(folder_, other.folder_);
    name_.swap(other.name_);
    return *this;
  }
  ~TemporaryName();

  /// Makes a file (mode 0600, opened as `access` says) under a name of `makeName`; while names are taken, it tries
  /// others.
  static TemporaryName makeFile(int folder, std::function<std::string()> const& makeName, int access, FileHandle& file,
                                boost::system::error_code& error);

  /// Gives a name to an open file that has none.
  static TemporaryName makeLink(int folder, std::function<std::string()> const& makeName, FileHandle const& file,
                                boost::system::error_code& error);

  /// Renames to `name` in the same folder, over a file or link of that name or, with `replace` false, only where there
  /// is none (EEXIST). A file system that cannot do the latter keeps both names when the temporary one cannot be
  /// removed; remove() shows whether it does.
  void moveTo(char const* name, bool replace, boost::system::error_code& error);
  /// Does nothing once there is no temporary name.
  void remove(boost::system::error_code& error) noexcept;

 private:
  /// Attempts names until one is free.
  template <typename Attempt>
  static TemporaryName make(int folder, std::function<std::string()> const& makeName, boost::system::error_code& error,
                            Attempt attempt);

  int folder_ = -1;
  std::string name_;
};

}  // namespace opc
