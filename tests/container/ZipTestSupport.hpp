// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "container/Archive.hpp"
#include "container/ArchiveWriter.hpp"
#include "container/Deflate.hpp"
#include "container/Faults.hpp"
#include "container/Spool.hpp"

namespace zt_test {
namespace zip = opc::model::zip;

/// Bytes that are the same in every run.
std::string compressible(std::size_t size);
std::string incompressible(std::size_t size, std::uint32_t seed = 1);
/// Half of each, in turns of 100,000 bytes, a compressible one first.
std::string mixed(std::size_t size);
/// More than any buffer holds.
inline constexpr std::size_t kLong = (8u << 20) + 100;

std::shared_ptr<zip::Spool> makeSpool();
zip::Content makeContent(std::shared_ptr<zip::Spool> const& spool, std::string const& bytes, std::size_t step = 1 << 20,
                         zip::Effort effort = zip::Effort::Default);
std::string storedBytes(zip::Content const& content);
std::string contentOf(zip::Content const& content);

std::shared_ptr<zip::Archive const> openBytes(std::string const& bytes, std::uint64_t maximumEntries = UINT64_MAX);
std::size_t indexOf(zip::Archive const& archive, std::string const& name);
std::string contentOf(zip::Archive const& archive, std::string const& name);
/// Opens the archive and compares its local headers with its directory.
void checkHeaders(std::string const& bytes);
/// Opens the archive and reads every item to its end.
void readEverything(std::string const& bytes);

/// The code and the item of a fault; the item is empty for the container.
struct FaultName {
  std::string code;
  std::string item;
  bool operator==(FaultName const&) const = default;
};
using FaultNames = std::vector<FaultName>;
void PrintTo(FaultName const& name, std::ostream* out);

/// Collects the faults that a reader reports.
class CollectedFaults final : public opc::model::Faults {
 public:
  void refuse(opc::model::Fault const& fault) override;
  void refuseContent(std::string const&) override { isRefused = true; }
  void tolerate(opc::model::Fault const& fault) override;
  bool listsAll() const override { return true; }

  FaultNames names{};
  std::vector<std::string> messages{};
  bool isRefused = false;  // whether one of them makes a package unusable
};

struct NamedContent {
  std::string name;
  std::string content;
};
/// An archive as ArchiveWriter makes it.
std::string archiveOf(std::vector<NamedContent> const& items);

/// One of the two headers of an item, to be written whatever it says.
struct RawHeader {
  std::string name;
  std::uint16_t flags = 0;
  std::uint16_t method = 0;
  std::uint32_t crc = 0;
  std::uint32_t stored = 0;
  std::uint32_t size = 0;
  std::string extra{};
  std::uint32_t offset = 0;  // central only, added to where the item is
  std::uint16_t disk = 0;    // central only
};

struct RawItem {
  RawHeader local;
  RawHeader central;
  std::string data;
  std::string behind{};  // a descriptor or a gap
  std::string comment{};
};

RawItem storedItem(std::string const& name, std::string const& content);
RawItem deflatedItem(std::string const& name, std::string const& content);
/// Its local header says nothing; `descriptor` stands behind the data.
RawItem streamedItem(RawItem item, std::string const& descriptor);
/// The descriptor of an item, with sizes of so many bytes.
std::string descriptorOf(RawItem const& item, std::size_t width, bool withSignature);

struct RawArchive {
  std::vector<RawItem> items;
  std::string prefix{};
  bool offsetsCountPrefix = true;
  std::string beforeEnd{};  // zip64 records
  std::string comment{};

  std::string build() const;
};
/// A stored item and a deflated one.
RawArchive smallArchive();

std::string le(std::uint64_t value, std::size_t size);
/// Overwrites a number, counted from the end of the bytes. The end record begins at 22.
std::string patched(std::string bytes, std::size_t fromEnd, std::uint64_t value, std::size_t size);

}  // namespace zt_test
