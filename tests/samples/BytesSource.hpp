// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <utility>
#include <vector>

#include "opc/Streams.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices::samples {

/// Content of these bytes, with any content type.
class BytesSource final : public IContentSource {
 public:
  explicit BytesSource(std::vector<unsigned char> bytes,
                       model::ContentType const& type = model::ContentType(u"application/octet-stream"))
      : bytes_(std::move(bytes)), type_(type), stream_(bytes_) {}
  explicit BytesSource(std::string_view text,
                       model::ContentType const& type = model::ContentType(u"application/octet-stream"))
      : BytesSource(std::vector<unsigned char>(text.begin(), text.end()), type) {}

  model::ContentType getContentType() override { return type_; }
  InputStream& getInputStream() override { return stream_; }

 private:
  std::vector<unsigned char> bytes_;
  model::ContentType type_;
  ByteArrayInAdaptor stream_;
};

}  // namespace opc::ztservices::samples
