// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <thread>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

#include "xml/XercesObjects.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using xercesc::XMLPlatformUtils;

namespace {

bool isInitialised() { return XMLPlatformUtils::fgMemoryManager != nullptr; }

/// Ends the process with 0 where the platform is terminated once static objects are gone, and with 1 where not.
[[noreturn]] void exitWith(std::function<void()> const& uses) {
  std::atexit([] { _exit(isInitialised() ? 1 : 0); });  // called after what is made from here on is destroyed
  uses();
  std::exit(2);
}

/// The platform is the process's, so that each of these begins a process of its own.
class XercesProcess : public testing::Test {
 protected:
  XercesProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using XercesProcessDeathTest = XercesProcess;

}  // namespace

TEST(XercesGuard, InitialisesOnceAndForAll) {
  { XercesGuard const guard; }
  EXPECT_TRUE(isInitialised());
}

TEST(XercesGuard, RemovesTheNetworkAccessor) {
  XercesGuard const guard;
  EXPECT_EQ(XMLPlatformUtils::fgNetAccessor, nullptr);
}

TEST_F(XercesProcessDeathTest, TerminatesThePlatformAtItsEnd) {
  EXPECT_EXIT(exitWith([] {
                XercesGuard const first, second, copy(first);
                XercesGuard assigned;
                assigned = copy;
              }),
              testing::ExitedWithCode(0), "");
}

TEST_F(XercesProcessDeathTest, LeavesThePlatformToGuardsThatLiveOn) {
  EXPECT_EXIT(exitWith([] {
                XercesGuard const guard;
                new XercesGuard(guard);
              }),
              testing::ExitedWithCode(1), "");
}

TEST_F(XercesProcessDeathTest, LeavesThePlatformOfTheApplicationAlone) {
  EXPECT_EXIT(
      {
        XMLPlatformUtils::Initialize();
        auto const* const accessor = XMLPlatformUtils::fgNetAccessor;
        { XercesGuard const guard; }
        bool const same = accessor && XMLPlatformUtils::fgNetAccessor == accessor;
        XMLPlatformUtils::Terminate();
        std::exit(same && isInitialised() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(XercesProcessDeathTest, LeavesThePlatformToAnApplicationThatNeedsItLonger) {
  EXPECT_EXIT(exitWith([] {
                { XercesGuard const guard; }
                XMLPlatformUtils::Initialize();
              }),
              testing::ExitedWithCode(1), "");
}

TEST(XercesGuard, MayComeAndGoInManyThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([] {
      for (int i = 0; i < 50; ++i) {
        XmlStreamReader reader;
        EXPECT_EQ(zt_test::streamFault(reader, "<a/>"), "");
      }
    });
  for (std::thread& thread : threads) thread.join();
}
