// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/Repair.hpp"

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

/// A damaged package, repaired: the result opens, every part in it can be read, and a part that could be read before is
/// the same.
namespace zt_fuzz {
namespace {

namespace fs = std::filesystem;
using namespace opc::model;
using namespace opc::ztservices;

/// A folder of this process alone, in memory where the system offers that.
class Folder {
 public:
  Folder() {
    fs::path const memory = "/dev/shm";
    std::string name = ((access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path()) / "zt-fuzz-XXXXXX");
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory: " + name);
    path_ = name;
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;

  std::string target() const { return (path_ / "repaired").string(); }

 private:
  fs::path path_;
};

std::optional<Bytes> contentOf(Package const& package, PartName const& name) {
  std::optional<Bytes> content;
  isAccepted<InvalidItem>([&] { content = readAll(*package.getPart(name).getInputStream()); });
  return content;
}

void requireSame(Package const& repaired, Package const* damaged) {
  for (PartName const& name : repaired.getPartNames()) {
    auto const content = contentOf(repaired, name);
    require(content.has_value(), "every part of a repaired package can be read");
    if (!damaged || name.isRelationshipsPart() || !damaged->hasPart(name)) continue;
    auto const before = contentOf(*damaged, name);
    require(!before || *before == *content || opc::toUTF8String(name.toString()).starts_with("/metadata/"),
            "a part that could be read is the same");
  }
}

void run(Bytes const& input) {
  static Folder const folder;
  MemoryFile const file(input);
  std::optional<RepairReport> report;
  bool const isRepaired = isAccepted<InvalidPackage>(
      [&] { report = repairPackage(file.path(), opc::toString(folder.target()), {.limits = smallLimits()}); });
  require(isRepaired == fs::exists(folder.target()), "a refusal leaves no file");
  if (!isRepaired) return;
  {
    auto const repaired = Package::open(folder.target(), AccessMode::ReadOnly);
    auto const damaged = openOrRefuse(input);
    for (std::u16string const& part : report->savedParts)
      require(repaired->hasPart(PartName(part)), "what is reported as saved is there");
    requireSame(*repaired, damaged.get());
  }
  fs::remove(folder.target());
}

std::vector<Bytes> seeds() { return {samplePackage(), Package::createInMemory()->saveToBytes()}; }

Registration const registration("repair", run, seeds, changeContainer);

}  // namespace
}  // namespace zt_fuzz
