// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "opc/ztservices/Transforms.hpp"

namespace content_test {

using Bytes = std::vector<unsigned char>;
using opc::model::ContentType;

/// The steps at which block sizes and buffers show their edges, and one that takes all at once.
constexpr std::size_t kSteps[] = {1, 2, 15, 16, 17, 4096, 1'000'000};

/// Every position differs from its neighbours.
inline std::string sampleText(std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) text += static_cast<char>((i * 7 + i / 251) % 256);
  return text;
}

/// What happened to a ProbeSource, which goes before whoever asks.
struct Journal {
  std::vector<std::size_t> reads;  // the counts asked for
  int resets = 0;
  int clears = 0;
  bool destroyed = false;
};

struct ProbeFailure : std::runtime_error {
  ProbeFailure() : std::runtime_error("the source failed") {}
};

/// A source over a text that notes what is done to it, and may fail at its n-th read (1 is the first).
class ProbeSource final : public opc::ztservices::IContentSource, private opc::InputStream {
 public:
  explicit ProbeSource(std::string text, Journal* journal = nullptr, std::size_t failAt = 0)
      : text_(std::move(text)), journal_(journal), failAt_(failAt) {}
  ~ProbeSource() override {
    if (journal_) journal_->destroyed = true;
  }

  ContentType getContentType() override { return ContentType(u"text/plain"); }
  opc::InputStream& getInputStream() override { return *this; }

 private:
  void reset() override {
    position_ = 0;
    if (journal_) ++journal_->resets;
  }
  void clear() override {
    if (journal_) ++journal_->clears;
  }
  bool isEnd() override { return position_ == text_.size(); }
  std::size_t read(void* buffer, std::size_t count) override {
    if (journal_) journal_->reads.push_back(count);
    if (++reads_ == failAt_) throw ProbeFailure();
    std::size_t const delivered = text_.copy(static_cast<char*>(buffer), count, position_);
    position_ += delivered;
    return delivered;
  }

  std::string text_;
  Journal* journal_;
  std::size_t failAt_;
  std::size_t reads_ = 0;
  std::size_t position_ = 0;
};

/// A transform made of a function over blocks.
class FunctionTransform final : public opc::ztservices::TransformSource {
 public:
  using Function = std::function<bool(Bytes const&, Bytes&)>;

  FunctionTransform(std::unique_ptr<IContentSource> source, bool entire, Function function)
      : TransformSource(std::move(source)), entire_(entire), function_(std::move(function)) {}

  bool mustTransformEntireStream() override {
    ++asked;
    return entire_;
  }
  bool transformContentType(ContentType const& in, ContentType& out) override {
    typeGiven = in.toString();
    copyGiven = out.toString();
    if (refuseType) return false;
    out.addParameter(u"seen", u"yes");
    return true;
  }
  bool transformData(Bytes const& in, Bytes& out) override {
    blocks.push_back(in.size());
    emptyOutput = emptyOutput && out.empty();
    return function_(in, out);
  }

  int asked = 0;
  bool refuseType = false;
  bool emptyOutput = true;
  std::vector<std::size_t> blocks;
  std::u16string typeGiven, copyGiven;

 private:
  bool entire_;
  Function function_;
};

inline bool keep(Bytes const& in, Bytes& out) {
  out = in;
  return true;
}
inline bool twice(Bytes const& in, Bytes& out) {
  for (unsigned char const byte : in) out.insert(out.end(), 2, byte);
  return true;
}
/// Keeps the even bytes.
inline bool shrink(Bytes const& in, Bytes& out) {
  std::copy_if(in.begin(), in.end(), std::back_inserter(out), [](unsigned char byte) { return byte % 2 == 0; });
  return true;
}
inline bool swallow(Bytes const&, Bytes&) { return true; }
/// Leaves something in its output, as one does that fails halfway.
inline bool fail(Bytes const&, Bytes& out) {
  out.assign(3, 'x');
  return false;
}

}  // namespace content_test
