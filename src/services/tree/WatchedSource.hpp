// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "io/Watch.hpp"
#include "opc/ztservices/ContentSources.hpp"

namespace opc::ztservices {

/// A content whose bytes the watch counts as they are read, before any transform.
class WatchedSource final : public IContentSource {
 public:
  WatchedSource(std::unique_ptr<IContentSource> source, Watch& watch) : source_(std::move(source)), watch_(watch) {}

  model::ContentType getContentType() override { return source_->getContentType(); }
  InputStream& getInputStream() override {
    if (!input_) input_.emplace(source_->getInputStream(), watch_);
    return *input_;
  }

 private:
  std::unique_ptr<IContentSource> source_;
  Watch& watch_;
  std::optional<WatchedInput> input_{};
};

}  // namespace opc::ztservices
