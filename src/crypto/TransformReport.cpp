// SPDX-License-Identifier: Apache-2.0
#include "crypto/TransformReport.hpp"

#include <iostream>

namespace opc::ztservices {

bool reportFailure(std::string const& line) {
  std::cout << line << std::endl;
  return false;
}

}  // namespace opc::ztservices
