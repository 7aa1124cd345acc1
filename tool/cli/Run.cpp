// SPDX-License-Identifier: Apache-2.0
#include "cli/Run.hpp"

#include <iostream>

#include "cli/CommandLine.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "opc/Strings.hpp"

namespace ztpkg {
namespace {

void tell(Report const& report, Invocation const& invocation) {
  if (report.code == Output::kOutputClosed) return;  // whoever closed it knows
  if (invocation.json)
    std::cerr << errorJson(report) << '\n';
  else
    std::cerr << "ztpkg: " << (invocation.command.empty() ? "" : invocation.command + ": ") << oneLine(report.message)
              << '\n';
}

int tellAll(std::exception_ptr const& thrown, Invocation const& invocation) {
  auto const reports = describe(thrown, opc::toString(invocation.package, false));
  if (invocation.json)
    tell(reports.front(), invocation);  // one object, so that the output stays one document
  else
    for (Report const& report : reports) tell(report, invocation);
  return static_cast<int>(exitOf(reports));
}

}  // namespace

int run(int argc, char const* const* argv) {
  Invocation invocation;
  try {
    Output out;
    parseCommandLine(argc, argv, invocation);
    if (invocation.json) std::cout.rdbuf(nullptr);  // what the library says of failures would break the JSON
    invocation.action(out);
    out.close();
    return static_cast<int>(Exit::Done);
  } catch (Interrupted const& interrupted) {
    std::cerr << "ztpkg: " << invocation.command << ": interrupted\n";
    return 128 + interrupted.signal();
  } catch (...) {
    return tellAll(std::current_exception(), invocation);
  }
}

}  // namespace ztpkg
