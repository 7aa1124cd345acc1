// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <random>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "opc/Streams.hpp"

/// What every fuzz target is made of. A target takes any bytes, does with them what the library is for, and requires
/// that what the library promises is kept: its exceptions are those that are documented, and what it accepts is the
/// same after it has been written and read again.
namespace zt_fuzz {

using Bytes = std::vector<unsigned char>;

/// A promise that was not kept. No exception of the library's, so that no target takes it for a refusal.
class BrokenPromise : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

void require(bool isKept, char const* promise);

using Random = std::mt19937;
/// Changes bytes in any way.
using ChangeBytes = std::function<std::string(std::string)>;
/// Changes an input so that it stays near its format.
using Change = Bytes (*)(Bytes const& input, Random& random, ChangeBytes const& change);

struct Target {
  std::string name;
  void (*run)(Bytes const& input);
  /// Small inputs to begin with, made anew by each call.
  std::vector<Bytes> (*seeds)();
  Change change;  // null where bytes are changed anyhow
};

/// Those that are linked into this program.
std::vector<Target>& targets();

struct Registration {
  Registration(std::string name, void (*run)(Bytes const&), std::vector<Bytes> (*seeds)(), Change change = nullptr) {
    targets().push_back({std::move(name), run, seeds, change});
  }
};

Bytes bytesOf(std::string_view text);
std::string textOf(Bytes const& bytes);
/// UTF-16 of these bytes as they come, low byte first, whatever they hold.
std::u16string unitsOf(std::string_view bytes);
/// Up to the first line feed, and what follows.
std::pair<std::string, std::string> lineAndRest(Bytes const& input);
Bytes readAll(opc::InputStream& input);

/// What the transforms say on standard output about every refusal is no news here.
class Quiet {
 public:
  Quiet();
  ~Quiet();
  Quiet(Quiet const&) = delete;
  Quiet& operator=(Quiet const&) = delete;

 private:
  std::streambuf* buffer_;
};

/// Runs what may refuse its input with one of these exceptions, and answers whether it did not.
template <typename Refusal, typename... Others, typename Step>
bool isAccepted(Step const& step) {
  try {
    if constexpr (sizeof...(Others) > 0) {
      return isAccepted<Others...>(step);
    } else {
      step();
      return true;
    }
  } catch (Refusal const&) {
    return false;
  }
}

}  // namespace zt_fuzz
