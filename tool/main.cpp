// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <iostream>
#include <string>

#include "cli/CommandLine.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

std::string errorJson(Report const& report) {
  JsonObject error;
  error.add("code", report.code).add("message", report.message).add("item", report.item);
  return JsonObject().addText("error", error.text()).text();
}

void print(Report const& report, Invocation const& invocation) {
  if (report.code == Output::kOutputClosed) return;  // its reader wants no more
  if (invocation.json)
    std::cerr << errorJson(report) << '\n';
  else
    std::cerr << "ztpkg: " << (invocation.command.empty() ? "" : invocation.command + ": ") << oneLine(report.message)
              << '\n';
}

int printAll(std::exception_ptr const& thrown, Invocation const& invocation) {
  auto const reports = describe(thrown, opc::toString(invocation.package, false));
  if (invocation.json)
    print(reports.front(), invocation);  // one object, so that the output stays one document
  else
    for (Report const& report : reports) print(report, invocation);
  return static_cast<int>(exitOf(reports));
}

/// Runs a command line and reports on standard error what went wrong; the exit code of the process.
int run(int argc, char const* const* argv) {
  Invocation invocation;
  try {
    Output out;
    parseCommandLine(argc, argv, invocation);
    if (invocation.json) std::cout.rdbuf(nullptr);  // what the library says of failures would break the JSON
    if (!invocation.warns) silenceWarnings();
    invocation.action(out);
    out.close();
    return static_cast<int>(Exit::Done);
  } catch (Ended const& ended) {
    return static_cast<int>(ended.exit());
  } catch (Interrupted const& interrupted) {
    std::cerr << "ztpkg: " << invocation.command << ": interrupted\n";
    return 128 + interrupted.signal();
  } catch (...) {
    return printAll(std::current_exception(), invocation);
  }
}

}  // namespace
}  // namespace ztpkg

int main(int argc, char** argv) {
  ztpkg::prepareProcess();
  return ztpkg::run(argc, argv);
}
