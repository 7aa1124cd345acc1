// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <gtest/gtest.h>
#include <span>
#include <string>
#include <vector>

#include "services/tree/EncryptionTestSupport.hpp"

namespace {

using namespace zt_test;
using opc::Perms;
using opc::ztservices::FileSystemEntryNotFound;

TEST(FileSystemManagerTexts, LookUpAndChangeWithUTF8) {
  NewFileSystem fs;
  fs.manager.createFolder("/folder");
  fs.manager.createLink("/folder/link", u"../a");
  fs.manager.createLink(u"/folder/other", "../a");
  fs.manager.createFile("/folder/f", ContentType("text/plain"), Perms(0600), kTime);
  EXPECT_TRUE(fs.manager.hasEntry("/folder/link"));
  EXPECT_EQ(fs.manager.getEntry("/folder/f").getPermissions(), Perms(0600));
  EXPECT_EQ(fs.manager.getChildren("/folder").size(), 3u);
  EXPECT_TRUE(fs.manager.hasChildren("/folder"));
  EXPECT_TRUE(fs.manager.hasParent("/folder"));
  EXPECT_EQ(fs.manager.getParent("/folder/f"), fs.manager.getEntry("/folder"));
  fs.manager.moveEntry(fs.manager.getEntry("/folder"), "/moved");
  EXPECT_TRUE(fs.manager.hasEntry(u"/moved/f"));
  EXPECT_THROW(fs.manager.getEntry("/\xFF"), opc::InvalidText);
}

TEST(FileSystemManagerTexts, AddAndExtractWithPaths) {
  TemporaryDirectory const directory;
  std::filesystem::create_directory(directory / "in");
  writeFile(directory / "in/caf\xC3\xA9.txt", "text");
  NewFileSystem fs;
  fs.manager.addAll(directory / "in");
  fs.manager.addFile(directory / "in/caf\xC3\xA9.txt", "/again.txt");
  fs.manager.addFile(directory.u16("in/caf\u00e9.txt"), "/third.txt");
  fs.manager.extractAll(directory / "out");
  fs.manager.extractEntry((directory / "one").string(), fs.manager.getEntry("/again.txt"));
  EXPECT_EQ(zt_test::readFile(directory / "out/caf\xC3\xA9.txt"), "text");
  EXPECT_EQ(zt_test::readFile(directory / "out/again.txt"), "text");
  EXPECT_EQ(zt_test::readFile(directory / "out/third.txt"), "text");
  EXPECT_EQ(zt_test::readFile(directory / "one/again.txt"), "text");
}

TEST(FileSystemManagerTexts, AddBytesWithTheTypeOfTheirName) {
  NewFileSystem fs;
  std::vector<unsigned char> const bytes = bytesOf("text");
  auto const entry = fs.manager.addFile(bytes, "/notes/a.txt");
  EXPECT_EQ(entry.getPermissions(), Perms(0644));
  EXPECT_FALSE(entry.getLastModifiedTime().is_special());
  EXPECT_EQ(fs.package->getPart(PartName(entry.getContentName())).getContentType(), ContentType(u"text/plain"));
  EXPECT_EQ(textAt(fs.manager, u"/notes/a.txt"), "text");
  fs.manager.addFile(bytes, u"/b", Perms(0700), kTime);
  EXPECT_EQ(fs.manager.getEntry("/b").getPermissions(), 0700u);
  EXPECT_EQ(fs.manager.getEntry("/b").getLastModifiedTime(), kTime);
}

TEST(FileSystemManagerTexts, AddTheBytesOfAText) {
  NewFileSystem fs;
  std::string const text = "from memory";
  fs.manager.addFile(std::as_bytes(std::span(text)), "/a.txt");
  fs.manager.addFile(std::span<unsigned char const>(), "/empty");
  EXPECT_EQ(textOf(fs.manager.readFile("/a.txt")), text);
  EXPECT_TRUE(fs.manager.readFile("/empty").empty());
}

TEST(FileSystemManagerTexts, AddNoBytesOverAnEntry) {
  NewFileSystem fs;
  fs.manager.createFolder("/a");
  EXPECT_THROW(fs.manager.addFile(bytesOf("x"), "/a"), opc::ztservices::FileSystemEntryAlreadyExists);
}

TEST(FileSystemManagerTexts, ReadEncryptedFilesDecrypted) {
  NewEncryptedFileSystem fs;
  fs.manager.addFile(bytesOf("secret"), "/a");
  EXPECT_EQ(textOf(fs.manager.readFile("/a")), "secret");
  EXPECT_EQ(textOf(fs.manager.readFile(u"/a")), "secret");
}

TEST(FileSystemManagerTexts, ReadNoFileThatIsMissingOrTooLong) {
  NewFileSystem fs;
  fs.manager.addFile(bytesOf("12345"), "/a");
  EXPECT_THROW(fs.manager.readFile("/b"), FileSystemEntryNotFound);
  EXPECT_EQ(fs.manager.readFile("/a", 5).size(), 5u);
  EXPECT_THROW_MESSAGE(fs.manager.readFile("/a", 4), opc::Exception,
                       "/a has 5 bytes; no more than 4 may be read into memory");
}

TEST(FileSystemManagerTexts, ReadNoMoreOfACompressedEncryptedFileThanAllowed) {
  NewFileSystem fs;
  fs.manager.enableEncryption(testKey(), IVMode::Random, {}, opc::ztservices::Compression::Deflate);
  fs.manager.enableDecryption(testKey());
  fs.manager.addFile(std::vector<unsigned char>(100'000), "/zeros");
  EXPECT_EQ(fs.manager.readFile("/zeros").size(), 100'000u);
  EXPECT_THROW(fs.manager.readFile("/zeros", 99'999), opc::Exception);
}

}  // namespace
