// SPDX-License-Identifier: Apache-2.0
#include "text/IcuVersion.hpp"

#include <unicode/uversion.h>

namespace fl::i18n {

std::string icuVersion() {
  UVersionInfo version;
  u_getVersion(version);
  char text[U_MAX_VERSION_STRING_LENGTH];
  u_versionToString(version, text);
  return text;
}

}  // namespace fl::i18n
