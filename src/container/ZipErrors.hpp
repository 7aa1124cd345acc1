// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "opc/model/ContainerExceptions.hpp"

/// The wording of everything that this layer throws.
namespace opc::model::zip {

/// What can be wrong with one item; the text that follows its name in the message.
namespace fault {
inline constexpr char kEncrypted[] = "encrypted";
inline constexpr char kNoLocalHeader[] = "no local header where the directory says";
inline constexpr char kLocalHeaderDiffers[] = "its local header disagrees with the directory";
inline constexpr char kDescriptorDiffers[] = "its data descriptor disagrees with the directory";
inline constexpr char kOverlap[] = "its data run into what follows it";
inline constexpr char kExtraTooLong[] = "an extra field is longer than its place";
inline constexpr char kOtherName[] = "its Unicode path field gives it another name";
inline constexpr char kWrongLength[] = "wrong length";
inline constexpr char kWrongCrc[] = "wrong CRC";
inline constexpr char kDamagedData[] = "damaged compressed data";
inline constexpr char kBeyondFile[] = "it does not fit into the file";
inline constexpr char kLeftOver[] = "bytes left over behind its compressed data";
}  // namespace fault

/// An item's name for messages: escaped for display where it is UTF-8, otherwise its bytes escaped one by one.
std::string shownName(std::string_view rawName);

InvalidItem invalidItem(std::string_view rawName, std::string_view what);
InvalidItem unknownMethod(std::string_view rawName, unsigned method);

InvalidPackage notAnArchive(std::string_view what);
InvalidPackage damagedArchive(std::string_view what);
InvalidPackage damagedArchive(std::string_view rawName, std::string_view what);

/// `path` is UTF-8, `error` an errno value.
CouldNotOpenPackage couldNotOpen(std::string const& path, int error);
CouldNotSavePackage couldNotSave(std::string const& path, int error);
PackageHasChanged packageHasChanged(std::string const& path);
PackageIsBusy packageIsBusy(std::string const& path);
/// An item that the format cannot hold.
CouldNotSavePackage couldNotSaveItem(std::string_view rawName, std::string_view what);

}  // namespace opc::model::zip
