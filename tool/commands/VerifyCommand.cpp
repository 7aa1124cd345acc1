// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "commands/Commands.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "disk/Sandbox.hpp"
#include "opc/ztservices/Verification.hpp"
#include "secrets/PackageKey.hpp"

namespace ztpkg {
namespace {

using opc::ztservices::VerificationFault;
using opc::ztservices::VerificationReport;

std::string checkedText(VerificationReport const& report) {
  return counted(static_cast<std::size_t>(report.parts), "part") + " of " +
         counted(static_cast<std::size_t>(report.bytes), "byte") + " checked";
}

std::string authenticatedText(VerificationReport const& report, bool hasKey) {
  std::string const parts = counted(static_cast<std::size_t>(report.encrypted), "encrypted part");
  if (!hasKey) return parts + " not authenticated: no key";
  std::string const authentic = std::to_string(report.authentic);
  return (report.authentic == report.encrypted ? "" : authentic + " of ") + parts + " authenticated";
}

void printText(VerificationReport const& report, bool hasKey, Output& out) {
  for (VerificationFault const& fault : report.faults)
    out.print((fault.isNote ? "note: " : "") + fault.code + ": " + oneLine(fault.message) + "\n");
  if (report.isHealthy()) out.print(checkedText(report) + ", no faults\n");
  if (hasKey || report.encrypted > 0) out.print(authenticatedText(report, hasKey) + "\n");
}

std::string json(VerificationFault const& fault) {
  auto const item = fault.item.empty() ? std::nullopt : std::optional(fault.item);
  return JsonObject().add("code", fault.code).add("item", item).add("message", fault.message).text();
}

void printJson(VerificationReport const& report, Output& out) {
  JsonObject checked;
  checked.add("parts", report.parts).add("bytes", report.bytes);
  checked.add("encrypted", report.encrypted).add("authentic", report.authentic);
  out.print("{\"ok\":" + jsonOf(report.isHealthy()) + ",\"checked\":" + checked.text() + ",\"faults\":");
  JsonArray faults(out);
  for (VerificationFault const& fault : report.faults) faults.add(json(fault));
  out.print(faults.isEmpty() ? "]}\n" : "\n]}\n");
}

/// The key that the options name.
class VerificationKey {
 public:
  /// A package whose damage hides the key of its password is verified without the key.
  explicit VerificationKey(VerifyOptions const& options) {
    if (!options.key.file.empty()) secret_ = readKey(options.key.file);
    if (options.key.password.isGiven()) try {
        auto const package = openPackage(options.package);
        secret_ = findKey(opc::ztservices::FileSystemManager(*package), options.key, options.package);
      } catch (std::exception const&) {
        obstacle_ = std::current_exception();
        if (describe(obstacle_, fromArgument(options.package)).front().exit != Exit::Package) throw;
      }
  }

  std::vector<unsigned char> const* bytes() const { return secret_ ? &secret_->bytes() : nullptr; }
  /// Throws the exception that hid the key, unless the report has faults that explain it.
  void throwUnreported(VerificationReport const& report) const {
    if (obstacle_ && report.isHealthy()) std::rethrow_exception(obstacle_);
  }

 private:
  std::unique_ptr<Secret const> secret_;
  std::exception_ptr obstacle_;
};

}  // namespace

void verify(VerifyOptions const& options, Output& out) {
  std::u16string const path = fromArgument(options.package);
  packagePath(options.package);  // what comes through a pipe is copied to a file, and nothing is read of it
  confineWrites({});
  VerificationKey const key(options);
  VerificationReport const report = opc::ztservices::verifyPackage(
      packagePath(options.package), {.key = key.bytes(), .threads = std::thread::hardware_concurrency()});
  key.throwUnreported(report);
  if (report.isKeyWrong) throw Failure(cannotDecrypt("the file system of " + shown(path), path));
  if (options.json)
    printJson(report, out);
  else if (!options.quiet)
    printText(report, key.bytes() != nullptr, out);
  if (report.isHealthy()) return;
  out.close();
  throw Failure(Report{Exit::Package, "faults-found",
                       shown(path) + ": " + counted(report.countFaults(), "fault") + ", " + checkedText(report), path});
}

}  // namespace ztpkg
