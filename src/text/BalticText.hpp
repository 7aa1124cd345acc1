// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace fl::i18n {

/// Whether bytes beyond ASCII are Lithuanian, Latvian or Estonian as windows-1257 (and ISO-8859-13) writes it, which
/// ICU's detector does not know: as Western text the letters would be of languages that never meet.
bool looksBaltic(std::string_view sample);

}  // namespace fl::i18n
