// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <vector>

#include "io/Watch.hpp"
#include "support/TestSupport.hpp"

namespace opc {
namespace {

TEST(Watch, ReportsAtOnceAndAtTheEnd) {
  std::vector<Progress> reports;
  Watch watch({.report = [&](Progress const& progress) {
    reports.push_back(progress);
    return true;
  }});
  watch.expect(2, 10);
  watch.check();
  watch.addFile();
  watch.addBytes(4);
  watch.check();  // too soon for another report
  watch.finish();
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0].files, 0u);
  EXPECT_EQ(reports[0].allBytes, 10u);
  EXPECT_EQ(reports[1].files, 2u);
  EXPECT_EQ(reports[1].bytes, 10u);
}

TEST(Watch, NeverReportsMoreThanThereIs) {
  Progress last;
  Watch watch({.report = [&](Progress const& progress) {
    last = progress;
    return true;
  }});
  watch.expect(1, 10);
  watch.addBytes(11);
  watch.addFile();
  watch.addFile();
  watch.check();
  EXPECT_EQ(last.bytes, 10u);
  EXPECT_EQ(last.files, 1u);
}

TEST(Watch, TakesTheBytesDoneForTheirUnknownNumber) {
  std::vector<Progress> reports;
  Watch watch({.report = [&](Progress const& progress) {
    reports.push_back(progress);
    return true;
  }});
  watch.expect(1, std::nullopt);
  watch.addBytes(11);
  watch.check();
  watch.addBytes(1);
  watch.finish();
  ASSERT_EQ(reports.size(), 2u);
  EXPECT_EQ(reports[0].bytes, 11u);
  EXPECT_EQ(reports[0].allBytes, 11u);
  EXPECT_EQ(reports[1].bytes, 12u);
}

TEST(Watch, IsCancelledByAStopRequestBehindTheLastReport) {
  std::stop_source source;
  Watch watch({.stop = source.get_token()});
  EXPECT_FALSE(watch.isCancelled());
  source.request_stop();
  EXPECT_THROW(watch.finish(), Cancelled);
  EXPECT_TRUE(watch.isCancelled());
}

TEST(Watch, ThrowsOnceAReportReturnsFalse) {
  Watch watch({.report = [](Progress const&) { return false; }});
  EXPECT_THROW_MESSAGE(watch.check(), Cancelled, "The operation was cancelled");
  EXPECT_THROW(watch.check(), Cancelled);
  EXPECT_THROW(watch.finish(), Cancelled);
}

TEST(Watch, ThrowsAfterAStopRequest) {
  std::stop_source source;
  Watch watch({.stop = source.get_token()});
  watch.check();
  source.request_stop();
  EXPECT_THROW(watch.check(), Cancelled);
}

TEST(Watch, PassesOnWhatAReportThrows) {
  Watch watch({.report = [](Progress const&) -> bool { throw 1; }});
  EXPECT_THROW(watch.check(), int);
}

TEST(Watch, IsCancelledOnceAReportHasThrown) {
  Watch watch({.report = [](Progress const&) -> bool { throw std::runtime_error("report"); }});
  EXPECT_THROW(watch.check(), std::runtime_error);
  EXPECT_THROW(watch.check(), Cancelled);
  EXPECT_THROW(watch.finish(), Cancelled);
}

TEST(Watch, IsSilentOnceTheOperationIsOver) {
  std::stop_source source;
  int reports = 0;
  Watch watch({.report = [&](Progress const&) { return ++reports > 0; }, .stop = source.get_token()});
  watch.end();
  source.request_stop();
  watch.check();
  EXPECT_EQ(reports, 0);
}

TEST(WatchedInput, CountsBytesOnceHoweverOftenTheyAreRead) {
  std::vector<unsigned char> const bytes(100);
  ByteArrayInAdaptor inner(bytes);
  Progress last;
  Watch watch({.report = [&](Progress const& progress) {
    last = progress;
    return true;
  }});
  watch.expect(1, 1000);
  WatchedInput input(inner, watch);
  EXPECT_EQ(zt_test::readAll(input, 60).size(), 100u);
  input.clear();
  input.reset();
  EXPECT_EQ(zt_test::readAll(input, 60).size(), 100u);
  Watch other({});
  EXPECT_NO_THROW(other.check());
  EXPECT_TRUE(input.isEnd());
  watch.addFile();
  EXPECT_LE(last.bytes, 100u);
}

}  // namespace
}  // namespace opc
