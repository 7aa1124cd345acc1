// SPDX-License-Identifier: Apache-2.0
#include "container/Faults.hpp"

#include <cerrno>

#include "opc/Strings.hpp"
#include "text/Escape.hpp"
#include "text/PosixError.hpp"

namespace opc::model::zip {
namespace {

std::string shownPath(std::string const& path) { return toUDEString(escapeForDisplay(toString(path, false))); }

std::string inItem(std::string_view rawName, std::string_view what) {
  return "Item \"" + shownName(rawName) + "\": " + std::string(what);
}

}  // namespace

std::string shownName(std::string_view rawName) {
  try {
    return toUDEString(escapeForDisplay(toString(std::string(rawName))));
  } catch (InvalidText const&) {
    return escape::bytes(rawName);
  }
}

std::string bytesText(std::uint64_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

InvalidItem invalidItem(std::string_view rawName, std::string_view what) { return InvalidItem(inItem(rawName, what)); }

InvalidItem unknownMethod(std::string_view rawName, unsigned method) {
  return invalidItem(rawName, "unknown compression method " + std::to_string(method));
}

InvalidPackage notAnArchive(std::string_view what) { return InvalidPackage("Not a ZIP archive: " + std::string(what)); }

InvalidPackage damagedArchive(std::string_view what) {
  return InvalidPackage("Damaged ZIP archive: " + std::string(what));
}

InvalidPackage damagedArchive(std::string_view rawName, std::string_view what) {
  return damagedArchive(inItem(rawName, what));
}

CouldNotOpenPackage couldNotOpen(std::string const& path, int error) {
  auto const code = posixError(error);
  return CouldNotOpenPackage("Could not open package: " + shownPath(path) + ": " + code.message(), code);
}

CouldNotSavePackage couldNotSave(std::string const& path, int error) {
  auto const code = posixError(error);
  return CouldNotSavePackage("Could not save package: " + shownPath(path) + ": " + code.message(), code);
}

CouldNotSavePackage couldNotKeepOwner(std::string const& path) {
  auto const code = posixError(EPERM);
  return CouldNotSavePackage(
      "Could not save package: " + shownPath(path) + ": its owner or group would change: " + code.message(), code);
}

PackageNotSynced packageNotSynced(std::string const& path, int error) {
  auto const code = posixError(error);
  return PackageNotSynced(
      "The new package is in place, but may not survive a power failure: " + shownPath(path) + ": " + code.message(),
      code);
}

PackageHasChanged packageHasChanged(std::string const& path) {
  return PackageHasChanged("Could not save package: " + shownPath(path) + ": it was changed since it was opened",
                           posixError(ESTALE));
}

PackageIsBusy packageIsBusy(std::string const& path) {
  return PackageIsBusy("Could not save package: " + shownPath(path) + ": it is locked by another process",
                       posixError(EBUSY));
}

CouldNotSavePackage couldNotSaveItem(std::string_view rawName, std::string_view what) {
  return CouldNotSavePackage("Could not save package: " + inItem(rawName, what));
}

}  // namespace opc::model::zip
