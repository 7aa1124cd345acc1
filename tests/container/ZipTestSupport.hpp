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
#include "samples/RawArchive.hpp"

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

/// A stored item and a deflated one.
RawArchive smallArchive();

}  // namespace zt_test
