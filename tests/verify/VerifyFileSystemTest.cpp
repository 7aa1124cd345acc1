// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <gtest/gtest.h>
#include <string>

#include "opc/Strings.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PackageHelper.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Verification.hpp"
#include "services/tree/EncryptionTestSupport.hpp"

namespace opc::ztservices {
namespace {

using namespace zt_test;

/// A package with a file system of /a and /b, whose manifest and other parts are changed.
class VerifyFileSystem : public testing::Test {
 protected:
  VerifyFileSystem() {
    auto const package = Package::create(path());
    FileSystemManager manager(*package);
    for (char const* const name : {"a", "b"}) {
      writeFile(directory_ / name, name);
      manager.addFile(directory_.u16(name), toString("/" + std::string(name)), TransformMode::None);
    }
    package->save();
  }

  std::u16string path() const { return directory_.u16("p.zip"); }

  void change(std::function<void(Package&)> const& how) {
    auto const package = Package::open(path(), AccessMode::ReadWrite);
    how(*package);
    package->save();
  }
  /// A manifest of these entries in place of the package's own.
  void list(std::string const& entries) {
    change([&](Package& package) {
      overwritePart(package, kManifest,
                    "<fileEntries xmlns=\"http://schemas.corvanta.example/package/2013/filesystemManifest\" "
                    "createdByEncoding=\"UTF-8\" createdByPlatform=\"x\" version=\"2.0\">" +
                        entries + "</fileEntries>");
    });
  }
  /// "code item" of each fault.
  std::string faults() const {
    std::string all;
    for (VerificationFault const& fault : verifyPackage(path()).faults)
      all += (all.empty() ? "" : ", ") + fault.code + " " + toUTF8String(fault.item);
    return all;
  }

  TemporaryDirectory directory_;
};

std::string file(std::string const& name, std::string const& content) {
  return "<fileEntry content=\"" + content + "\" name=\"" + name + "\" type=\"File\"/>";
}
std::string link(std::string const& name, std::string const& target) {
  return "<fileEntry content=\"" + target + "\" name=\"" + name + "\" type=\"SymLink\"/>";
}

std::string const kBoth = file("/a", "/fsroot/a") + file("/b", "/fsroot/b");

TEST_F(VerifyFileSystem, FindsNothingInASoundOne) {
  EXPECT_EQ(faults(), "");
  list(kBoth);
  EXPECT_EQ(faults(), "");
}

TEST_F(VerifyFileSystem, NamesTheFileWhoseContentsAreThoseOfAnother) {
  list(kBoth + file("/c", "/fsroot/a"));
  EXPECT_EQ(faults(), "shared-part /c");
}

TEST_F(VerifyFileSystem, NamesTheFileWhoseContentsBelongToOthers) {
  change([](Package& package) { package.createInternalRelationship(u"urn:other", model::URI(u"/fsroot/a")); });
  EXPECT_EQ(faults(), "foreign-part /a");
}

TEST_F(VerifyFileSystem, NamesWhatStandsBelowAFileOrALink) {
  list(kBoth + link("/l", "a") + link("/a/x", "b") + link("/l/y", "b"));
  EXPECT_EQ(faults(), "below-file /a/x, below-link /l/y");
}

TEST_F(VerifyFileSystem, NamesLinksWithoutATargetAndWithATooLongOne) {
  list(kBoth + link("/none", "") + link("/long", std::string(4096, 'x')) + link("/longest", std::string(4095, 'x')));
  EXPECT_EQ(faults(), "bad-link-target /none, bad-link-target /long");
}

TEST_F(VerifyFileSystem, NamesPathsThatLeadUpwardsOrHaveEmptyNames) {
  list(kBoth + link("/../x", "b") + link("/x//y", "b"));
  EXPECT_EQ(faults(), "unsafe-path /../x, unclear-path /x//y");
}

TEST_F(VerifyFileSystem, NamesAManifestThatIsNone) {
  change([](Package& package) { overwritePart(package, kManifest, "<else/>"); });
  EXPECT_EQ(faults(), "invalid-manifest /metadata/filesystemManifest.xml");
}

TEST_F(VerifyFileSystem, NamesTheManifestThatCountsAmongSeveral) {
  change([](Package& package) {
    package.createInternalRelationship(FileSystemManager::getRelationshipType(), model::URI(u"/fsroot/a"));
  });
  EXPECT_NE(faults().find("several-manifests"), std::string::npos) << faults();
}

TEST_F(VerifyFileSystem, NamesCorePropertiesThatBreakTheRules) {
  change([](Package& package) {
    model::PackageHelper::createOrUpdateCoreProperties(package, {});
    overwritePart(package, u"/docProps/core.xml", "<else/>");
  });
  EXPECT_EQ(faults(), "invalid-core-properties /docProps/core.xml");
}

TEST_F(VerifyFileSystem, NamesAManifestToWhichNothingLeads) {
  change([](Package& package) {
    auto const id = package.getRelationshipsByType(FileSystemManager::getRelationshipType()).front().getID();
    package.deleteRelationship(id);
  });
  EXPECT_NE(faults().find("orphaned-part /metadata/filesystemManifest.xml"), std::string::npos) << faults();
}

}  // namespace
}  // namespace opc::ztservices
