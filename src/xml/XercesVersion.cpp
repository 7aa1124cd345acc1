// SPDX-License-Identifier: Apache-2.0
#include "xml/XercesVersion.hpp"

#include <xercesc/util/XercesVersion.hpp>

namespace opc::model {

std::string xercesVersion() { return XERCES_FULLVERSIONDOT; }

}  // namespace opc::model
