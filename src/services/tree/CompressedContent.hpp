// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "opc/model/Package.hpp"
#include "opc/ztservices/ContentSources.hpp"

/// Compression of contents that are then encrypted: a raw deflate stream (RFC 1951).
namespace opc::ztservices {

struct MaybeCompressed {
  std::unique_ptr<IContentSource> source;  ///< of the same content type
  bool isCompressed;
};

/// Deflates a content if that makes it smaller. Reads up to 8 MiB of it at once; of a longer content the first 64 KiB
/// decide, and the rest is read with the result. Throws what reading throws.
MaybeCompressed compressed(std::unique_ptr<IContentSource> source, model::CompressionLevel level);

/// The content of a deflated source. Its stream throws model::InvalidItem, which names `name`, where the source is not
/// a whole deflate stream.
std::unique_ptr<IContentSource> inflated(std::unique_ptr<IContentSource> source, std::string name);

}  // namespace opc::ztservices
