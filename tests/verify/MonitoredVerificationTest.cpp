// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <stop_token>
#include <string>
#include <vector>

#include "opc/Progress.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Verification.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

class MonitoredVerification : public testing::Test {
 protected:
  MonitoredVerification() {
    auto const package = model::Package::create(path_);
    FileSystemManager files(*package);
    for (int i = 0; i < 50; ++i) files.addFile(std::vector<unsigned char>(10'000), "/" + std::to_string(i));
    package->save();
  }

  zt_test::TemporaryDirectory directory_;
  std::filesystem::path path_ = directory_ / "p";
};

TEST_F(MonitoredVerification, CountsItemsAndBytes) {
  for (std::size_t const threads : {0u, 2u}) {
    Progress last;
    VerificationOptions options{.threads = threads};
    options.monitor.report = [&](Progress const& progress) {
      last = progress;
      return true;
    };
    EXPECT_TRUE(verifyPackage(path_, options).isHealthy());
    EXPECT_EQ(last.files, 53u);  // with the content types, the relationships and the manifest
    EXPECT_EQ(last.allFiles, 53u);
    EXPECT_EQ(last.bytes, last.allBytes);
    EXPECT_GT(last.bytes, 500'000u);
  }
}

TEST_F(MonitoredVerification, EndsWhenAReportSaysSo) {
  VerificationOptions options;
  options.monitor.report = [](Progress const&) { return false; };
  EXPECT_THROW(verifyPackage(path_, options), Cancelled);
}

TEST_F(MonitoredVerification, EndsAfterAStopRequest) {
  std::stop_source source;
  source.request_stop();
  VerificationOptions options{.threads = 2};
  options.monitor.stop = source.get_token();
  EXPECT_THROW(verifyPackage(path_.string(), options), Cancelled);
}

}  // namespace
}  // namespace opc::ztservices
