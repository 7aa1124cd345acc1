// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "container/Faults.hpp"
#include "opc/model/Package.hpp"
#include "samples/Archives.hpp"

/// Packages for the targets that look at one as a whole.
namespace zt_fuzz {

using opc::model::samples::archiveOf;
using opc::model::samples::contentTypes;
using opc::model::samples::Item;
using opc::model::samples::relationships;

/// A package with parts, relationships of all kinds, and items that are no parts.
Bytes samplePackage();

/// Limits within which no input is slow to read.
opc::model::OpenOptions smallLimits();
/// Null where open refuses the bytes.
std::unique_ptr<opc::model::Package> openOrRefuse(Bytes const& bytes);

/// A file of this process alone, in memory.
class MemoryFile {
 public:
  explicit MemoryFile(Bytes const& bytes);
  ~MemoryFile();
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;

  std::u16string path() const;

 private:
  int descriptor_;
};

/// Collects the kinds of faults that a reader reports.
class CollectedFaults final : public opc::model::Faults {
 public:
  void refuse(opc::model::Fault const& fault) override;
  void refuseContent(std::string const&) override { isRefused = true; }
  void tolerate(opc::model::Fault const& fault) override;
  bool listsAll() const override { return true; }

  bool isRefused = false;
  std::set<std::string> tolerated{};  // codes
};

/// Everything that can be asked about a package, in comparable lines; the content of a part that cannot be read is
/// the message that says so.
std::vector<std::string> everythingOf(opc::model::Package const& package);

/// Requires what holds for every package that opens: it can be read through, saved and opened again without a
/// change, and saving what was saved changes no byte.
void requireKept(opc::model::Package& package);

}  // namespace zt_fuzz
