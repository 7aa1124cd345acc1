// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <gmock/gmock.h>
#include <random>
#include <string>

#include "opc/Time.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "services/tree/NodeSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;
using manifest_samples::leafPaths;
using manifest_samples::read;
using manifest_samples::written;
using manifest_samples::writtenV1;
using node_samples::kUnknown;
using testing::HasSubstr;
using testing::Not;

/// What tests/data/filesystemManifest.xml and tests/data/fileManifest.xml hold.
void fillGolden(FileSystemTree& tree) {
  tree.setPlatform(u"macx64");
  tree.setEncoding(u"ISO-8859-1");
  tree.addNode(makeFileNode(u"/src/none", u"/fsroot/src/none", Perms::None, kUnknown));
  tree.addNode(makeFileNode(u"/src/main.tq", u"/fsroot/src/main.tq", Perms::Perms_tag{0644},
                            convertStringToTime(u"1999-12-31T23:59:59Z")));
  tree.addNode(makeLinkNode(u"/links/<\u00e9>", u"../a & b", kUnknownPermissions, kUnknown));
  tree.addNode(
      makeFolderNode(u"/empty folder", Perms::Perms_tag{0755}, convertStringToTime(u"2024-02-29T12:34:56.000789Z")));
  tree.addNode(makeFileNode(u"/bare", u"/fsroot/bare", kUnknownPermissions, kUnknown));
}

void expectSameLeaves(FileSystemTree const& a, FileSystemTree const& b) {
  auto const x = a.getLeafNodes(), y = b.getLeafNodes();
  ASSERT_EQ(x.size(), y.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    EXPECT_EQ(x[i].type, y[i].type);
    EXPECT_EQ(x[i].fullPath(), y[i].fullPath());
    EXPECT_EQ(x[i].content, y[i].content);
    EXPECT_EQ(x[i].permissions, y[i].permissions);
    EXPECT_EQ(x[i].lastModified, y[i].lastModified);
  }
}

TEST(ManifestWriter, WritesTheGoldenFile) {
  FileSystemTree tree;
  fillGolden(tree);
  EXPECT_EQ(written(tree), zt_test::readFile(zt_test::data() / "filesystemManifest.xml"));
}

TEST(ManifestWriter, WritesTheGoldenFileOfVersion1) {
  FileSystemTree tree;
  fillGolden(tree);
  EXPECT_EQ(writtenV1(tree), zt_test::readFile(zt_test::data() / "fileManifest.xml"));
}

TEST(ManifestWriter, WritesWhatIsReadBack) {
  FileSystemTree golden, tree, treeV1;
  fillGolden(golden);
  read(zt_test::readFile(zt_test::data() / "filesystemManifest.xml"), tree);
  expectSameLeaves(tree, golden);
  EXPECT_EQ(tree.getVersion(), u"2.0");
  EXPECT_EQ(tree.getPlatform(), u"macx64");
  EXPECT_EQ(tree.getEncoding(), u"ISO-8859-1");
  read(zt_test::readFile(zt_test::data() / "fileManifest.xml"), treeV1);
  expectSameLeaves(treeV1, golden);
  EXPECT_EQ(treeV1.getVersion(), u"1.0");
  EXPECT_EQ(treeV1.getPlatform(), u"macx64");
}

TEST(ManifestWriter, WritesARootAloneWithoutEntries) {
  FileSystemTree tree, again;
  EXPECT_THAT(written(tree), Not(HasSubstr("fileEntry ")));
  EXPECT_THAT(writtenV1(tree), Not(HasSubstr("fileEntry ")));
  read(written(tree), again);
  EXPECT_TRUE(leafPaths(again).empty());
}

TEST(ManifestWriter, WritesTheVersionOfTheTree) {
  FileSystemTree tree;
  tree.setVersion(u"2.5");
  EXPECT_THAT(written(tree), HasSubstr(" version=\"2.5\"/>"));
  EXPECT_THAT(writtenV1(tree), Not(HasSubstr(" version=\"2.5\"")));
}

TEST(ManifestWriter, LeavesOutFoldersThatHoldSomething) {
  FileSystemTree tree, again;
  tree.addNode(makeFolderNode(u"/d", Perms::Perms_tag{0700}, convertStringToTime(u"2024-01-01T00:00:00Z")));
  tree.addNode(makeFileNode(u"/d/f", u"/fsroot/d/f", kUnknownPermissions, kUnknown));
  EXPECT_THAT(written(tree), Not(HasSubstr("name=\"/d\"")));
  read(written(tree), again);
  EXPECT_EQ(again.getNode(u"/d").type, FileSystemNodeType::Folder);
  EXPECT_FALSE(again.getNode(u"/d").permissions || again.getNode(u"/d").lastModified);
}

TEST(ManifestWriter, WritesTheContentOfAFolderInVersion1Alone) {
  FileSystemTree tree;
  tree.addNode(makeFolderNode(u"/d", kUnknownPermissions, kUnknown));
  EXPECT_THAT(written(tree), HasSubstr("<fileEntry content=\"\" name=\"/d\" type=\"Folder\"/>"));
  EXPECT_THAT(writtenV1(tree), HasSubstr("<fileEntry content=\"/d\" name=\"/d\" type=\"Folder\"/>"));
}

TEST(ManifestWriter, WritesAllBitsOfPermissions) {
  FileSystemTree tree, again;
  tree.addNode(makeFileNode(u"/f", u"c", Perms::Perms_tag{04755}, kUnknown));
  tree.addNode(makeLinkNode(u"/l", u"c", Perms::Perms_tag{0}, kUnknown));
  EXPECT_THAT(written(tree), HasSubstr("permissions=\"04755\""));
  EXPECT_THAT(written(tree), HasSubstr("permissions=\"00\""));
  EXPECT_THAT(writtenV1(tree), HasSubstr("permissions=\"35309\""));
  EXPECT_THAT(writtenV1(tree), HasSubstr("permissions=\"32768\""));
  read(written(tree), again);
  EXPECT_EQ(again.getNode(u"/f").permissions, Perms::Perms_tag{0755});
}

TEST(ManifestWriter, WritesNoDateForTimesThatHaveNoText) {
  FileSystemTree tree;
  tree.addNode(makeFileNode(u"/f", u"c", kUnknownPermissions, ptime(boost::posix_time::pos_infin)));
  tree.addNode(makeFileNode(u"/g", u"c", kUnknownPermissions, kUnknown));
  EXPECT_THAT(written(tree), Not(HasSubstr("date")));
  EXPECT_THAT(writtenV1(tree), Not(HasSubstr("permissions")));
}

TEST(ManifestWriter, KeepsEveryCharacterThatXMLCarries) {
  std::u16string all;
  for (char32_t c = 1; c < 0x3000; ++c)
    if ((c >= 0x20 || c == 9 || c == 10 || c == 13) && c != u'/') all += static_cast<char16_t>(c);
  FileSystemTree tree, again;
  tree.addNode(makeFileNode(u"/" + all, u"\uFFFD \U0010FFFF  \uE000", kUnknownPermissions, kUnknown));
  tree.addNode(makeLinkNode(u"/ l ", u" \t\r\n ", kUnknownPermissions, kUnknown));
  read(written(tree), again);
  expectSameLeaves(again, tree);
}

TEST(ManifestWriter, RefusesWhatXMLCannotCarry) {
  FileSystemTree tree;
  tree.addNode(makeLinkNode(u"/l", u"a\u0001", kUnknownPermissions, kUnknown));
  std::string message;
  try {
    written(tree);
    FAIL() << "it was written";
  } catch (model::InvalidPartContent const& thrown) {
    message = thrown.what();
  }
  EXPECT_THAT(message, HasSubstr("U+0001"));
  EXPECT_THROW_MESSAGE(writtenV1(tree), model::InvalidPartContent, message);
}

TEST(ManifestWriter, PassesOnWhatTheOutputThrowsAtEachWrite) {
  FileSystemTree tree;
  for (int i = 0; i < 3000; ++i) {
    std::u16string const name(1, static_cast<char16_t>(0x4E00 + i));
    tree.addNode(makeFileNode(u"/" + name, u"/fsroot/" + name, kUnknownPermissions, kUnknown));
  }
  std::size_t failures = 0;
  for (std::size_t failAt = 1; failures + 1 == failAt; ++failAt) {
    zt_test::FailingOutput output(failAt);
    try {
      writeManifest(tree, ManifestVersion::Current, output);
    } catch (StreamError const& thrown) {
      EXPECT_EQ(thrown.what(), "write " + std::to_string(failAt) + " fails");
      ++failures;
    }
  }
  EXPECT_GT(failures, 2U);
}

TEST(ManifestWriter, DoesNotCloseTheOutput) {
  zt_test::FailingOutput output(0);
  EXPECT_NO_THROW(writeManifest(FileSystemTree(), ManifestVersion::Current, output));
}

TEST(ManifestWriter, BringsBackRandomTrees) {
  std::mt19937 random(20240229);
  for (int round = 0; round < 20; ++round) {
    FileSystemTree tree, again;
    for (int i = 0; i < 50; ++i) {
      std::u16string path;
      for (auto depth = 1 + random() % 3; depth > 0; --depth) (path += u'/') += u"ab&<\u00e9"[random() % 5];
      if (tree.hasNode(path)) continue;
      tree.addNode(
          makeFileNode(path, u"/fsroot" + path, static_cast<Perms::Perms_tag>(random() % 01000),
                       convertStringToTime(u"2000-01-01T00:00:00Z") + boost::posix_time::microseconds(random())));
    }
    read(written(tree), again);
    expectSameLeaves(again, tree);
    EXPECT_EQ(written(again), written(tree));
  }
}

TEST(ManifestWriter, RefusesAttributesThatItsReaderRefuses) {
  FileSystemTree fits, tooLong, again;
  fits.addNode(makeLinkNode(u"/l", std::u16string(1'048'576, u'x'), kUnknownPermissions, kUnknown));
  read(written(fits), again);
  tooLong.addNode(makeLinkNode(u"/l", std::u16string(1'048'576 / 6 + 1, u'"'), kUnknownPermissions, kUnknown));
  EXPECT_THROW_MESSAGE(written(tooLong), model::InvalidPartContent, "Manifest entry is too long to be read back: /l");
}

TEST(ManifestWriter, BringsBackAnEmptyFolderInVersion1) {
  FileSystemTree tree, again;
  tree.addNode(makeFolderNode(u"/d/e", kUnknownPermissions, kUnknown));
  read(writtenV1(tree), again);
  expectSameLeaves(again, tree);
}

}  // namespace
}  // namespace opc::ztservices
