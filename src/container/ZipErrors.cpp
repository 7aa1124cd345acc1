// SPDX-License-Identifier: Apache-2.0
#include "container/ZipErrors.hpp"

#include <boost/system/error_code.hpp>
#include <cerrno>

#include "opc/Strings.hpp"

namespace opc::model::zip {
namespace {

std::string shownPath(std::string const& path) { return toUDEString(escapeForDisplay(toString(path, false))); }

std::string withBytesEscaped(std::string_view raw) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (char const c : raw) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte < 0x80)
      text += toUDEString(escapeForDisplay(std::u16string(1, byte)));
    else
      (text += "\\x").append({kDigits[byte >> 4], kDigits[byte & 15]});
  }
  return text;
}

boost::system::error_code codeOf(int error) { return {error, boost::system::system_category()}; }

std::string inItem(std::string_view rawName, std::string_view what) {
  return "Item \"" + shownName(rawName) + "\": " + std::string(what);
}

}  // namespace

std::string shownName(std::string_view rawName) {
  try {
    return toUDEString(escapeForDisplay(toString(std::string(rawName))));
  } catch (InvalidText const&) {
    return withBytesEscaped(rawName);
  }
}

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
  auto const code = codeOf(error);
  return CouldNotOpenPackage("Could not open package: " + shownPath(path) + ": " + code.message(), code);
}

CouldNotSavePackage couldNotSave(std::string const& path, int error) {
  auto const code = codeOf(error);
  return CouldNotSavePackage("Could not save package: " + shownPath(path) + ": " + code.message(), code);
}

PackageHasChanged packageHasChanged(std::string const& path) {
  return PackageHasChanged("Could not save package: " + shownPath(path) + ": it was changed since it was opened",
                           codeOf(ESTALE));
}

PackageIsBusy packageIsBusy(std::string const& path) {
  return PackageIsBusy("Could not save package: " + shownPath(path) + ": its directory is locked by another process",
                       codeOf(EBUSY));
}

CouldNotSavePackage couldNotSaveItem(std::string_view rawName, std::string_view what) {
  return CouldNotSavePackage("Could not save package: " + inItem(rawName, what));
}

}  // namespace opc::model::zip
