// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <gmock/gmock.h>
#include <string>

#include "opc/FileSystemOps.hpp"
#include "support/TestSupport.hpp"

namespace core_test {

/// A directory of its own and the operations under test.
class Disk : public testing::Test {
 protected:
  std::u16string at(std::string const& name) const { return directory.u16(name); }
  std::string native(std::string const& name) const { return (directory / name).string(); }

  zt_test::TemporaryDirectory directory;
  opc::LocalFileSystemOps ops;
  boost::system::error_code error = boost::system::error_code(EDOM, boost::system::system_category());
};

/// New files have exactly the permissions that their maker asks for less `mask`.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : before_(::umask(mask)) {}
  ~ScopedUmask() { ::umask(before_); }
  ScopedUmask(ScopedUmask const&) = delete;
  ScopedUmask& operator=(ScopedUmask const&) = delete;

 private:
  mode_t before_;
};

/// Lowers one limit of the process for a while.
class ScopedLimit {
 public:
  ScopedLimit(__rlimit_resource which, rlim_t value) : which_(which) {
    ::getrlimit(which_, &before_);
    rlimit const lowered{std::min(value, before_.rlim_max), before_.rlim_max};
    ::setrlimit(which_, &lowered);
    handler_ = std::signal(SIGXFSZ, SIG_IGN);  // the limit is to show as an error of the write
  }
  ~ScopedLimit() {
    ::setrlimit(which_, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  ScopedLimit(ScopedLimit const&) = delete;
  ScopedLimit& operator=(ScopedLimit const&) = delete;

 private:
  __rlimit_resource which_;
  rlimit before_{};
  void (*handler_)(int);
};

}  // namespace core_test

#define ZT_SKIP_AS_ROOT() \
  if (::geteuid() == 0) GTEST_SKIP() << "permissions do not stop the superuser"
