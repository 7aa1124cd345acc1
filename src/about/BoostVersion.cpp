// SPDX-License-Identifier: Apache-2.0
#include "about/BoostVersion.hpp"

#include <boost/version.hpp>

namespace opc {

std::string boostVersion() {
  return std::to_string(BOOST_VERSION / 100000) + "." + std::to_string(BOOST_VERSION / 100 % 1000) + "." +
         std::to_string(BOOST_VERSION % 100);
}

}  // namespace opc
