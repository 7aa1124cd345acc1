// SPDX-License-Identifier: Apache-2.0
#include "services/content/TransformErrors.hpp"

#include "opc/Strings.hpp"

namespace opc::ztservices {
namespace {

std::string contentTypeOf(IContentSource& source) { return toASCIIString(source.getContentType().toString()); }

}  // namespace

void throwCouldNotTransformContentType(IContentSource& source) {
  throw CouldNotTransformContentType("Failure when attempting to transform content type:" + contentTypeOf(source));
}

void throwCouldNotTransformContentData(IContentSource& source) {
  throw CouldNotTransformContentData("Failure when attempting to transform data for content type:" +
                                     contentTypeOf(source));
}

}  // namespace opc::ztservices
