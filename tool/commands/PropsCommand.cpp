// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
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

CoreProperties load(CorePropertiesManager const& manager, std::u16string const& package) {
  try {
    return manager.getCoreProperties();
  } catch (opc::ztservices::InvalidCoreProperties const& error) {
    std::string const message = "the core properties of " + shown(package) + ": " + error.what();
    throw Failure(Report{Exit::Package, "invalid-content", message, package});
  }
}

/// Adds no extended properties to a package that has none.
void setStandard(Package& package, std::vector<Assignment> const& assignments) {
  CoreProperties record;
  record.opcProps() = PackageHelper::getCoreProperties(package);
  apply(assignments, record);
  PackageHelper::createOrUpdateCoreProperties(package, record.opcProps());
}

void setAll(CorePropertiesManager& manager, std::u16string const& package, std::vector<Assignment> const& assignments) {
  CoreProperties record = load(manager, package);
  apply(assignments, record);
  if (!record.isValid()) {
    std::string const message = shown(package) + " needs content-type, friendly-name and release for this";
    throw Failure(Report{Exit::Package, "incomplete-properties", message, package});
  }
  manager.setCoreProperties(record);
}

}  // namespace

void getProperties(GetPropertiesOptions const& options, Output& out) {
  auto const package = openPackage(options.package);
  CoreProperties const record = load(CorePropertiesManager(*package), fromArgument(options.package));
  if (options.json)
    return out.print("{\"coreProperties\": " + propertiesJson(record, PropertySet::Standard) +
                     ",\n\"extendedProperties\": " + propertiesJson(record, PropertySet::Extended) + "}\n");
  for (auto const& [name, value] : propertiesOf(record)) {
    out.print(name + "=");
    out.printName(value);
    out.print("\n");
  }
}

void setProperties(SetPropertiesOptions const& options) {
  noteSignals();
  auto const assignments = assignmentsOf(options.assignments);
  std::u16string const path = fromArgument(options.package);
  auto const package = openPackage(options.package, AccessMode::ReadWrite, options.force);
  CorePropertiesManager manager(*package);
  if (setsExtended(assignments) || hasExtendedProperties(*package))
    setAll(manager, path, assignments);
  else
    setStandard(*package, assignments);
  throwIfInterrupted();
  package->save({.replaceProtected = options.force});
}

}  // namespace ztpkg
