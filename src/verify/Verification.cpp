// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Verification.hpp"

#include <algorithm>
#include <span>
#include <vector>

#include "container/Reader.hpp"
#include "crypto/CipherDataNames.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Utils.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"
#include "services/properties/PartsXml.hpp"
#include "services/tree/ManifestNames.hpp"
#include "verify/EncryptionCheck.hpp"
#include "verify/FaultCodes.hpp"
#include "verify/FaultList.hpp"
#include "verify/FileSystemCheck.hpp"
#include "verify/PackageCheck.hpp"

namespace opc::ztservices {
namespace {

/// Nothing is read of a container that declares more than may be taken in.
bool isWithin(model::zip::Archive const& archive, std::uint64_t maximumBytes, FaultList& faults) {
  std::uint64_t left = maximumBytes;
  for (std::size_t i = 0; i < archive.size(); ++i) {
    auto const item = archive.entry(i);
    if (item.size > left) {
      faults.addItem(
          code::kInvalidPackage, item.name,
          model::detail::messages::invalidItem(item.name, "the items up to this one are larger than " +
                                                              std::to_string(maximumBytes) + " bytes together"));
      return false;
    }
    left -= item.size;
  }
  return true;
}

/// Parts under the names and of the content types of our managers that no manager finds.
void checkOrphans(PackageCheck const& package, FaultList& faults) {
  if (!package.knowsRelationships()) return;
  for (model::detail::OwnedPart const& owned :
       {manifest::kPart, manifest::kPartV1, parts_xml::kVendor, parts_xml::kExtension, parts_xml::kReleaseInfo,
        cipher_data::kPart, model::detail::kCorePropertiesPart}) {
    CheckedPart const* const part = package.findEquivalent(model::detail::narrowName(owned.name));
    if (!part || !part->type || !part->type->is(owned.contentType)) continue;
    auto const targets = package.targetsOf(owned.relationshipType);
    if (std::ranges::find(targets, part) == targets.end())
      faults.addItem(code::kOrphanedPart, std::string_view(part->name).substr(1),
                     model::detail::messages::invalidItem(
                         part->name, "no relationship of the package leads to it as to what its content type says"));
  }
}

void checkCipherData(model::Package& package, FaultList& faults) {
  if (package.getRelationshipsByType(std::u16string(cipher_data::kPart.relationshipType)).empty()) return;
  try {
    CipherDataManager(package).hasCipherEntry({model::URI(u"/"), model::RelationshipSelectorType::ByType, u""});
  } catch (model::InvalidItem const&) {   // told with its content
  } catch (model::PartNotFound const&) {  // told with the relationship
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;
    faults.add(code::kInvalidCipherData, std::u16string(cipher_data::kPart.name),
               std::string("The cipher data: ") + fault.what());
  }
}

/// Whatever keeps a package from being opened is a fault, also where nothing above has found a name for it.
void checkThatItOpens(std::u16string const& path, model::OpenOptions const& limits, FaultList& faults) {
  try {
    checkCipherData(*model::Package::open(path, model::AccessMode::ReadOnly, limits), faults);
  } catch (model::InvalidPackage const& fault) {
    faults.add(code::kInvalidPackage, u"", fault.what());
  }
}

void readItems(model::zip::Reader& container, EncryptionCheck& encryption, std::vector<bool>& isSound) {
  container.readItems(
      [&](std::size_t item, bool sound) {
        isSound[item] = sound;
        encryption.finish(item, sound);
      },
      [&](std::size_t item, std::span<unsigned char const> bytes) { encryption.take(item, bytes); });
  encryption.finishPieces();
}

void count(PackageCheck const& package, EncryptionCheck const& encryption, VerificationReport& report) {
  report.parts = package.parts().size();
  for (CheckedPart const& part : package.parts())
    if (package.isSound(part)) report.bytes += package.sizeOf(part);
  report.encrypted = encryption.countEncrypted();
  report.authentic = encryption.countAuthentic();
}

}  // namespace

std::string digestPart(model::Part const& part) {
  constexpr std::size_t kStep = 65536;
  auto const stream = part.getInputStream();
  foundation::crypto::Sha256 digest;
  std::vector<unsigned char> buffer(kStep);
  while (!stream->isEnd()) digest.update(buffer.data(), stream->read(buffer.data(), buffer.size()));
  return foundation::crypto::utils::hexEncode(digest.finish());
}

std::size_t VerificationReport::countFaults() const {
  return static_cast<std::size_t>(std::ranges::count(faults, false, &VerificationFault::isNote));
}

VerificationReport verifyPackage(std::u16string const& path, VerificationOptions const& options) {
  FaultList faults(options.maximumFaults);
  model::zip::Reader container(model::zip::openFileBytes(toUTF8String(path)), options.limits.maximumItems, faults);
  auto const archive = container.archive();
  std::vector<bool> isSound(archive->size());
  VerificationReport report;
  bool mayOpen = false;
  if (isWithin(*archive, options.limits.maximumTotalBytes, faults)) {
    PackageCheck package(*archive, isSound, options.limits, faults);
    package.identify();
    EncryptionCheck encryption(package, options.key);
    readItems(container, encryption, isSound);
    package.check();
    checkOrphans(package, faults);
    mayOpen = faults.isTolerable();
    report.isKeyWrong = !FileSystemCheck(package, encryption, faults).check();
    count(package, encryption, report);
  }
  if (mayOpen) checkThatItOpens(path, options.limits, faults);
  report.faults = faults.take();
  return report;
}

}  // namespace opc::ztservices
