// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CoreProperties.hpp"

/// The extended and standard core properties by the names that they have on the command line.
namespace ztpkg {

struct PropertyName {
  std::string name;
  std::string purpose;
  bool isExtended = false;
};
/// All there are, the extended ones first.
std::vector<PropertyName> const& propertyNames();

/// Throws Failure for a name that is none, for a value that the property cannot take, and for another UUID than
/// the record has. An empty value removes a standard property.
void setProperty(opc::ztservices::CoreProperties& record, std::string const& name, std::string const& value);

/// Names and values of those that the record has, in the order of propertyNames().
std::vector<std::pair<std::string, std::u16string>> propertiesOf(opc::ztservices::CoreProperties const& record);

/// Whether the package has extended core properties, readable or not.
bool hasExtendedProperties(opc::model::Package const& package);

}  // namespace ztpkg
