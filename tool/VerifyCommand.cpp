// SPDX-License-Identifier: Apache-2.0
#include "Amounts.hpp"
#include "Commands.hpp"
#include "Errors.hpp"
#include "FileSystems.hpp"
#include "Json.hpp"
#include "Paths.hpp"
#include "opc/ztservices/Verification.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::VerificationFault;
using opc::ztservices::VerificationReport;

std::string checkedText(VerificationReport const& report) {
  return counted(static_cast<std::size_t>(report.parts), "part") + " of " +
         counted(static_cast<std::size_t>(report.bytes), "byte") + " checked";
}

void printText(VerificationReport const& report, Output& out) {
  for (VerificationFault const& fault : report.faults)
    out.print((fault.isNote ? "note: " : "") + fault.code + ": " + oneLine(fault.message) + "\n");
  if (report.isHealthy()) out.print(checkedText(report) + ", no faults\n");
}

void printJson(VerificationReport const& report, Output& out) {
  out.print(std::string("{\"ok\":") + (report.isHealthy() ? "true" : "false"));
  out.print(",\"checked\":{\"parts\":" + std::to_string(report.parts) + ",\"bytes\":" + std::to_string(report.bytes) +
            "},\"faults\":[");
  char const* separator = "\n";
  for (VerificationFault const& fault : report.faults) {
    out.print(separator + json(fault));
    separator = ",\n";
  }
  out.print(report.faults.empty() ? "]}\n" : "\n]}\n");
}

}  // namespace

void verify(VerifyOptions const& options, Output& out) {
  std::u16string const path = fromArgument(options.package);
  VerificationReport const report = opc::ztservices::verifyPackage(path);
  if (options.json)
    printJson(report, out);
  else if (!options.quiet)
    printText(report, out);
  if (report.isHealthy()) return;
  out.close();
  throw Failure(Report{Exit::Package, "faults-found",
                       shown(path) + ": " + counted(report.countFaults(), "fault") + ", " + checkedText(report), path});
}

}  // namespace ztpkg
