// SPDX-License-Identifier: Apache-2.0
#include "text/Locale.hpp"

#include "opc/Strings.hpp"

namespace fl::i18n {

std::u16string getGlobalLocaleEncodingName() { return opc::toString(opc::getUserDefaultEncoding()); }

}  // namespace fl::i18n
