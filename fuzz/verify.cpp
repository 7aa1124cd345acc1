// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Verification.hpp"

/// Verification of anything: it throws nothing, and what it finds healthy opens and reads.
namespace zt_fuzz {
namespace {

using namespace opc::model;
using namespace opc::ztservices;

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
