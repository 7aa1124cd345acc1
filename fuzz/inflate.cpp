// SPDX-License-Identifier: Apache-2.0
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <vector>

#include "FuzzTarget.hpp"
#include "container/Deflate.hpp"
#include "container/ItemStream.hpp"
#include "opc/model/Exceptions.hpp"

/// A deflate stream, also one so long that its content is not held whole: what zlib reads, the library reads, to the
/// same bytes, from the beginning and from the middle.
namespace zt_fuzz {
namespace {

namespace zip = opc::model::zip;

constexpr std::size_t kMostContent = 12 << 20;
constexpr std::size_t kMostRatio = 1'000;  // to one stored byte; deflate reaches little more

/// Nothing unless zlib takes the whole input as one stream.
std::optional<Bytes> inflatedByZlib(Bytes const& input) {
  z_stream stream{};
  if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) throw std::bad_alloc();
  std::unique_ptr<z_stream, int (*)(z_stream*)> const owner(&stream, inflateEnd);
  Bytes in = input, content(std::min(kMostContent, input.size() * kMostRatio));
  stream.next_in = in.data();
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = content.data();
  stream.avail_out = static_cast<uInt>(content.size());
  if (inflate(&stream, Z_FINISH) != Z_STREAM_END || stream.avail_in != 0) return std::nullopt;
  content.resize(stream.total_out);
  return content;
}

Bytes contentFrom(Bytes const& stored, Bytes const& content, std::uint64_t offset) {
  zip::ItemFacts const facts{"item", 8, stored.size(), content.size(), zip::crcOf(0, content.data(), content.size())};
  auto const source = [&stored](std::uint64_t at, void* to, std::size_t count) {
    std::copy_n(stored.begin() + static_cast<std::ptrdiff_t>(at), count, static_cast<unsigned char*>(to));
  };
  return readAll(*zip::openItem(facts, source, nullptr, offset));
}

void run(Bytes const& input) {
  auto const content = inflatedByZlib(input);
  if (!content) return;
  require(contentFrom(input, *content, 0) == *content, "what zlib inflates is inflated to the same bytes");
  std::size_t const middle = content->size() / 2;
  Bytes const rest(content->begin() + static_cast<std::ptrdiff_t>(middle), content->end());
  require(contentFrom(input, *content, middle) == rest, "what is read from the middle is the same");
}

Bytes deflated(Bytes const& content) {
  zip::Buffer const made = zip::deflateWhole(zip::Effort::Default, content.data(), content.size());
  return {made.data.get(), made.data.get() + made.size};
}

std::vector<Bytes> seeds() {
  Bytes text;
  for (unsigned i = 0; i < 3'000; ++i) text.push_back(static_cast<unsigned char>('a' + i * i % 7));
  return {deflated(bytesOf("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa")), deflated(text), deflated(Bytes(9 << 20))};
}

Registration const registration("inflate", run, seeds);

}  // namespace
}  // namespace zt_fuzz
