// SPDX-License-Identifier: Apache-2.0
#include "container/ItemStream.hpp"

#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <utility>

#include "container/Archive.hpp"
#include "container/ChunkIndex.hpp"
#include "container/ChunkedStream.hpp"
#include "container/Faults.hpp"
#include "container/ZipFormat.hpp"

namespace opc::model::zip {
namespace {

// A deflated match of 258 bytes takes two bits at least.
constexpr std::uint64_t kMaximumExpansion = 1032;

struct FreeDecompressor {
  void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

libdeflate_decompressor* decompressor() {
  thread_local std::unique_ptr<libdeflate_decompressor, FreeDecompressor> const kept(libdeflate_alloc_decompressor());
  if (!kept) throw std::bad_alloc();
  return kept.get();
}

void inflateWhole(ItemFacts const& facts, unsigned char const* stored, Buffer& content) {
  auto const storedSize = static_cast<std::size_t>(facts.storedSize);
  std::size_t used = 0, produced = 0;
  auto const result = libdeflate_deflate_decompress_ex(decompressor(), stored, storedSize, content.data.get(),
                                                       content.size, &used, &produced);
  if (result == LIBDEFLATE_INSUFFICIENT_SPACE) throw invalidItem(facts.name, fault::kWrongLength);
  if (result != LIBDEFLATE_SUCCESS) throw invalidItem(facts.name, fault::kDamagedData);
  if (produced != content.size) throw invalidItem(facts.name, fault::kWrongLength);
  if (used != storedSize) throw invalidItem(facts.name, fault::kLeftOver);
}

constexpr std::size_t kInputBuffer = 64u << 10;
constexpr std::uint64_t kStoredSlack = 64u << 10;  // deflating incompressible content makes it a little longer

class MemoryStream final : public InputStream {
 public:
  explicit MemoryStream(Buffer content) : content_(std::move(content)) {}

  void reset() override { position_ = 0; }
  std::size_t read(void* buffer, std::size_t count) override {
    count = std::min(count, content_.size - position_);
    std::copy_n(content_.data.get() + position_, count, static_cast<unsigned char*>(buffer));
    position_ += count;
    return count;
  }
  bool isEnd() override { return position_ == content_.size; }
  void clear() override {}

 private:
  Buffer content_;
  std::size_t position_ = 0;
};

/// Content too large for memory. The read that reaches the declared size verifies length and CRC before it returns, so
/// the last bytes are never delivered unverified. Every read throws a failure again until reset().
class VerifiedStream : public InputStream {
 public:
  explicit VerifiedStream(ItemFacts facts) : facts_(std::move(facts)) {}

  void reset() final {
    restart();
    position_ = 0;
    crc_ = 0;
    failure_ = nullptr;
  }

  std::size_t read(void* buffer, std::size_t count) final {
    if (failure_) std::rethrow_exception(failure_);
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, facts_.size - position_));
    if (count == 0) return 0;
    try {
      return readSome(static_cast<unsigned char*>(buffer), count);
    } catch (...) {
      failure_ = std::current_exception();
      throw;
    }
  }

  bool isEnd() final { return !failure_ && position_ == facts_.size; }
  void clear() final {}

 protected:
  virtual void restart() = 0;
  /// Fills the buffer or throws.
  virtual void produce(std::uint64_t position, unsigned char* to, std::size_t count) = 0;
  /// Throws where further bytes follow.
  virtual void finish() = 0;

  ItemFacts const& facts() const { return facts_; }
  InvalidItem fault(char const* what) const { return invalidItem(facts_.name, what); }

 private:
  std::size_t readSome(unsigned char* to, std::size_t count) {
    produce(position_, to, count);
    crc_ = crcOf(crc_, to, count);
    if (position_ + count == facts_.size) {
      finish();
      if (crc_ != facts_.crc) throw fault(fault::kWrongCrc);
    }
    position_ += count;
    return count;
  }

  ItemFacts facts_;
  std::uint64_t position_ = 0;
  std::uint32_t crc_ = 0;
  std::exception_ptr failure_;
};

class StoredStream final : public VerifiedStream {
 public:
  StoredStream(ItemFacts facts, StoredBytes source) : VerifiedStream(std::move(facts)), source_(std::move(source)) {}

 private:
  void restart() override {}
  void produce(std::uint64_t position, unsigned char* to, std::size_t count) override { source_(position, to, count); }
  void finish() override {}  // the two sizes are equal

  StoredBytes source_;
};

/// zlib's raw inflate.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&stream_, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  }
  ~Inflater() { inflateEnd(&stream_); }
  Inflater(Inflater const&) = delete;
  Inflater& operator=(Inflater const&) = delete;

  void restart() {
    inflateReset(&stream_);
    stream_.avail_in = 0;
    ended_ = false;
  }

  bool needsInput() const { return stream_.avail_in == 0; }
  bool isEnd() const { return ended_; }

  /// The bytes belong to the caller and must live until they are used up.
  void setInput(unsigned char* data, std::size_t count) {
    stream_.next_in = data;
    stream_.avail_in = static_cast<uInt>(count);
  }

  /// Returns how many bytes it produced. Sets `sound` to false for damaged data.
  std::size_t produce(unsigned char* to, std::size_t count, bool& sound) {
    auto const room = static_cast<uInt>(std::min<std::size_t>(count, std::numeric_limits<uInt>::max()));
    stream_.next_out = to;
    stream_.avail_out = room;
    int const result = inflate(&stream_, Z_NO_FLUSH);
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    ended_ = result == Z_STREAM_END;
    sound = ended_ || result == Z_OK || result == Z_BUF_ERROR;  // Z_BUF_ERROR: more input is needed
    return room - stream_.avail_out;
  }

 private:
  z_stream stream_{};
  bool ended_ = false;
};

class InflatingStream final : public VerifiedStream {
 public:
  InflatingStream(ItemFacts facts, StoredBytes source)
      : VerifiedStream(std::move(facts)), source_(std::move(source)), input_(kInputBuffer) {}

 private:
  void restart() override {
    inflater_.restart();
    taken_ = 0;
  }

  void produce(std::uint64_t, unsigned char* to, std::size_t count) override {
    while (count > 0) {
      if (inflater_.isEnd()) throw fault(fault::kWrongLength);
      std::size_t const produced = step(to, count);
      to += produced;
      count -= produced;
    }
  }

  void finish() override {
    unsigned char more = 0;
    while (!inflater_.isEnd())
      if (step(&more, 1) != 0) throw fault(fault::kWrongLength);
    if (!inflater_.needsInput() || taken_ != facts().storedSize) throw fault(fault::kLeftOver);
  }

  /// Each step produces a byte, takes input, or throws.
  std::size_t step(unsigned char* to, std::size_t count) {
    bool const filled = inflater_.needsInput() && fill();
    bool sound = false;
    std::size_t const produced = inflater_.produce(to, count, sound);
    bool const stuck = produced == 0 && !filled && !inflater_.isEnd();
    if (!sound || stuck) throw fault(fault::kDamagedData);
    return produced;
  }

  bool fill() {
    auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(input_.size, facts().storedSize - taken_));
    source_(taken_, input_.data.get(), count);
    inflater_.setInput(input_.data.get(), count);
    taken_ += count;
    return count > 0;
  }

  StoredBytes source_;
  Buffer input_;
  std::uint64_t taken_ = 0;
  Inflater inflater_;
};

/// Inflates another stream up to its end.
class InflatedStream final : public InputStream {
 public:
  InflatedStream(InputStream& deflated, std::string name, std::optional<std::uint64_t> size)
      : deflated_(deflated), name_(std::move(name)), size_(size), input_(kInputBuffer), output_(kInputBuffer) {}

  void reset() override {
    deflated_.clear();
    deflated_.reset();
    inflater_.restart();
    from_ = to_ = 0;
    inflated_ = 0;
  }
  std::size_t read(void* buffer, std::size_t count) override {
    if (count == 0 || isEnd()) return 0;
    count = std::min(count, to_ - from_);
    std::copy_n(output_.data.get() + from_, count, static_cast<unsigned char*>(buffer));
    from_ += count;
    return count;
  }
  bool isEnd() override {
    while (from_ == to_ && !inflater_.isEnd()) fill();
    return from_ == to_;
  }
  void clear() override {}

 private:
  void fill() {
    bool const isAtEnd = inflater_.needsInput() && !takeInput();
    bool sound = false;
    from_ = to_ = 0;
    std::size_t const produced = inflater_.produce(output_.data.get(), output_.size, sound);
    if (!sound || (produced == 0 && isAtEnd && !inflater_.isEnd())) throw invalidItem(name_, fault::kDamagedData);
    if (inflater_.isEnd() && (!inflater_.needsInput() || !deflated_.isEnd()))
      throw invalidItem(name_, fault::kLeftOver);
    inflated_ += produced;
    if (size_ && (inflated_ > *size_ || (inflater_.isEnd() && inflated_ < *size_)))
      throw invalidItem(name_, fault::kWrongLength);
    to_ = produced;
  }

  bool takeInput() {
    std::size_t const count = deflated_.read(input_.data.get(), input_.size);
    inflater_.setInput(input_.data.get(), count);
    return count > 0;
  }

  InputStream& deflated_;
  std::string name_;
  std::optional<std::uint64_t> size_;
  std::uint64_t inflated_ = 0;
  Inflater inflater_;
  Buffer input_;
  Buffer output_;
  std::size_t from_ = 0;  // of what is delivered next in output_
  std::size_t to_ = 0;
};

/// A stream without its first bytes.
class LaterStream final : public InputStream {
 public:
  LaterStream(std::uint64_t offset, std::unique_ptr<InputStream> stream) : offset_(offset), stream_(std::move(stream)) {
    skip();
  }

  void reset() override {
    stream_->reset();
    skip();
  }
  std::size_t read(void* buffer, std::size_t count) override { return stream_->read(buffer, count); }
  bool isEnd() override { return stream_->isEnd(); }
  void clear() override { stream_->clear(); }

 private:
  void skip() {
    Buffer skipped(kInputBuffer);
    std::uint64_t left = offset_;
    while (left > 0) {
      auto const count = static_cast<std::size_t>(std::min<std::uint64_t>(left, skipped.size));
      std::size_t const read = stream_->read(skipped.data.get(), count);
      if (read == 0) return;
      left -= read;
    }
  }

  std::uint64_t offset_;
  std::unique_ptr<InputStream> stream_;
};

std::unique_ptr<InputStream> makeVerifiedStream(ItemFacts facts, StoredBytes source) {
  if (facts.method == kStored) return std::make_unique<StoredStream>(std::move(facts), std::move(source));
  return std::make_unique<InflatingStream>(std::move(facts), std::move(source));
}

}  // namespace

std::uint32_t crcOf(std::uint32_t crc, void const* data, std::size_t count) {
  // A null pointer asks libdeflate for the initial value.
  return count == 0 ? crc : libdeflate_crc32(crc, data, count);
}

void checkFacts(ItemFacts const& facts) {
  if (facts.method != kStored && facts.method != kDeflated) throw unknownMethod(facts.name, facts.method);
  bool const possible =
      facts.method == kStored ? facts.size == facts.storedSize : facts.size / kMaximumExpansion <= facts.storedSize;
  if (!possible) throw invalidItem(facts.name, fault::kWrongLength);
}

Buffer unpack(ItemFacts const& facts, unsigned char const* stored) {
  Buffer content(static_cast<std::size_t>(facts.size));
  if (facts.method == kStored)
    std::copy_n(stored, content.size, content.data.get());
  else
    inflateWhole(facts, stored, content);
  if (crcOf(0, content.data.get(), content.size) != facts.crc) throw invalidItem(facts.name, fault::kWrongCrc);
  return content;
}

bool isVerifiedWhole(ItemFacts const& facts) { return facts.size <= Archive::kVerifiedWholeBytes; }

bool isReadWhole(ItemFacts const& facts) {
  return isVerifiedWhole(facts) && facts.storedSize <= Archive::kVerifiedWholeBytes + kStoredSlack;
}

std::unique_ptr<InputStream> makeStream(Buffer content) { return std::make_unique<MemoryStream>(std::move(content)); }

bool inflateExactly(std::span<unsigned char const> stored, std::span<unsigned char> content) {
  std::size_t used = 0, produced = 0;
  auto const result = libdeflate_deflate_decompress_ex(decompressor(), stored.data(), stored.size(), content.data(),
                                                       content.size(), &used, &produced);
  return result == LIBDEFLATE_SUCCESS && used == stored.size() && produced == content.size();
}

std::unique_ptr<InputStream> openDeflated(InputStream& deflated, std::string name, std::optional<std::uint64_t> size) {
  return std::make_unique<InflatedStream>(deflated, std::move(name), size);
}

std::unique_ptr<InputStream> startingAt(std::uint64_t offset, std::unique_ptr<InputStream> stream) {
  if (offset == 0) return stream;
  return std::make_unique<LaterStream>(offset, std::move(stream));
}

std::unique_ptr<InputStream> openItem(ItemFacts facts, StoredBytes source, ChunkIndex const* chunks,
                                      std::uint64_t offset, std::size_t threads) {
  checkFacts(facts);
  if (isReadWhole(facts)) {
    Buffer stored(static_cast<std::size_t>(facts.storedSize));
    source(0, stored.data.get(), stored.size);
    return startingAt(offset, makeStream(unpack(facts, stored.data.get())));
  }
  bool const whole = isVerifiedWhole(facts);
  if (whole && facts.size == 0) throw invalidItem(facts.name, fault::kLeftOver);
  Buffer content(whole ? static_cast<std::size_t>(facts.size) : 0);
  if (!whole && chunks) return openChunks(std::move(facts), *chunks, std::move(source), offset, threads);
  auto stream = makeVerifiedStream(std::move(facts), std::move(source));
  if (!whole) return startingAt(offset, std::move(stream));
  stream->read(content.data.get(), content.size);
  return startingAt(offset, makeStream(std::move(content)));
}

}  // namespace opc::model::zip
