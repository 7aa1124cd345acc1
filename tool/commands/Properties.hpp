// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/Json.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/CoreProperties.hpp"

/// The extended and standard core properties: one table for the command line, the listings and JSON.
namespace ztpkg {

using NamedValues = std::vector<std::pair<std::string, std::u16string>>;

struct PropertyName {
  std::string name;
  std::string purpose;
};
/// The names of all properties that can be set, the extended ones first.
std::vector<PropertyName> const& propertyNames();

bool isExtendedProperty(std::string const& name);

/// Throws Failure for an unknown name, for a value that the property cannot take, and for another UUID than
/// the record has. An empty value removes a standard property.
void setProperty(opc::ztservices::CoreProperties& record, std::string const& name, std::string const& value);

/// Names and values of those that the record has, in the order of propertyNames().
NamedValues propertiesOf(opc::ztservices::CoreProperties const& record);

/// Whether the package has extended core properties, readable or not.
bool hasExtendedProperties(opc::model::Package const& package);

enum class PropertySet { Standard, Extended };

/// The properties of one set that the record has, under the labels that people read: "last modified by". The extended
/// ones include what is recorded of the release.
NamedValues labelledProperties(opc::ztservices::CoreProperties const& record, PropertySet set);

/// The same as one JSON object.
std::string propertiesJson(opc::ztservices::CoreProperties const& record, PropertySet set);

}  // namespace ztpkg
