// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <streambuf>
#include <string>

namespace core_test {

/// The steps at which block sizes and buffers show their edges, and one that takes all at once.
constexpr std::size_t kSteps[] = {1, 2, 15, 16, 17, 4096, 1'000'000};

/// Text in which every position differs from its neighbours.
inline std::string sampleText(std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) text += static_cast<char>((i * 7 + i / 251) % 256);
  return text;
}

/// Delivers some bytes one at a time and then throws.
class ThrowingInput : public std::streambuf {
 public:
  explicit ThrowingInput(int good) : good_(good) {}

 protected:
  int_type underflow() override {
    if (good_-- <= 0) throw std::runtime_error("the buffer failed");
    next_ = 'x';
    setg(&next_, &next_, &next_ + 1);
    return traits_type::to_int_type(next_);
  }

 private:
  int good_;
  char next_ = 0;
};

/// Takes so many bytes, and refuses the rest.
class FullOutput : public std::streambuf {
 public:
  explicit FullOutput(std::size_t room) : room_(room) {}

 protected:
  int_type overflow(int_type next) override { return room_-- > 0 ? traits_type::not_eof(next) : traits_type::eof(); }
  std::streamsize xsputn(char const*, std::streamsize count) override {
    auto const taken = std::min(count, static_cast<std::streamsize>(room_));
    room_ -= static_cast<std::size_t>(taken);
    return taken;
  }

 private:
  std::size_t room_;
};

/// Takes everything, and cannot flush it.
class UnflushableOutput : public std::streambuf {
 protected:
  int_type overflow(int_type next) override { return traits_type::not_eof(next); }
  int sync() override { return -1; }
};

}  // namespace core_test
