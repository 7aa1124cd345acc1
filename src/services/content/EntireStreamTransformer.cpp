// SPDX-License-Identifier: Apache-2.0
#include "services/content/EntireStreamTransformer.hpp"

#include <algorithm>

#include "services/content/TransformErrors.hpp"
#include "text/LargePages.hpp"

namespace opc::ztservices {
namespace {

using Bytes = std::vector<unsigned char>;

/// Collects bytes whose number is not known before. They wait in pieces, each about as large as all before it, so
/// that a byte is moved once more and not each time that one vector would have to grow: for large content that
/// takes half the time.
class CollectedBytes final : public OutputStream {
 public:
  void write(void const* data, std::size_t count) override {
    if (pieces_.empty() || pieces_.back().capacity() - pieces_.back().size() < count) addPiece(count);
    ByteArrayOutAdaptor(pieces_.back()).write(data, count);
    size_ += count;
  }
  void close() override {}

  /// All of them; nothing is left here.
  Bytes take() {
    if (pieces_.size() == 1) return std::move(pieces_.front());
    Bytes all;
    reserveToFill(all, size_);
    for (Bytes& piece : pieces_) {
      all.insert(all.end(), piece.begin(), piece.end());
      piece = Bytes();
    }
    return all;
  }

 private:
  void addPiece(std::size_t count) { reserveToFill(pieces_.emplace_back(), std::max(size_, count)); }

  std::vector<Bytes> pieces_;
  std::size_t size_ = 0;
};

}  // namespace

EntireStreamTransformer::EntireStreamTransformer(TransformSource& transform, IContentSource& source)
    : transform_(transform), source_(source) {
  if (!transform_.transformData(readAll(), transformed_)) throwCouldNotTransformContentData(source_);
  stream_ = std::make_unique<ByteArrayInAdaptor>(transformed_);
}

Bytes EntireStreamTransformer::readAll() {
  CollectedBytes collected;
  StreamHelper::copyStreamToStream(source_.getInputStream(), collected);
  collected.close();
  return collected.take();
}

}  // namespace opc::ztservices
