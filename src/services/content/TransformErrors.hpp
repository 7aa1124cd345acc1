// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "opc/ztservices/ContentSources.hpp"

/// What transforms say when they fail. Both name the content type of the source that is transformed.
namespace opc::ztservices {

[[noreturn]] void throwCouldNotTransformContentType(IContentSource& source);
[[noreturn]] void throwCouldNotTransformContentData(IContentSource& source);

}  // namespace opc::ztservices
