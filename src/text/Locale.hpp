// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace fl::i18n {

/// Name of the encoding of the user's locale ("UTF-8", "ISO-8859-1", "US-ASCII"), as the environment gives it
/// at the time of the call. May be called from any thread.
std::u16string getGlobalLocaleEncodingName();

}  // namespace fl::i18n
