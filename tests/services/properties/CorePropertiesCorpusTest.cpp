// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "opc/model/PackageHelper.hpp"
#include "services/properties/CorePropertiesSamples.hpp"
#include "support/TestSupport.hpp"

/// Other people's packages.
namespace opc::ztservices {
namespace {

namespace fs = std::filesystem;
using model::Package;

/// The parts that a save of core properties does not write.
std::vector<std::string> otherParts(Package const& package) {
  std::vector<std::string> lines;
  for (auto const& line : samples::snapshot(package))
    if (line.find("/metadata/ztcoreProperties") != 0 &&
        line.find("application/vnd.openxmlformats-package.core-properties+xml ") == std::string::npos)
      lines.push_back(line);
  return lines;
}

void expectEqual(model::CoreProperties const& a, model::CoreProperties const& b) {
  EXPECT_EQ(a.getTitle(), b.getTitle());
  EXPECT_EQ(a.getCreator(), b.getCreator());
  EXPECT_EQ(a.getDescription(), b.getDescription());
  EXPECT_EQ(a.getKeywords(), b.getKeywords());
  EXPECT_EQ(a.getLastModifiedBy(), b.getLastModifiedBy());
  EXPECT_EQ(a.getRevision(), b.getRevision());
  EXPECT_EQ(convertTimeToString(a.getModified()), convertTimeToString(b.getModified()));
}

TEST(CorePropertiesCorpus, PackagesKeepWhatIsTheirs) {
  ZT_SKIP_WITHOUT_CORPUS();
  int count = 0;
  for (auto const& file : fs::directory_iterator(zt_test::corpus() / "opc-good")) {
    SCOPED_TRACE(file.path().filename().string());
    if (file.path().filename() == "poi__CorePropertiesHasEntities.ooxml") continue;  // its properties are refused
    auto const package =
        Package::openInMemory(zt_test::bytesOf(zt_test::readFile(file.path())), model::AccessMode::ReadWrite);
    CoreProperties properties = samples::record();
    properties.opcProps() = model::PackageHelper::getCoreProperties(*package);
    EXPECT_FALSE(samples::load(*package).isValid());
    auto const before = otherParts(*package);
    samples::save(*package, properties);
    auto const again = samples::reopen(*package);
    CoreProperties const loaded = samples::load(*again);
    EXPECT_EQ(loaded.getContentTypeFriendlyName(), u"My Toolbox");
    expectEqual(loaded.opcProps(), properties.opcProps());
    EXPECT_EQ(otherParts(*again), before);
    ++count;
  }
  EXPECT_GT(count, 100);
}

}  // namespace
}  // namespace opc::ztservices
