// SPDX-License-Identifier: Apache-2.0
#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Verification.hpp"

/// Verification of anything: it throws nothing, and what it finds healthy opens and reads.
namespace zt_fuzz {
namespace {

using namespace opc::model;
using namespace opc::ztservices;

/// A file of this process alone, in memory.
class MemoryFile {
 public:
  explicit MemoryFile(Bytes const& bytes) : descriptor_(memfd_create("package", MFD_CLOEXEC)) {
    if (descriptor_ < 0 || write(descriptor_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
      throw std::runtime_error("no file in memory");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(MemoryFile const&) = delete;
  MemoryFile& operator=(MemoryFile const&) = delete;

  std::u16string path() const { return opc::toString("/proc/self/fd/" + std::to_string(descriptor_)); }

 private:
  int descriptor_;
};

bool isReadable(Bytes const& input) {
  auto const package = openOrRefuse(input);
  return package && isAccepted<InvalidItem>([&] {
           for (PartName const& name : package->getPartNames()) readAll(*package->getPart(name).getInputStream());
         });
}

void run(Bytes const& input) {
  MemoryFile const file(input);
  VerificationReport const report = verifyPackage(file.path(), {.limits = smallLimits(), .maximumFaults = 100});
  require(report.faults.size() <= 101, "faults are counted");
  for (VerificationFault const& fault : report.faults)
    require(!fault.code.empty() && !fault.message.empty(), "a fault says what it is");
  if (report.isHealthy()) require(isReadable(input), "what is healthy can be read");
}

std::vector<Bytes> seeds() { return {samplePackage(), Package::createInMemory()->saveToBytes()}; }

Registration const registration("verify", run, seeds, changeContainer);

}  // namespace
}  // namespace zt_fuzz
