// SPDX-License-Identifier: Apache-2.0
#include "container/Archive.hpp"

#include <set>

#include "Packages.hpp"
#include "container/ArchiveSurvey.hpp"
#include "opc/model/Exceptions.hpp"

/// Containers, as packages read them and as a survey does: the one never takes what the other finds damaged.
namespace zt_fuzz {
namespace {

using namespace opc::model;
using zip::Archive;
using zip::ArchiveFault;
using zip::ArchiveSurvey;

constexpr std::uint64_t kMaximumEntries = 1'000, kMaximumContent = 4 << 20;

/// Whether everything in the archive can be read.
bool isSound(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  return isAccepted<InvalidPackage, InvalidItem>([&] {
    auto const archive = Archive::open(bytes, kMaximumEntries);
    for (std::size_t i = 0; i < archive->size(); ++i)
      require(readAll(*archive->openContent(i)).size() == archive->entry(i).size, "an item is as long as it says");
    archive->checkHeaders();
  });
}

/// Faults that an archive is read in spite of.
bool isTolerated(ArchiveFault fault) {
  return fault == ArchiveFault::PrefixBytes || fault == ArchiveFault::Gap || fault == ArchiveFault::GrowthHint;
}

bool isSurveyedAsSound(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  bool isSound = true;
  ArchiveSurvey survey(bytes, kMaximumEntries, [&](ArchiveFault fault, std::string_view, std::string const& message) {
    require(!message.empty(), "a fault says what it is");
    isSound = isSound && isTolerated(fault);
  });
  std::set<std::size_t> read;
  survey.readItems([&](std::size_t index, bool isReadable) {
    require(index < survey.size() && read.insert(index).second, "an item is told once");
    isSound = isSound && isReadable;
  });
  return isSound;
}

bool isTooLarge(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  std::uint64_t total = 0;
  ArchiveSurvey const survey(bytes, kMaximumEntries, [](auto&&...) {});
  for (std::size_t i = 0; i < survey.size() && total <= kMaximumContent; ++i)
    total += std::min(survey.entry(i).size, kMaximumContent + 1);
  return total > kMaximumContent;
}

void run(Bytes const& input) {
  auto const bytes = zip::makeMemoryBytes(input);
  if (isTooLarge(bytes)) return;
  require(isSound(bytes) == isSurveyedAsSound(bytes),
          "a survey finds a fault where an archive is refused, and only there");
}

std::vector<Bytes> seeds() { return {samplePackage(), archiveOf({}), archiveOf({{"a", "a"}, {"empty", ""}})}; }

Registration const registration("archive", run, seeds);

}  // namespace
}  // namespace zt_fuzz
