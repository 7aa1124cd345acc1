// SPDX-License-Identifier: Apache-2.0
#include <sys/prctl.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "secrets/PackageKey.hpp"
#include "secrets/PasswordInput.hpp"
#include "secrets/Secrets.hpp"
#include "support/MemoryScan.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

template <typename Bytes>
void expectKept(Bytes const& bytes) {
  EXPECT_TRUE(zt_test::hasMemoryFlag(bytes.data(), "dd"));
  EXPECT_TRUE(zt_test::hasMemoryFlag(&bytes.back(), "dd"));
  if (!zt_test::canLockMemory()) return;
  EXPECT_TRUE(zt_test::hasMemoryFlag(bytes.data(), "lo"));
  EXPECT_TRUE(zt_test::hasMemoryFlag(&bytes.back(), "lo"));
}

TEST(SecretsOfTheTool, StayOutOfCoreFilesAndTheSwapSpace) {
  expectKept(Secret(std::vector<unsigned char>(32, 1)).bytes());
  expectKept(SecretBytes(10'000, 'a'));
  expectKept(Password(2000, [](std::u16string& text) { text.assign(2000, u'a'); }).text());
}

TEST(SecretsOfTheTool, StayThereWhenTheyAreRead) {
  zt_test::TemporaryDirectory const directory;
  std::string const file = (directory / "key").string();
  for (std::string const& text : {std::string(32, 'k'), std::string(64, 'a') + "\n"}) {
    zt_test::writeFile(file, text);
    expectKept(readKey(file)->bytes());
  }
  zt_test::writeFile(file, std::string(100, 'p'));
  expectKept(readPassword({.file = file}, "p", PasswordUse::New).text());
}

TEST(SecretsOfTheTool, AreReadByNoOtherProcess) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "secret", std::string(32, 'k'));
  prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
  readKey((directory / "secret").string());
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
  prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
  readPassword({.file = (directory / "secret").string()}, "p", PasswordUse::New);
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
}

}  // namespace
}  // namespace ztpkg
