// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "cli/Errors.hpp"
#include "secrets/PasswordInput.hpp"
#include "support/MemoryScan.hpp"
#include "support/ScopedEnvironment.hpp"
#include "support/TestSupport.hpp"

namespace ztpkg {
namespace {

using zt_test::TemporaryDirectory;

class PasswordInput : public testing::Test {
 protected:
  zt_test::ScopedLocale locale{"C.UTF-8"};
  TemporaryDirectory directory;

  std::string path() const { return (directory / "password").string(); }
  /// Others who may read it are worth a warning.
  void store(std::string const& content) const {
    using std::filesystem::perms;
    zt_test::writeFile(path(), content);
    std::filesystem::permissions(path(), perms::owner_read | perms::owner_write);
  }
  std::u16string fromFile(std::string const& content) {
    store(content);
    return readPassword({.file = path()}, "p", PasswordUse::New).text();
  }
  static Report reportOf(PasswordOptions const& options) {
    try {
      readPassword(options, "p", PasswordUse::Existing);
    } catch (Failure const& failure) {
      return failure.reports().front();
    }
    return {};
  }
};

TEST_F(PasswordInput, IsTheFirstLineOfAFile) {
  for (char const* content : {"sesame", "sesame\n", "sesame\r\n", "sesame\nother\n"})
    EXPECT_EQ(fromFile(content), u"sesame") << content;
  EXPECT_EQ(fromFile(" se\rsame \n"), u" se\rsame ");
}

TEST_F(PasswordInput, IsNotAnEmptyLine) {
  for (char const* content : {"", "\n", "\r\n", "\nsesame"}) {
    store(content);
    Report const report = reportOf({.file = path()});
    EXPECT_EQ(report.message, "the password is empty");
    EXPECT_EQ(report.exit, Exit::Key);
  }
}

TEST_F(PasswordInput, HasALimit) {
  EXPECT_EQ(fromFile(std::string(4096, 'x')).size(), 4096U);
  store(std::string(4097, 'x'));
  EXPECT_EQ(reportOf({.file = path()}).message, "the password is longer than 4096 bytes");
}

TEST_F(PasswordInput, TellsWhyAFileCannotBeRead) {
  Report const missing = reportOf({.file = path()});
  EXPECT_EQ(missing.message, "cannot read " + path() + ": No such file or directory");
  EXPECT_EQ(missing.exit, Exit::Disk);
  EXPECT_EQ(reportOf({.file = directory.path().string()}).message,
            "cannot read " + directory.path().string() + ": Is a directory");
}

TEST_F(PasswordInput, TakesNoMoreThanItsLineFromADescriptor) {
  store("sesame\nwhat follows");
  int const descriptor = open(path().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(readPassword({.descriptor = descriptor}, "p", PasswordUse::New).text(), u"sesame");
  char rest[32] = {};
  EXPECT_EQ(read(descriptor, rest, sizeof rest), 12);
  EXPECT_STREQ(rest, "what follows");
  close(descriptor);
}

TEST_F(PasswordInput, TellsWhyADescriptorCannotBeRead) {
  Report const report = reportOf({.descriptor = 9999});
  EXPECT_EQ(report.message, "cannot read the file descriptor 9999: Bad file descriptor");
  EXPECT_EQ(report.exit, Exit::Disk);
}

TEST_F(PasswordInput, TakesAVariableOutOfTheEnvironment) {
  setenv("ZT_TEST_PASSWORD", "sesame", 1);
  char const* const value = std::getenv("ZT_TEST_PASSWORD");
  EXPECT_EQ(readPassword({.environment = "ZT_TEST_PASSWORD"}, "p", PasswordUse::New).text(), u"sesame");
  EXPECT_EQ(std::getenv("ZT_TEST_PASSWORD"), nullptr);
  EXPECT_STREQ(value, "");
}

TEST_F(PasswordInput, TellsThatAVariableIsMissing) {
  Report const report = reportOf({.environment = "ZT_TEST_NONE"});
  EXPECT_EQ(report.message, "there is no variable ZT_TEST_NONE in the environment");
  EXPECT_EQ(report.exit, Exit::Key);
}

TEST_F(PasswordInput, LeavesNothingInMemory) {
  if (!zt_test::canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  zt_test::HiddenKey const hidden;
  int descriptors[2];
  ASSERT_EQ(pipe2(descriptors, O_CLOEXEC), 0);
  {
    auto revealed = hidden.reveal();
    ASSERT_EQ(write(descriptors[1], revealed.data(), revealed.size()), 32);
    wipe(revealed.data(), revealed.size());
    close(descriptors[1]);
    EXPECT_EQ(readPassword({.descriptor = descriptors[0]}, "p", PasswordUse::New).text().size(), 32U);
    close(descriptors[0]);
  }
  for (std::size_t width : {1U, 2U, 4U}) EXPECT_EQ(hidden.countInMemory(width), 0U) << width;
}

}  // namespace
}  // namespace ztpkg
