// SPDX-License-Identifier: Apache-2.0
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "cli/CommandLine.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

std::string json(Report const& report) {
  return JsonObject().add("code", report.code).add("message", report.message).add("item", report.item).text();
}

/// One object, so that the output stays one document. `problems` is there where there are several.
std::string errorsJson(std::vector<Report> const& reports) {
  JsonObject object;
  object.addText("error", json(reports.front()));
  if (reports.size() == 1) return object.text();
  std::string problems;
  for (Report const& report : reports) problems += (problems.empty() ? "" : ",") + json(report);
  return object.addText("problems", "[" + problems + "]").text();
}

void print(Report const& report, Invocation const& invocation) {
  if (report.code == Output::kOutputClosed) return;  // its reader wants no more
  std::cerr << "ztpkg: " << (invocation.command.empty() ? "" : invocation.command + ": ") << oneLine(report.message)
            << '\n';
}

int printAll(std::exception_ptr const& thrown, Invocation const& invocation) {
  auto const reports = describe(thrown, opc::toString(invocation.package, false));
  if (!invocation.json)
    for (Report const& report : reports) print(report, invocation);
  else if (reports.front().code != Output::kOutputClosed)
    std::cerr << errorsJson(reports) << '\n';
  return static_cast<int>(exitOf(reports));
}

int printInterrupted(int signal, Invocation const& invocation) {
  if (invocation.json)
    std::cerr << errorsJson({{Exit::Done, "interrupted", "interrupted by signal " + std::to_string(signal), {}}})
              << '\n';
  else
    std::cerr << "ztpkg: " << invocation.command << ": interrupted\n";
  return 128 + signal;
}

/// Without allocations.
int printOutOfMemory(Invocation const& invocation) {
  std::cerr << (invocation.json ? R"({"error":{"code":"out-of-memory","message":"not enough memory","item":null}})"
                                : "ztpkg: not enough memory")
            << '\n';
  return static_cast<int>(Exit::Disk);
}

int report(std::exception_ptr const& thrown, Invocation const& invocation) try {
  int const signal = pendingSignal();  // a call that it ended may have failed
  return signal != 0 ? printInterrupted(signal, invocation) : printAll(thrown, invocation);
} catch (std::bad_alloc const&) {
  return printOutOfMemory(invocation);
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
  } catch (...) {
    return report(std::current_exception(), invocation);
  }
}

}  // namespace
}  // namespace ztpkg

int main(int argc, char** argv) {
  ztpkg::prepareProcess();
  return ztpkg::run(argc, argv);
}
