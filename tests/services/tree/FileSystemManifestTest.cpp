// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <cstdint>
#include <gmock/gmock.h>
#include <string>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "services/tree/NodeSamples.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using boost::posix_time::ptime;
using manifest_samples::current;
using manifest_samples::entry;
using manifest_samples::leafPaths;
using manifest_samples::read;
using manifest_samples::version1;
using model::InvalidPartContent;
using node_samples::kUnknown;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::uint32_t permissionsOf(FileSystemNode const& node) { return node.permissions.value_or(kUnknownPermissions); }

/// The permissions that an entry gets from the attribute's text.
std::uint32_t readPermissions(std::string const& permissions) {
  FileSystemTree tree;
  read(current(entry("/f", "permissions=\"" + permissions + "\"")), tree);
  return permissionsOf(tree.getNode(u"/f"));
}
std::uint32_t readPermissionsV1(std::string const& permissions) {
  FileSystemTree tree;
  read(version1(entry("/f", "permissions=\"" + permissions + "\"")), tree);
  return permissionsOf(tree.getNode(u"/f"));
}

ptime readDate(std::string const& date) {
  FileSystemTree tree;
  read(current(entry("/f", "date=\"" + date + "\"")), tree);
  return tree.getNode(u"/f").lastModified.value_or(kUnknown);
}

ptime at(int year, int month, int day, int seconds) {
  return ptime(boost::gregorian::date(static_cast<unsigned short>(year), static_cast<unsigned short>(month),
                                      static_cast<unsigned short>(day)),
               boost::posix_time::seconds(seconds));
}

void expectAsNew(FileSystemTree const& tree) {
  FileSystemTree const fresh;
  EXPECT_THAT(leafPaths(tree), IsEmpty());
  EXPECT_EQ(tree.getVersion(), fresh.getVersion());
  EXPECT_EQ(tree.getPlatform(), fresh.getPlatform());
  EXPECT_EQ(tree.getEncoding(), fresh.getEncoding());
}

void expectRefused(std::string const& document, std::string const& reason) {
  FileSystemTree tree;
  try {
    read(document, tree);
    ADD_FAILURE() << "it was read: " << document;
  } catch (InvalidPartContent const& thrown) {
    EXPECT_THAT(thrown.what(), HasSubstr(reason)) << document;
  }
  expectAsNew(tree);
}

// ---- reading, either version

TEST(FileSystemManifest, WithoutEntriesYieldsTheRootAlone) {
  FileSystemTree tree;
  read(current(""), tree);
  EXPECT_THAT(leafPaths(tree), IsEmpty());
  EXPECT_EQ(tree.getVersion(), u"2.0");
  EXPECT_EQ(tree.getPlatform(), u"macx64");
  EXPECT_EQ(tree.getEncoding(), u"windows-1252");
}

TEST(FileSystemManifest, OfVersion1WithoutEntriesYieldsTheRootAlone) {
  FileSystemTree tree;
  read(version1(""), tree);
  EXPECT_THAT(leafPaths(tree), IsEmpty());
  EXPECT_EQ(tree.getVersion(), u"1.0");
  EXPECT_EQ(tree.getPlatform(), u"wnx86");
  EXPECT_EQ(tree.getEncoding(), u"Shift_JIS");
}

TEST(FileSystemManifest, ReadsEachKindOfEntry) {
  FileSystemTree tree;
  read(current(R"(<fileEntry name="/f" content="/fsroot/f" type="File"/>
                  <fileEntry name="/l" content="../a b" type="SymLink"/>
                  <fileEntry name="/d" content="ignored" type="Folder"/>)"),
       tree);
  EXPECT_EQ(tree.getNode(u"/f").type, FileSystemNodeType::File);
  EXPECT_EQ(tree.getNode(u"/f").content, u"/fsroot/f");
  EXPECT_EQ(tree.getNode(u"/l").type, FileSystemNodeType::Link);
  EXPECT_EQ(tree.getNode(u"/l").content, u"../a b");
  EXPECT_EQ(tree.getNode(u"/d").type, FileSystemNodeType::Folder);
  EXPECT_EQ(tree.getNode(u"/d").content, u"/d");
}

TEST(FileSystemManifest, LeavesUnknownWhatAnEntryDoesNotSay) {
  FileSystemTree tree;
  read(current(entry("/a/f") + entry("/g", R"(permissions="")")), tree);
  for (auto const path : {u"/a/f", u"/a", u"/g"}) {
    EXPECT_EQ(permissionsOf(tree.getNode(path)), 65535U);
    EXPECT_FALSE(tree.getNode(path).lastModified);
  }
}

TEST(FileSystemManifest, AddsEntriesInDocumentOrder) {
  FileSystemTree tree;
  read(current(entry("/z") + entry("/a") + entry("/m")), tree);
  auto const children = tree.getChildNodes(u"/");
  ASSERT_EQ(children.size(), 3U);
  EXPECT_EQ(children[0].baseName + children[1].baseName + children[2].baseName, u"zam");
}

TEST(FileSystemManifest, TakesTheTextOfAnEntryForNothing) {
  FileSystemTree tree;
  read(current(R"(<fileEntry name="/f" content="c" type="File">some <!-- --> text</fileEntry>)"), tree);
  EXPECT_EQ(tree.getNode(u"/f").content, u"c");
}

TEST(FileSystemManifest, ReadsTheSizeOfADeflatedContentFromTheTextOfItsEntry) {
  auto const sizeIn = [](std::string const& text) {
    FileSystemTree tree;
    read(current(R"(<fileEntry name="/a" content="/fsroot/a" type="File">)" + text + "</fileEntry>" + entry("/b")),
         tree);
    EXPECT_FALSE(tree.deflatedFrom(u"/b"));
    return tree.deflatedFrom(u"/a");
  };
  EXPECT_EQ(sizeIn("DEFLATE 1234567890123"), 1234567890123u);
  EXPECT_EQ(sizeIn("DEFLATE 0"), 0u);
  EXPECT_EQ(sizeIn("DEFLATE<!-- - --> 7"), 7u);
  EXPECT_EQ(sizeIn("DEFLATE"), kUnknownSize);
  for (char const* const other : {"", "DEFLATE ", "DEFLATE -1", "DEFLATE 1 ", " DEFLATE 1", "deflate 1", "DEFLATE 0x1",
                                  "DEFLATE 18446744073709551615", "DEFLATE 99999999999999999999999", "&lt;"})
    EXPECT_FALSE(sizeIn(other)) << other;
  EXPECT_FALSE(sizeIn("DEFLATE " + std::string(100'000, '0') + "1"));
}

TEST(FileSystemManifest, TakesTheTextOfFoldersLinksAndVersion1ForNothing) {
  for (std::string const& document :
       {current(R"(<fileEntry name="/a" content="" type="Folder">DEFLATE 1</fileEntry>)"),
        current(R"(<fileEntry name="/a" content="b" type="SymLink">DEFLATE 1</fileEntry>)"),
        version1(R"(<fileEntry name="/a" content="/b" type="File">DEFLATE 1</fileEntry>)")}) {
    FileSystemTree tree;
    read(document, tree);
    EXPECT_FALSE(tree.deflatedFrom(u"/a")) << document;
  }
}

TEST(FileSystemManifest, WritesTheSizeOfADeflatedContent) {
  FileSystemTree tree;
  for (auto const& [path, size] :
       {std::pair(u"/a", std::uint64_t{123}), std::pair(u"/b", kUnknownSize), std::pair(u"/c", std::uint64_t{0})}) {
    FileSystemNode node = makeFileNode(path, u"/fsroot/x", kUnknownPermissions, {});
    node.deflatedFrom = size;
    tree.addNode(node);
  }
  tree.addNode(makeFileNode(u"/d", u"/fsroot/x", kUnknownPermissions, {}));
  std::string const document = manifest_samples::written(tree);
  for (char const* const line :
       {R"(name="/a" type="File">DEFLATE 123</fileEntry>)", R"(name="/b" type="File">DEFLATE</fileEntry>)",
        R"(name="/c" type="File">DEFLATE 0</fileEntry>)", R"(name="/d" type="File"/>)"})
    EXPECT_THAT(document, testing::HasSubstr(line));
  EXPECT_THAT(manifest_samples::writtenV1(tree), testing::Not(testing::HasSubstr("DEFLATE")));
  FileSystemTree again;
  read(document, again);
  EXPECT_EQ(manifest_samples::written(again), document);
}

TEST(FileSystemManifest, LeavesOutTheUsualNamesOfContentsAndFindsThemAgain) {
  UsualNames const names = [](std::u16string const& path) { return u"/usual" + path; };
  FileSystemTree tree;
  tree.addNode(makeFileNode(u"/a", u"/usual/a", kUnknownPermissions, {}));
  tree.addNode(makeFileNode(u"/b", u"/usual/b_1", kUnknownPermissions, {}));
  tree.addNode(makeLinkNode(u"/c", u"/usual/c", kUnknownPermissions, {}));
  std::vector<unsigned char> bytes;
  ByteArrayOutAdaptor output(bytes);
  FileSystemManifest().write(tree, output, names);
  std::string const document(bytes.begin(), bytes.end());
  for (char const* const line :
       {R"(content="" name="/a")", R"(content="/usual/b_1" name="/b")", R"(content="/usual/c" name="/c")"})
    EXPECT_THAT(document, testing::HasSubstr(line));
  ByteArrayInAdaptor input(bytes);
  FileSystemTree again;
  FileSystemManifest().read(input, again, names);
  EXPECT_EQ(manifest_samples::written(again), manifest_samples::written(tree));
}

TEST(FileSystemManifest, KeepsARelativeNameOfTheCurrentVersionAsItIs) {
  FileSystemTree tree;
  read(current(entry("a/b.txt")), tree);
  EXPECT_TRUE(tree.hasNode(u"a/b.txt"));
  EXPECT_FALSE(tree.hasNode(u"/a/b.txt"));
}

TEST(FileSystemManifest, PutsTheMissingSlashBeforeANameOfVersion1) {
  FileSystemTree tree;
  read(version1(entry("a/b.txt") + entry("/c")), tree);
  EXPECT_THAT(leafPaths(tree), ElementsAre(u"/a/b.txt", u"/c"));
}

TEST(FileSystemManifest, RefusesAnEmptyNameInVersion1AsTheRoot) {
  FileSystemTree tree;
  EXPECT_THROW_MESSAGE(read(version1(entry("")), tree), Exception, "A node already exists with the name:/");
}

TEST(FileSystemManifest, IsReadAsTheCurrentVersionWhateverItsNumberBut1) {
  for (std::string const version : {"2.5", "1.00", "01.0", "-3"}) {
    FileSystemTree tree;
    read(current(entry("f", R"(permissions="0644")"), version), tree);
    EXPECT_EQ(tree.getVersion(), opc::toString(version));
    EXPECT_EQ(tree.getPlatform(), u"macx64");
    EXPECT_EQ(permissionsOf(tree.getNode(u"f")), 0644U);
  }
}

TEST(FileSystemManifest, OfTheCurrentSchemaWithVersion1IsReadAsVersion1) {
  FileSystemTree tree;
  read(current(entry("f", R"(permissions="33188")"), "1.0"), tree);
  EXPECT_EQ(tree.getVersion(), u"1.0");
  EXPECT_EQ(tree.getPlatform(), u"");
  EXPECT_EQ(tree.getEncoding(), u"");
  EXPECT_EQ(permissionsOf(tree.getNode(u"/f")), 0644U);
}

// ---- permissions

TEST(FileSystemManifest, ReadsPermissionsAsOctal) {
  EXPECT_EQ(readPermissions("0644"), 0644U);
  EXPECT_EQ(readPermissions("0"), 0U);
  EXPECT_EQ(readPermissions("00"), 0U);
  EXPECT_EQ(readPermissions("0000000000755"), 0755U);
}

TEST(FileSystemManifest, StopsAtTheFirstCharacterThatIsNoDigit) {
  EXPECT_EQ(readPermissions("08"), 0U);
  EXPECT_EQ(readPermissions("0644 rw"), 0644U);
  EXPECT_EQ(readPermissions("07\xC3\xA9"), 07U);
  EXPECT_EQ(readPermissionsV1("33188x"), 0644U);
}

TEST(FileSystemManifest, KeepsTheNineBitsOfPermissionsAlone) {
  EXPECT_EQ(readPermissions("04755"), 0755U);
  EXPECT_EQ(readPermissions("0177777"), 0777U);
  EXPECT_EQ(readPermissionsV1("65535"), 0777U);
}

TEST(FileSystemManifest, RefusesPermissionsThatAreNotOctal) {
  for (std::string const text : {"644", "7", "x", " 0644", "+0644", "-0", "\xC3\xA9", "\xEF\xBC\x90"})
    EXPECT_THROW_MESSAGE(readPermissions(text), InvalidPartContent, "Permissions are not a valid octal value");
}

TEST(FileSystemManifest, RefusesPermissionsBeyondSixteenBits) {
  for (std::string const text : {"0777777", "0200000", "07777777777777777777777777"})
    EXPECT_THROW_MESSAGE(readPermissions(text), InvalidPartContent, "Permissions are not valid value");
  for (std::string const text : {"70000", "65536", "99999999999999999999"})
    EXPECT_THROW_MESSAGE(readPermissionsV1(text), InvalidPartContent, "Permissions are not valid value");
}

TEST(FileSystemManifest, ReadsPermissionsOfVersion1AsDecimal) {
  EXPECT_EQ(readPermissionsV1("33188"), 0644U);
  EXPECT_EQ(readPermissionsV1("420"), 0644U);
}

TEST(FileSystemManifest, RefusesPermissionsOfVersion1ThatBeginWithZero) {
  for (std::string const text : {"0644", "0", "033188"})
    EXPECT_THROW_MESSAGE(readPermissionsV1(text), InvalidPartContent, "Permissions are not a valid decimal value");
}

TEST(FileSystemManifest, RefusesPermissionsOfVersion1WithoutDigits) {
  for (std::string const text : {"x", "+420", "-420", "\xC3\xA9", "rw-r--r--"})
    EXPECT_THROW_MESSAGE(readPermissionsV1(text), InvalidPartContent, "Permissions are not valid value");
}

// ---- dates

TEST(FileSystemManifest, ReadsDatesAsUTC) {
  EXPECT_EQ(readDate("2024-02-29T00:00:05Z"), at(2024, 2, 29, 5));
  EXPECT_EQ(readDate("2024-02-29T01:00:05+01:00"), at(2024, 2, 29, 5));
  EXPECT_EQ(readDate("2024-02-29T00:00:05"), at(2024, 2, 29, 5));
}

TEST(FileSystemManifest, RefusesDatesThatTheTimeTypeCannotHold) {
  for (std::string const date : {"0001-01-01T00:00:00Z", "12024-01-01T00:00:00Z", "-2024-01-01T00:00:00Z"})
    EXPECT_THROW_MESSAGE(readDate(date), InvalidPartContent, "Last modified date/time is not valid");
}

// ---- faults

TEST(FileSystemManifest, RefusesAPathThatIsListedTwice) {
  FileSystemTree tree;
  EXPECT_THROW_MESSAGE(read(current(entry("/a") + entry("/b") + entry("/a") + entry("/c")), tree), Exception,
                       "A node already exists with the name:/a");
  EXPECT_THAT(leafPaths(tree), ElementsAre(u"/a", u"/b"));
}

TEST(FileSystemManifest, RefusesTheRootAndAFolderAfterItsDescendants) {
  FileSystemTree tree;
  EXPECT_THROW_MESSAGE(read(current(entry("/")), tree), Exception, "A node already exists with the name:/");
  FileSystemTree other;
  EXPECT_THROW_MESSAGE(read(current(entry("/a/b") + R"(<fileEntry name="/a" content="" type="Folder"/>)"), other),
                       Exception, "A node already exists with the name:/a");
}

TEST(FileSystemManifest, KeepsTheEntriesBeforeOneThatItRefuses) {
  FileSystemTree tree;
  EXPECT_THROW(read(current(entry("/a") + entry("/b", R"(permissions="9")") + entry("/c")), tree), InvalidPartContent);
  EXPECT_THAT(leafPaths(tree), ElementsAre(u"/a"));
  EXPECT_EQ(tree.getPlatform(), u"macx64");
}

TEST(FileSystemManifest, ThatIsNotWellFormedSaysSoBeforeTheFaultOfAnEntry) {
  std::string document = current(entry("/a") + entry("/b", R"(permissions="9")") + entry("/c"));
  document.erase(document.rfind("</"));
  FileSystemTree tree;
  EXPECT_THAT([&] { read(document, tree); },
              testing::Throws<InvalidPartContent>(testing::Property(&Exception::what, Not(HasSubstr("Permissions")))));
  expectAsNew(tree);
}

TEST(FileSystemManifest, ThatIsNotValidSaysSoBeforeTheFaultOfAnEntry) {
  expectRefused(current(entry("/a") + entry("/a") + "<other/>"), "other");
}

TEST(FileSystemManifest, IsHeldAgainstItsSchema) {
  expectRefused(current(R"(<fileEntry content="" type="File"/>)"), "name");
  expectRefused(current(R"(<fileEntry name="/a" type="File"/>)"), "content");
  expectRefused(current(R"(<fileEntry name="/a" content=""/>)"), "type");
  expectRefused(current(R"(<fileEntry name="/a" content="" type="file"/>)"), "file");
  expectRefused(current(entry("/a", R"(owner="me")")), "owner");
  expectRefused(current(entry("/a", R"(date="yesterday")")), "yesterday");
  expectRefused(current(entry("/a", R"(date="")")), "");
  expectRefused(current(entry("/a"), "two"), "line 1");
  expectRefused(current("text"), "");
  expectRefused(current(R"(<fileEntry name="/a" content="" type="File"><b/></fileEntry>)"), "");
  expectRefused(version1(entry("/a", R"(version="1.0")")), "version");
}

TEST(FileSystemManifest, NeedsARootThatASchemaKnows) {
  expectRefused("<fileEntries/>", "fileEntries");
  expectRefused("<fileEntries version='2.0' createdByPlatform='' createdByEncoding=''/>", "fileEntries");
  expectRefused("<fileEntries xmlns='http://other.example' version='2.0'/>", "fileEntries");
  std::string document = current("");
  document.replace(document.find("fileEntries"), 11, "fileEntry");
  document.replace(document.rfind("fileEntries"), 11, "fileEntry");
  expectRefused(document, "fileEntry");
}

TEST(FileSystemManifest, HoldsEachVersionAgainstItsOwnSchema) {
  std::string document = current("");
  document.replace(document.find("2013/filesystemManifest"), 23, "2011/fileManifest");
  expectRefused(document, "");
  std::string swapped = version1("");
  swapped.replace(swapped.find("/talbex/compiler/2011/fileManifest"), 34, "/package/2013/filesystemManifest");
  expectRefused(swapped, "");
}

TEST(FileSystemManifest, RefusesADocumentType) {
  expectRefused("<!DOCTYPE x [<!ENTITY e 'x'>]>" + current(entry("/&e;")), "");
}

TEST(FileSystemManifest, RefusesEveryTruncation) {
  std::string const document = current(entry("/a", R"(permissions="0644" date="2024-02-29T00:00:00Z")"));
  std::size_t const end = document.rfind('>');
  for (std::size_t length = 0; length <= end; ++length) expectRefused(document.substr(0, length), "");
}

TEST(FileSystemManifest, PassesOnWhatTheInputThrows) {
  class BrokenInput final : public InputStream {
   public:
    void reset() override {}
    std::size_t read(void*, std::size_t) override { throw StreamError("the input breaks"); }
    bool isEnd() override { return false; }
    void clear() override {}
  };
  BrokenInput input;
  FileSystemTree tree;
  EXPECT_THROW_MESSAGE(FileSystemManifest().read(input, tree), StreamError, "the input breaks");
}

TEST(FileSystemManifest, CanBeUsedAgainAfterAFault) {
  FileSystemManifest manifest;
  for (int i = 0; i < 3; ++i) {
    FileSystemTree tree;
    EXPECT_THROW(read("<broken", tree, manifest), InvalidPartContent);
    EXPECT_THROW(read(current(entry("/a", R"(permissions="9")")), tree, manifest), InvalidPartContent);
    FileSystemTree other;
    read(version1(entry("/b")), other, manifest);
    EXPECT_THAT(leafPaths(other), ElementsAre(u"/b"));
  }
}

TEST(FileSystemManifest, IsReadAlikeInStepsOfAnySize) {
  std::string const document = current(entry("/\xE4\xB8\xAD") + entry("/b/c", R"(permissions="0600")"));
  for (std::size_t const step : {1U, 2U, 15U, 16U, 17U, 4096U}) {
    manifest_samples::SteppedInput input(document, step);
    FileSystemTree tree;
    FileSystemManifest().read(input, tree);
    EXPECT_THAT(leafPaths(tree), ElementsAre(u"/b/c", u"/\u4e2d"));
  }
}

}  // namespace
}  // namespace opc::ztservices
