// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Verification.hpp"

#include <algorithm>
#include <memory>
#include <span>
#include <vector>

#include "container/Reader.hpp"
#include "crypto/CipherDataXml.hpp"
#include "crypto/Digests.hpp"
#include "crypto/Encodings.hpp"
#include "io/Watch.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "package/CorePropertiesPart.hpp"
#include "package/Messages.hpp"
#include "package/PackageReader.hpp"
#include "services/properties/ExtendedPropertyParts.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "verify/EncryptionCheck.hpp"
#include "verify/FaultList.hpp"
#include "verify/FileSystemCheck.hpp"
#include "verify/PackageCheck.hpp"

namespace opc::ztservices {
namespace {

constexpr model::detail::OwnedPart kOwnedParts[] = {manifest::kPart,
                                                    manifest::kPartV1,
                                                    extended_properties::kVendor,
                                                    extended_properties::kExtension,
                                                    extended_properties::kReleaseInfo,
                                                    cipher_data::kPart,
                                                    model::detail::kCorePropertiesPart};

void checkCipherData(model::Package& package, FaultList& faults) {
  if (package.getRelationshipsByType(std::u16string(cipher_data::kPart.relationshipType)).empty()) return;
  try {
    CipherDataManager(package).hasCipherEntry({model::URI(u"/"), model::RelationshipSelectorType::ByType, u""});
  } catch (model::InvalidItem const&) {   // listed with its content
  } catch (model::PartNotFound const&) {  // listed with the relationship
  } catch (Exception const& fault) {
    if (fault.getErrorCode()) throw;
    faults.add(code::kInvalidCipherData, std::u16string(cipher_data::kPart.name),
               std::string("The cipher data: ") + fault.what());
  }
}

void expect(Watch& watch, model::zip::Archive const& archive) {
  std::uint64_t bytes = 0;
  for (std::size_t item = 0; item < archive.size(); ++item) bytes += archive.entry(item).size;
  watch.expect(archive.size(), bytes);
}

void readItems(model::zip::Reader& container, EncryptionCheck& encryption, std::size_t threads, Watch& watch) {
  container.readItems(
      [&](std::size_t item, bool isSound) {
        watch.check();
        encryption.finish(item, isSound);
        watch.addFile();
      },
      [&](std::size_t item, std::span<unsigned char const> bytes) {
        watch.check();
        encryption.take(item, bytes);
        watch.addBytes(bytes.size());
      },
      threads);
  encryption.finishPieces();
}

void count(PackageCheck const& package, EncryptionCheck const& encryption, VerificationReport& report) {
  report.parts = package.parts().size();
  for (CheckedPart const& part : package.parts())
    if (package.isSound(part)) report.bytes += package.sizeOf(part);
  report.encrypted = encryption.countEncrypted();
  report.authentic = encryption.countAuthentic();
}

void checkPackage(model::zip::Reader& container, model::detail::PackageReader& reader,
                  VerificationOptions const& options, FaultList& faults, VerificationReport& report) {
  Watch watch(options.monitor);
  reader.identify();
  PackageCheck package(reader, options.limits, faults);
  EncryptionCheck encryption(package, options.key);
  expect(watch, *reader.state().contents.archive());
  readItems(container, encryption, options.threads, watch);
  reader.readRelationships();
  watch.check();
  package.check(kOwnedParts);
  report.isKeyWrong = !FileSystemCheck(package, encryption, faults, watch).check();
  count(package, encryption, report);
  checkCipherData(*reader.package(), faults);
  watch.finish();
}

}  // namespace

std::span<model::detail::OwnedPart const> ownedParts() { return kOwnedParts; }

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
  auto const state = std::make_shared<model::PackageState>();
  state->isReadOnly = true;
  model::zip::Reader container(model::zip::openFileBytes(toUTF8String(path)), options.limits.maximumItems, faults);
  model::detail::PackageReader reader(state, container, options.limits, faults);
  VerificationReport report;
  if (reader.checkTotalSize()) checkPackage(container, reader, options, faults, report);
  report.faults = faults.take();
  return report;
}

}  // namespace opc::ztservices
