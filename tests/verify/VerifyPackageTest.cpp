// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "container/ZipTestSupport.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/Verification.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using model::Package;
using zt_test::TemporaryDirectory;

class VerifyPackage : public testing::Test {
 protected:
  /// A package with parts /0.bin, /1.bin ... of these contents, stored as they are.
  std::string makePackage(std::vector<std::string> const& contents) {
    auto const package = Package::create(directory_.u16("p.zip"));
    for (std::size_t i = 0; i < contents.size(); ++i) {
      model::PartName const name(toString("/" + std::to_string(i) + ".bin"));
      auto const out = package
                           ->createPart(name, model::ContentType(u"application/octet-stream"),
                                        model::StandardPartInfo(model::CompressionType::Stored))
                           .getOutputStream();
      out->write(contents[i].data(), contents[i].size());
      out->close();
    }
    package->save();
    return zt_test::readFile(directory_ / "p.zip");
  }

  VerificationReport verify(std::string const& bytes, VerificationOptions options = {}) {
    zt_test::writeFile(directory_ / "p.zip", bytes);
    VerificationReport const report = verifyPackage(directory_.u16("p.zip"), options);
    options.threads = 3;
    VerificationReport const threaded = verifyPackage(directory_.u16("p.zip"), options);
    EXPECT_EQ(messagesOf(threaded), messagesOf(report));
    EXPECT_EQ(threaded.bytes, report.bytes);
    return report;
  }
  static std::vector<std::string> messagesOf(VerificationReport const& report) {
    std::vector<std::string> messages;
    for (VerificationFault const& fault : report.faults) messages.push_back(fault.code + ": " + fault.message);
    return messages;
  }

  TemporaryDirectory directory_;
};

std::string damaged(std::string bytes, std::string const& content) {
  bytes[bytes.find(content)] ^= 1;
  return bytes;
}

std::string codesOf(VerificationReport const& report) {
  std::string codes;
  for (VerificationFault const& fault : report.faults) codes += (codes.empty() ? "" : " ") + fault.code;
  return codes;
}

TEST_F(VerifyPackage, FindsTheItemsBehindAPrefixWithoutAnEndRecord) {
  std::string const bytes = makePackage({"alpha", "beta"});
  auto const report = verify("#!/bin/sh\nexit\n" + bytes.substr(0, bytes.size() - 5));
  EXPECT_EQ(codesOf(report), "damaged-end-record");
  EXPECT_EQ(report.bytes, 9u);
}

TEST_F(VerifyPackage, CountsPartsAndBytesOfAHealthyPackage) {
  makePackage({"alpha", "beta"});
  auto const report = verifyPackage(directory_.u16("p.zip"));
  EXPECT_TRUE(report.isHealthy());
  EXPECT_EQ(report.parts, 2u);
  EXPECT_EQ(report.bytes, 9u);
}

TEST_F(VerifyPackage, NamesThePartThatIsDamaged) {
  auto const report = verify(damaged(makePackage({"alpha", "beta"}), "beta"));
  ASSERT_EQ(codesOf(report), "damaged-content");
  EXPECT_EQ(report.faults.front().item, u"/1.bin");
  EXPECT_EQ(report.faults.front().message, "Item \"1.bin\": wrong CRC");
  EXPECT_EQ(report.bytes, 5u);
}

TEST_F(VerifyPackage, ThrowsWhereTheFileCannotBeRead) {
  EXPECT_THROW(verifyPackage(directory_.u16("none.zip")), model::CouldNotOpenPackage);
  EXPECT_THROW(verifyPackage(directory_.u16()), model::CouldNotOpenPackage);
}

TEST_F(VerifyPackage, CountsFaultsBeyondTheirNumber) {
  std::string const bytes =
      damaged(damaged(damaged(makePackage({"alpha", "beta", "gamma"}), "alpha"), "beta"), "gamma");
  auto const report = verify(bytes, {.limits = {}, .maximumFaults = 1});
  ASSERT_EQ(codesOf(report), "damaged-content more-faults");
  EXPECT_EQ(report.faults.back().message, "There are 2 faults more");
}

/// A good package of parts /0.bin, /1.bin ... that have growth hints.
std::string withGrowthHints(std::size_t count) {
  zt_test::RawArchive archive{
      {zt_test::storedItem("[Content_Types].xml",
                           "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'>"
                           "<Default Extension='bin' ContentType='application/octet-stream'/></Types>")}};
  for (std::size_t i = 0; i < count; ++i) {
    zt_test::RawItem item = zt_test::storedItem(std::to_string(i) + ".bin", "content");
    item.local.extra = std::string("\x20\xA2\x04\x00\x28\x1C\x02\x00", 8);
    archive.items.push_back(item);
  }
  return archive.build();
}

TEST_F(VerifyPackage, TellsAGrowthHintAndIsHealthyWithIt) {
  auto const report = verify(withGrowthHints(1));
  ASSERT_EQ(codesOf(report), "growth-hint");
  EXPECT_EQ(report.faults.front().item, u"/0.bin");
  EXPECT_TRUE(report.faults.front().isNote);
  EXPECT_TRUE(report.isHealthy());
  EXPECT_EQ(report.countFaults(), 0u);
}

TEST_F(VerifyPackage, CountsGrowthHintsBeyondTheNumberOfFaultsWithoutTakingThemForFaults) {
  auto const report = verify(withGrowthHints(3), {.limits = {}, .maximumFaults = 1});
  ASSERT_EQ(codesOf(report), "growth-hint more-faults");
  EXPECT_TRUE(report.isHealthy());
}

TEST_F(VerifyPackage, IsNotHealthyWhereAFaultIsAmongThoseThatAreOnlyCounted) {
  std::string const bytes = withGrowthHints(3);
  std::string const last = "content";
  std::string changed = bytes;
  changed[bytes.rfind(last)] ^= 1;
  auto const report = verify(changed, {.limits = {}, .maximumFaults = 1});
  ASSERT_EQ(codesOf(report), "growth-hint more-faults");
  EXPECT_FALSE(report.isHealthy());
  EXPECT_EQ(report.countFaults(), 1u);
}

TEST_F(VerifyPackage, ReadsNothingOfAPackageThatDeclaresTooMuch) {
  auto const report = verify(damaged(makePackage({"alpha", "beta"}), "alpha"), {.limits = {.maximumTotalBytes = 4}});
  EXPECT_EQ(codesOf(report).find("damaged-content"), std::string::npos);
  EXPECT_NE(codesOf(report).find("invalid-package"), std::string::npos);
}

TEST_F(VerifyPackage, TellsALimitOnItems) {
  std::string const bytes = makePackage({"alpha", "beta", "gamma"});
  EXPECT_FALSE(verify(bytes, {.limits = {.maximumItems = 2}}).isHealthy());
  EXPECT_TRUE(verify(bytes, {.limits = {.maximumItems = 5}}).isHealthy());
}

// Each is a package that Package::open refuses, or one that it takes: verify and open must agree.
TEST_F(VerifyPackage, FindsAFaultInEveryTruncation) {
  std::string const bytes = makePackage({"alpha", "beta"});
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(verify(bytes.substr(0, size)).isHealthy()) << size;
}

TEST_F(VerifyPackage, FindsAFaultWheneverAFlippedByteKeepsThePackageFromBeingRead) {
  std::string const bytes = makePackage({"alpha", "beta"});
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    std::string changed = bytes;
    changed[at] = static_cast<char>(~changed[at]);
    bool const healthy = verify(changed).isHealthy();
    try {
      auto const package = Package::open(directory_.u16("p.zip"), model::AccessMode::ReadOnly);
      for (auto const& name : package->getPartNames()) digestPart(package->getPart(name));
    } catch (Exception const& fault) {
      EXPECT_FALSE(healthy) << at << ": " << fault.what();
    }
  }
}

TEST_F(VerifyPackage, ListsTheItemsOfAPackageWithoutItsDirectory) {
  std::string const bytes = damaged(makePackage({"alpha", "beta"}), "beta");
  auto const report = verify(bytes.substr(0, bytes.find("PK\1\2")));
  EXPECT_EQ(codesOf(report), "no-end-record damaged-content");
  EXPECT_EQ(report.parts, 2u);
}

}  // namespace
}  // namespace opc::ztservices
