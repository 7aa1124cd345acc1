// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "opc/Streams.hpp"

namespace zt_test {

/// A fresh directory, removed with everything in it at the end.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(TemporaryDirectory const&) = delete;
  TemporaryDirectory& operator=(TemporaryDirectory const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }
  std::u16string u16(std::string const& name = {}) const;

 private:
  std::filesystem::path path_;
};

/// The corpus of other people's packages that stands beside a developer's checkout; empty where absent.
std::filesystem::path corpus();
/// tests/data of the source tree.
std::filesystem::path data();

std::string readFile(std::filesystem::path const& path);
void writeFile(std::filesystem::path const& path, std::string const& text);

std::vector<unsigned char> bytesOf(std::string const& text);
std::string textOf(std::vector<unsigned char> const& bytes);
/// Reads to the end in steps of `step` bytes.
std::string readAll(opc::InputStream& stream, std::size_t step = 65536);

/// Runs a program through the shell; its exit code and what it printed on both outputs.
struct Outcome {
  int exitCode;
  std::string output;
};
Outcome run(std::string const& command);
bool haveProgram(std::string const& name);

/// An output that fails at its n-th write (1 is the first), or at close() when n is 0.
class FailingOutput final : public opc::OutputStream {
 public:
  explicit FailingOutput(std::size_t failAt) : failAt_(failAt) {}
  void write(void const* data, std::size_t count) override;
  void close() override;

 private:
  std::size_t failAt_;
  std::size_t writes_ = 0;
};

}  // namespace zt_test

#define ZT_SKIP_WITHOUT_CORPUS() \
  if (zt_test::corpus().empty()) GTEST_SKIP() << "no corpus of packages beside the checkout"

/// The expression throws exactly this exception class with exactly this message.
#define EXPECT_THROW_MESSAGE(expression, Class, message)                              \
  try {                                                                               \
    expression;                                                                       \
    ADD_FAILURE() << #expression " did not throw " #Class;                            \
  } catch (std::exception const& thrown) {                                            \
    EXPECT_EQ(typeid(thrown), typeid(Class)) << "it threw " << typeid(thrown).name(); \
    EXPECT_STREQ(thrown.what(), std::string(message).c_str());                        \
  }
