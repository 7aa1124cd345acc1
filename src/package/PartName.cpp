// SPDX-License-Identifier: Apache-2.0
#include "opc/model/PartName.hpp"

#include "opc/Strings.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model {

bool PartName::isValid() const { return detail::isValidPartName(detail::narrowName(text_)); }

bool PartName::isRelationshipsPart() const { return detail::isRelationshipsName(detail::narrowName(text_)); }

bool PartName::isEquivalentTo(PartName const& other) const { return caselessCompare(text_, other.text_); }

}  // namespace opc::model
