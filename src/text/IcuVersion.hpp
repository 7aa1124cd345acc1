// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace fl::i18n {

/// Version of the ICU that runs, such as "72.1".
std::string icuVersion();

}  // namespace fl::i18n
