// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

#include "Mutators.hpp"
#include "Packages.hpp"
#include "container/Reader.hpp"
#include "opc/model/Exceptions.hpp"

/// Containers, read strictly and read through: the one never takes what the other finds damaged.
namespace zt_fuzz {
namespace {

using namespace opc::model;
using zip::Reader;

constexpr std::uint64_t kMaximumEntries = 1'000, kMaximumContent = 4 << 20;

/// Whether everything in the archive can be read.
bool isSound(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  return isAccepted<InvalidPackage, InvalidItem>([&] {
    ThrowingFaults faults;
    Reader reader(bytes, kMaximumEntries, faults);
    auto const archive = reader.archive();
    for (std::size_t i = 0; i < archive->size(); ++i)
      require(readAll(*archive->openContent(i)).size() == archive->entry(i).size, "an item is as long as it says");
    reader.checkHeaders();
  });
}

bool isReadThroughAsSound(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  CollectedFaults faults;
  Reader reader(bytes, kMaximumEntries, faults);
  std::set<std::size_t> read;
  bool areReadable = true;
  reader.readItems([&](std::size_t index, bool isReadable) {
    require(index < reader.archive()->size() && read.insert(index).second, "an item is read once");
    areReadable &= isReadable;
  });
  return areReadable && !faults.isRefused;
}

bool isTooLarge(std::shared_ptr<zip::RandomAccessBytes const> const& bytes) {
  std::uint64_t total = 0;
  CollectedFaults faults;
  auto const archive = Reader(bytes, kMaximumEntries, faults).archive();
  for (std::size_t i = 0; i < archive->size() && total <= kMaximumContent; ++i)
    total += std::min(archive->entry(i).size, kMaximumContent + 1);
  return total > kMaximumContent;
}

void run(Bytes const& input) {
  auto const bytes = zip::makeMemoryBytes(input);
  if (isTooLarge(bytes)) return;
  require(isSound(bytes) == isReadThroughAsSound(bytes),
          "reading through finds a fault where reading is refused, and only there");
}

std::vector<Bytes> seeds() { return {samplePackage(), archiveOf({}), archiveOf({{"a", "a"}, {"empty", ""}})}; }

Registration const registration("archive", run, seeds, changeContainer);

}  // namespace
}  // namespace zt_fuzz
