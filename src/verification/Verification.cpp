// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Verification.hpp"

#include <algorithm>
#include <vector>

#include "foundation/crypto/Sha256.hpp"
#include "foundation/crypto/Utils.hpp"
#include "foundation/model/Messages.hpp"
#include "foundation/zip/ArchiveSurvey.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "verification/FaultCodes.hpp"
#include "verification/FaultList.hpp"
#include "verification/FileSystemCheck.hpp"
#include "verification/PackageCheck.hpp"

namespace opc::ztservices {
namespace {

using model::zip::ArchiveFault;
using model::zip::ArchiveSurvey;

char const* codeOf(ArchiveFault fault) {
  switch (fault) {
    case ArchiveFault::NoEndRecord:
      return code::kNoEndRecord;
    case ArchiveFault::DamagedEndRecord:
      return code::kDamagedEndRecord;
    case ArchiveFault::TrailingData:
      return code::kTrailingData;
    case ArchiveFault::DamagedDirectory:
      return code::kDamagedDirectory;
    case ArchiveFault::DamagedEntry:
      return code::kDamagedEntry;
    case ArchiveFault::PrefixBytes:
      return code::kPrefixBytes;
    case ArchiveFault::Overlap:
      return code::kOverlap;
    case ArchiveFault::Gap:
      return code::kGap;
    case ArchiveFault::BadLocalHeader:
      return code::kBadLocalHeader;
    case ArchiveFault::BadDescriptor:
      return code::kBadDescriptor;
    case ArchiveFault::UnreadableItem:
      return code::kUnreadableItem;
    case ArchiveFault::DamagedContent:
      return code::kDamagedContent;
    case ArchiveFault::GrowthHint:
      return code::kGrowthHint;
  }
  return code::kInvalidPackage;
}

/// Nothing is read of a container that declares more than may be taken in.
bool isWithin(ArchiveSurvey const& survey, std::uint64_t maximumBytes, FaultList& faults) {
  std::uint64_t left = maximumBytes;
  for (std::size_t i = 0; i < survey.size(); ++i) {
    auto const item = survey.entry(i);
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

/// Whatever keeps a package from being opened is a fault, also where nothing above has found a name for it.
void checkThatItOpens(std::u16string const& path, model::OpenOptions const& limits, FaultList& faults) {
  try {
    model::Package::open(path, model::AccessMode::ReadOnly, limits);
  } catch (model::InvalidPackage const& fault) {
    faults.add(code::kInvalidPackage, u"", fault.what());
  }
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
  ArchiveSurvey survey(model::zip::openFileBytes(toUTF8String(path)), options.limits.maximumItems,
                       [&](ArchiveFault fault, std::string_view item, std::string const& message) {
                         faults.addItem(codeOf(fault), item, message);
                       });
  std::vector<bool> isSound(survey.size());
  VerificationReport report;
  if (isWithin(survey, options.limits.maximumTotalBytes, faults)) {
    survey.readItems([&](std::size_t index, bool sound) { isSound[index] = sound; });
    PackageCheck package(survey, isSound, options.limits, faults);
    package.check();
    FileSystemCheck(package, faults).check();
    report.parts = package.parts().size();
    for (CheckedPart const& part : package.parts())
      if (package.isSound(part)) report.bytes += package.sizeOf(part);
  }
  if (faults.isTolerable()) checkThatItOpens(path, options.limits, faults);
  report.faults = faults.take();
  return report;
}

}  // namespace opc::ztservices
