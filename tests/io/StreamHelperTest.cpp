// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "io/StreamSamples.hpp"
#include "opc/Streams.hpp"
#include "support/TestSupport.hpp"

namespace {

using core_test::sampleText;
using zt_test::bytesOf;
using zt_test::textOf;

/// Delivers its text in pieces of one byte, with a read of nothing between any two.
class HesitantInput final : public opc::InputStream {
 public:
  explicit HesitantInput(std::string text) : text_(std::move(text)) {}
  void reset() override { position_ = 0; }
  std::size_t read(void* buffer, std::size_t) override {
    hesitates_ = !hesitates_;
    if (hesitates_ || isEnd()) return 0;
    *static_cast<char*>(buffer) = text_[position_++];
    return 1;
  }
  bool isEnd() override { return position_ == text_.size(); }
  void clear() override {}

 private:
  std::string text_;
  std::size_t position_ = 0;
  bool hesitates_ = false;
};

class CountingOutput final : public opc::OutputStream {
 public:
  void write(void const*, std::size_t count) override {
    ++writes;
    emptyWrites += count == 0;
  }
  void close() override { ++closes; }

  int writes = 0, emptyWrites = 0, closes = 0;
};

constexpr std::size_t kSizes[] = {0, 1, 65'535, 65'536, 65'537, 1'000'000};

TEST(StreamHelper, CopiesEverySizeFromMemory) {
  for (std::size_t const size : kSizes) {
    auto const bytes = bytesOf(sampleText(size));
    std::vector<unsigned char> copied;
    opc::ByteArrayInAdaptor input(bytes);
    opc::ByteArrayOutAdaptor output(copied);
    opc::StreamHelper::copyStreamToStream(input, output);
    EXPECT_EQ(copied, bytes) << "size " << size;
    EXPECT_TRUE(input.isEnd()) << "size " << size;
  }
}

TEST(StreamHelper, CopiesEverySizeFromAStream) {
  for (std::size_t const size : kSizes) {
    std::istringstream text(sampleText(size));
    std::vector<unsigned char> copied;
    opc::StdIStreamAdaptor input(text);
    opc::ByteArrayOutAdaptor output(copied);
    opc::StreamHelper::copyStreamToStream(input, output);
    EXPECT_EQ(copied, bytesOf(sampleText(size))) << "size " << size;
  }
}

TEST(StreamHelper, CopiesFromTheCurrentPosition) {
  auto const bytes = bytesOf("abcdef");
  std::vector<unsigned char> copied;
  opc::ByteArrayInAdaptor input(bytes);
  opc::ByteArrayOutAdaptor output(copied);
  char two[2];
  input.read(two, 2);
  opc::StreamHelper::copyStreamToStream(input, output);
  EXPECT_EQ(textOf(copied), "cdef");
}

TEST(StreamHelper, GoesOnAfterAReadOfNothing) {
  HesitantInput input("patience");
  std::vector<unsigned char> copied;
  opc::ByteArrayOutAdaptor output(copied);
  opc::StreamHelper::copyStreamToStream(input, output);
  EXPECT_EQ(textOf(copied), "patience");
}

TEST(StreamHelper, WritesNoEmptyPieces) {
  HesitantInput input("patience");
  CountingOutput output;
  opc::StreamHelper::copyStreamToStream(input, output);
  EXPECT_EQ(output.writes, 8);
  EXPECT_EQ(output.emptyWrites, 0);
}

TEST(StreamHelper, ClosesNothing) {
  HesitantInput input("x");
  CountingOutput output;
  opc::StreamHelper::copyStreamToStream(input, output);
  EXPECT_EQ(output.closes, 0);
}

TEST(StreamHelper, PassesAFailedWriteOn) {
  auto const bytes = bytesOf(sampleText(200'000));
  for (std::size_t n = 1; n <= 3; ++n) {
    opc::ByteArrayInAdaptor input(bytes);
    zt_test::FailingOutput output(n);
    EXPECT_THROW_MESSAGE(opc::StreamHelper::copyStreamToStream(input, output), opc::StreamError,
                         "write " + std::to_string(n) + " fails");
  }
}

TEST(StreamHelper, PassesAFailedReadOn) {
  core_test::ThrowingInput buffer(3);
  std::istream stream(&buffer);
  opc::StdIStreamAdaptor input(stream);
  CountingOutput output;
  EXPECT_THROW_MESSAGE(opc::StreamHelper::copyStreamToStream(input, output), opc::StreamError,
                       "Could not read from the stream");
}

}  // namespace
