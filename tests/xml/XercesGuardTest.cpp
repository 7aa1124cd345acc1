// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <optional>
#include <thread>
#include <vector>
#include <xercesc/util/PlatformUtils.hpp>

#include "foundation/xml/XercesGuard.hpp"
#include "xml/XmlTestSupport.hpp"

using namespace opc::model;
using xercesc::XMLPlatformUtils;

TEST(XercesGuard, InitialisesWhileTheFirstAndTheLastLive) {
  ASSERT_EQ(XMLPlatformUtils::fgMemoryManager, nullptr);
  std::optional<XercesGuard> first(std::in_place);
  std::optional<XercesGuard> second(std::in_place);
  first.reset();
  EXPECT_NE(XMLPlatformUtils::fgMemoryManager, nullptr);
  second.reset();
  EXPECT_EQ(XMLPlatformUtils::fgMemoryManager, nullptr);
}

TEST(XercesGuard, CountsCopies) {
  std::optional<XercesGuard> first(std::in_place);
  std::optional<XercesGuard> copy(first);
  copy = first;
  first.reset();
  EXPECT_NE(XMLPlatformUtils::fgMemoryManager, nullptr);
  copy.reset();
  EXPECT_EQ(XMLPlatformUtils::fgMemoryManager, nullptr);
}

TEST(XercesGuard, RemovesTheNetworkAccessor) {
  XercesGuard const guard;
  EXPECT_EQ(XMLPlatformUtils::fgNetAccessor, nullptr);
}

TEST(XercesGuard, LeavesThePlatformOfTheApplicationAlone) {
  XMLPlatformUtils::Initialize();
  xercesc::XMLNetAccessor const* const accessor = XMLPlatformUtils::fgNetAccessor;
  { XercesGuard const guard; }
  EXPECT_EQ(XMLPlatformUtils::fgNetAccessor, accessor);
  EXPECT_NE(XMLPlatformUtils::fgMemoryManager, nullptr);
  XMLPlatformUtils::Terminate();
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
  EXPECT_EQ(XMLPlatformUtils::fgMemoryManager, nullptr);
}
