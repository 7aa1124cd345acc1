// SPDX-License-Identifier: Apache-2.0
#include "io/Umask.hpp"

#include <sys/stat.h>

#include <fstream>
#include <string>

namespace opc {

mode_t currentUmask() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == "Umask:") {
      unsigned mask = 0;
      status >> std::oct >> mask;
      return static_cast<mode_t>(mask);
    }
  mode_t const mask = umask(077);  // meanwhile another thread's file is too private, not too open
  umask(mask);
  return mask;
}

}  // namespace opc
