// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Errors.hpp"
#include "cli/Json.hpp"
#include "cli/Process.hpp"
#include "commands/Changing.hpp"
#include "commands/Commands.hpp"
#include "commands/Properties.hpp"
#include "disk/FileSystems.hpp"
#include "disk/Paths.hpp"
#include "opc/Strings.hpp"
#include "opc/model/PackageHelper.hpp"

namespace ztpkg {
namespace {

using opc::model::Package;
using opc::model::PackageHelper;
using opc::ztservices::CoreProperties;
using opc::ztservices::CorePropertiesManager;

struct Assignment {
  std::string name;
  std::string value;
};

Assignment assignmentOf(std::string const& argument) {
  std::size_t const sign = argument.find('=');
  if (sign == std::string::npos) throwUsage(shown(opc::toString(argument, false)) + " is not NAME=VALUE");
  return {argument.substr(0, sign), argument.substr(sign + 1)};
}

/// Reports wrong names and values before the package is opened.
std::vector<Assignment> assignmentsOf(std::vector<std::string> const& arguments) {
  std::vector<Assignment> assignments;
  std::set<std::string> names;
  CoreProperties trial;
  for (std::string const& argument : arguments) {
    assignments.push_back(assignmentOf(argument));
    if (!names.insert(assignments.back().name).second) throwUsage(assignments.back().name + " is set twice");
    setProperty(trial, assignments.back().name, assignments.back().value);
  }
  return assignments;
}

bool setsExtended(std::vector<Assignment> const& assignments) {
  return std::ranges::any_of(assignments, isExtendedProperty, &Assignment::name);
}

void apply(std::vector<Assignment> const& assignments, CoreProperties& record) {
  for (auto const& [name, value] : assignments) setProperty(record, name, value);
}

CoreProperties loadProperties(CorePropertiesManager const& manager, std::u16string const& package) {
  try {
    return manager.getCoreProperties();
  } catch (opc::ztservices::InvalidCoreProperties const& error) {
    std::string const message = "the core properties of " + shown(package) + ": " + error.what();
    throw Failure(Report{Exit::Package, "invalid-content", message, package});
  }
}

/// Whether every property has its value already, so that nothing is to be written.
bool isPresent(CoreProperties const& record, CoreProperties const& present, std::vector<std::string> const& faults) {
  return faults.empty() && propertiesOf(record) == propertiesOf(present);
}

/// Changes the standard properties alone. Appends a description of what could not be read.
void setStandard(Package& package, std::vector<Assignment> const& assignments, std::vector<std::string>& faults) {
  CoreProperties present;
  present.opcProps() = PackageHelper::getCoreProperties(package, faults);
  CoreProperties record = present;
  apply(assignments, record);
  if (isPresent(record, present, faults)) return;
  PackageHelper::createOrUpdateCoreProperties(package, record.opcProps());
}

void setAll(CorePropertiesManager& manager, std::u16string const& package, std::vector<Assignment> const& assignments,
            std::vector<std::string>& faults) {
  CoreProperties const present = manager.getReadableProperties(faults);
  CoreProperties record = present;
  apply(assignments, record);
  if (!record.isValid()) {
    std::string message = shown(package) + " needs content-type, friendly-name and release for this";
    for (std::string const& fault : faults) message += "; cannot read " + fault;
    throw Failure(Report{Exit::Package, "incomplete-properties", message, package});
  }
  if (!isPresent(record, present, faults)) manager.setCoreProperties(record);
}

/// Returns descriptions of what could not be read.
std::vector<std::string> setOnce(SetPropertiesOptions const& options, std::vector<Assignment> const& assignments) {
  auto const package = openPackage(options.package, AccessMode::ReadWrite, options.force);
  CorePropertiesManager manager(*package);
  std::vector<std::string> faults;
  if (setsExtended(assignments))
    setAll(manager, fromArgument(options.package), assignments, faults);
  else
    setStandard(*package, assignments, faults);
  throwIfInterrupted();
  package->save({.replaceProtected = options.force});
  return faults;
}

void printProperty(std::string const& name, std::u16string const& value, Output& out) {
  out.print(name + "=");
  out.printName(value);
  out.print("\n");
}

JsonObject documentOf(SetPropertiesOptions const& options, std::vector<Assignment> const& assignments,
                      std::vector<std::string> const& faults) {
  std::vector<std::string> names;
  JsonObject values;
  for (auto const& [name, value] : assignments) {
    names.push_back(name);
    values.add(name.c_str(), opc::toString(value));
  }
  JsonObject document;
  document.add("set", names).add("replaced", faults);
  if (options.verbose) document.addText("values", values.text());
  return document.add("packageBytes", sizeOfFile(fromArgument(options.package)));
}

}  // namespace

void getProperties(GetPropertiesOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  CoreProperties const record = loadProperties(CorePropertiesManager(*package), fromArgument(options.package));
  if (options.json)
    return out.print("{\"coreProperties\": " + propertiesJson(record, PropertySet::Standard) +
                     ",\n\"extendedProperties\": " + propertiesJson(record, PropertySet::Extended) + "}\n");
  for (auto const& [name, value] : propertiesOf(record)) printProperty(name, value, out);
}

void setProperties(SetPropertiesOptions const& options, Output& out) {
  noteSignals();
  auto const assignments = assignmentsOf(options.assignments);
  std::vector<std::string> faults;
  Stopwatch const watch;
  changePackage(options, [&] { faults = setOnce(options, assignments); });
  if (options.json) return documentOf(options, assignments, faults).add("seconds", watch.elapsed()).print(out);
  if (options.verbose)
    for (auto const& [name, value] : assignments) printProperty(name, opc::toString(value), out);
  out.close();
  for (std::string const& fault : faults)
    std::cerr << "ztpkg: props set: replaced what cannot be read: " << oneLine(fault) << '\n';
}

}  // namespace ztpkg
