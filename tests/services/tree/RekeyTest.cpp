// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "crypto/Bytes.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "services/tree/EncryptionTestSupport.hpp"
#include "services/tree/ManifestSamples.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/MemoryScan.hpp"

namespace {

using namespace zt_test;
using namespace opc::ztservices;

/// A package on the disk with a tree, a foreign part with a relationship, and an encrypted or plain file system.
class Rekey : public testing::Test {
 protected:
  std::u16string path() const { return directory_.u16("p"); }
  std::u16string otherPath() const { return directory_.u16("q"); }
  std::string bytesOfPackage() const { return readFile(directory_ / "p"); }

  void make(Bytes const* key, Compression compression = Compression::None) const {
    auto const package = Package::create(path());
    addPart(*package, u"/word/document.xml", u"application/xml", "document");
    package->createInternalRelationship(u"http://example.org/document", opc::model::URI(u"/word/document.xml"));
    FileSystemManager manager(*package);
    if (key) manager.enableEncryption(*key, IVMode::Random, {}, compression);
    addText(manager, u"/a.txt", "first");
    addText(manager, u"/folder/long", content());
    manager.createFolder(u"/empty");
    manager.createLink(u"/link", u"a.txt");
    package->save();
  }

  static std::string content() { return zt_test::textOf(zt_test::sampleContent(2'500'000)); }

  void rekey(Bytes const* oldKey, Bytes const* newKey) const {
    rekeyPackage(path(), path(), {.oldKey = oldKey, .newKey = newKey});
  }

  void expectWhole(std::u16string const& path, Bytes const* key) const {
    auto const package = Package::open(path, AccessMode::ReadOnly);
    FileSystemManager manager(*package);
    if (key) manager.enableDecryption(*key);
    EXPECT_EQ(manager.isEncrypted(), key != nullptr);
    EXPECT_EQ(leafs(manager), (std::vector<std::u16string>{u"/a.txt", u"/empty", u"/folder/long", u"/link"}));
    EXPECT_EQ(decryptedTextAt(manager, u"/a.txt"), "first");
    EXPECT_TRUE(decryptedTextAt(manager, u"/folder/long") == content());
    EXPECT_EQ(manager.getLinkTarget(manager.getEntry(u"/link")), u"a.txt");
    EXPECT_EQ(manager.getEntry(u"/a.txt").getLastModifiedTime(), first_);
    EXPECT_EQ(contentParts(*package).size(), 2u);
    EXPECT_EQ(textOfPart(*package, u"/word/document.xml"), "document");
    EXPECT_EQ(package->getRelationshipsByType(u"http://example.org/document").size(), 1u);
  }

  void noteTime(Bytes const* key) {
    auto const package = Package::open(path(), AccessMode::ReadOnly);
    FileSystemManager manager(*package);
    if (key) manager.enableDecryption(*key);
    first_ = manager.getEntry(u"/a.txt").getLastModifiedTime();
  }

  std::set<std::u16string> partNames() const {
    auto const names = contentParts(*Package::open(path(), AccessMode::ReadOnly));
    return {names.begin(), names.end()};
  }

  TemporaryDirectory directory_;
  Bytes const key_ = testKey();
  Bytes const newKey_ = otherKey();
  boost::posix_time::ptime first_;
};

TEST_F(Rekey, GivesEveryContentAndNameAnotherKey) {
  make(&key_);
  noteTime(&key_);
  auto const former = partNames();
  rekey(&key_, &newKey_);
  expectWhole(path(), &newKey_);
  for (std::u16string const& name : partNames()) EXPECT_FALSE(former.contains(name)) << opc::toUTF8String(name);
}

TEST_F(Rekey, LeavesNothingThatTheOldKeyOpens) {
  make(&key_);
  rekey(&key_, &newKey_);
  auto const package = Package::open(path(), AccessMode::ReadOnly);
  for (opc::model::PartName const& name : package->getPartNames()) {
    if (!package->getPart(name).getContentType().hasParameter(u"encryption")) continue;
    FileSystemManager manager(*package);
    manager.enableDecryption(key_);
    CapturedLines captured;
    EXPECT_THROW(manager.ensureLoaded(), CouldNotTransformContentData);
  }
}

TEST_F(Rekey, EncryptsAPlainPackage) {
  make(nullptr);
  noteTime(nullptr);
  rekey(nullptr, &newKey_);
  expectWhole(path(), &newKey_);
  EXPECT_EQ(bytesOfPackage().find("folder"), std::string::npos);
}

TEST_F(Rekey, MakesAPackagePlain) {
  make(&key_, Compression::Deflate);
  noteTime(&key_);
  rekey(&key_, nullptr);
  expectWhole(path(), nullptr);
}

TEST_F(Rekey, WritesElsewhereAndLeavesTheSource) {
  make(&key_);
  noteTime(&key_);
  std::string const before = bytesOfPackage();
  rekeyPackage(path(), otherPath(), {.oldKey = &key_, .newKey = &newKey_, .compression = Compression::Deflate});
  EXPECT_TRUE(bytesOfPackage() == before);
  expectWhole(otherPath(), &newKey_);
  EXPECT_THROW(rekeyPackage(path(), otherPath(), {.oldKey = &key_, .newKey = &newKey_}),
               opc::model::CouldNotSavePackage);
}

TEST_F(Rekey, ReplacesThePasswordEntry) {
  make(&key_);
  opc::model::RelationshipSelector const selector(opc::model::URI(u"/"), opc::model::RelationshipSelectorType::ByType,
                                                  FileSystemManager::getRelationshipType());
  for (char16_t const* const salt : {u"first salt", u"second salt"}) {
    Bytes const& oldKey = salt[0] == u'f' ? key_ : newKey_;
    Bytes const& newKey = salt[0] == u'f' ? newKey_ : key_;
    rekeyPackage(path(), path(),
                 {.oldKey = &oldKey, .newKey = &newKey, .passwordEntry = CipherEntry(selector, {1}, salt, {2})});
    auto const package = Package::open(path(), AccessMode::ReadOnly);
    EXPECT_EQ(CipherDataManager(*package).getCipherEntry(selector).getSalt(), salt);
  }
  rekey(&key_, &newKey_);
  auto const package = Package::open(path(), AccessMode::ReadOnly);
  EXPECT_FALSE(CipherDataManager(*package).hasCipherEntry(selector));
}

TEST_F(Rekey, TellsItsProgress) {
  make(&key_);
  std::vector<RekeyOptions::Progress> told;
  rekeyPackage(path(), path(), {.oldKey = &key_, .newKey = &newKey_, .progress = [&](auto const& progress) {
                                  told.push_back(progress);
                                }});
  ASSERT_EQ(told.size(), 2u);
  EXPECT_EQ(told[0].files, 0u);
  EXPECT_EQ(told[1].files, 1u);
  EXPECT_EQ(told[1].bytes, 5u + 32u);
  EXPECT_EQ(told[0].allFiles, 2u);
  EXPECT_EQ(told[0].allBytes, 5u + 2'500'000u + 64u);
}

TEST_F(Rekey, ChangesNothingWhereItFails) {
  make(&key_);
  std::string const before = bytesOfPackage();
  EXPECT_THROW_MESSAGE(rekey(&key_, &key_), CannotChangeEncryption, "The new key is the old one");
  EXPECT_THROW_MESSAGE(rekey(nullptr, nullptr), CannotChangeEncryption, "There is neither an old nor a new key");
  EXPECT_THROW(rekey(nullptr, &newKey_), CouldNotDecryptContent);
  CapturedLines captured;
  EXPECT_THROW(rekey(&newKey_, &key_), CouldNotTransformContentData);
  auto const stop = [](RekeyOptions::Progress const& progress) {
    if (progress.files == 1) throw std::runtime_error("stop");
  };
  EXPECT_THROW(rekeyPackage(path(), path(), {.oldKey = &key_, .newKey = &newKey_, .progress = stop}),
               std::runtime_error);
  EXPECT_TRUE(bytesOfPackage() == before);
}

TEST_F(Rekey, LeavesNoKeyInMemory) {
  if (!canScanMemory()) GTEST_SKIP() << "this process may not read its own memory";
  for (Compression const compression : {Compression::None, Compression::Deflate}) {
    std::filesystem::remove(directory_ / "p");
    HiddenKey const oldKey, newKey;
    Bytes before = oldKey.reveal(), after = newKey.reveal();
    make(&before, compression);
    rekeyPackage(path(), path(), {.oldKey = &before, .newKey = &after, .compression = compression});
    EXPECT_GT(oldKey.countInMemory() * newKey.countInMemory(), 0U) << "the search finds nothing";
    foundation::crypto::wipe(before.data(), before.size());
    foundation::crypto::wipe(after.data(), after.size());
    EXPECT_EQ(oldKey.countInMemory(), 0U);
    EXPECT_EQ(newKey.countInMemory(), 0U);
  }
}

TEST_F(Rekey, CompressesContentsAndStoresThemPlainAgain) {
  make(&key_, Compression::Deflate);
  noteTime(&key_);
  rekeyPackage(path(), path(), {.oldKey = &key_, .newKey = &newKey_, .compression = Compression::Deflate});
  expectWhole(path(), &newKey_);
  rekey(&newKey_, &key_);
  expectWhole(path(), &key_);
}

TEST_F(Rekey, WantsNoOldKeyForAPlainPackage) {
  make(nullptr);
  EXPECT_THROW_MESSAGE(rekey(&key_, &newKey_), CannotChangeEncryption,
                       "The file system is not encrypted, so that it has no old key");
}

TEST_F(Rekey, WantsAFileSystem) {
  Package::create(path())->save();
  EXPECT_THROW_MESSAGE(rekey(nullptr, &newKey_), opc::Exception, "The package has no file system");
}

TEST_F(Rekey, KeepsEntriesOfOtherMakersAndPartsOfOthers) {
  auto foreign = foreignPackage(entryOf("/a", "/c") + entryOf("/a/below", "/fsroot/c") + entryOf("/b", "/fsroot/c"));
  foreign->saveAs(path());
  foreign.reset();
  rekey(nullptr, &newKey_);
  auto const package = Package::open(path(), AccessMode::ReadOnly);
  FileSystemManager manager(*package);
  manager.enableDecryption(newKey_);
  EXPECT_EQ(decryptedTextAt(manager, u"/a"), "content");
  EXPECT_EQ(decryptedTextAt(manager, u"/a/below"), "shared");
  EXPECT_EQ(decryptedTextAt(manager, u"/b"), "shared");
  EXPECT_FALSE(package->hasPart(PartName(u"/c")));
  EXPECT_EQ(textOfPart(*package, u"/word/document.xml"), "document");
  EXPECT_FALSE(package->hasPart(PartName(u"/fsroot/c")));
}

TEST_F(Rekey, LeavesNoContentOfVersion1Readable) {
  for (bool const isSaved : {false, true}) {
    {
      auto const package = Package::createInMemory();
      addPart(*package, u"/files/f", u"text/plain", "content");
      addPart(*package, kManifestV1, FileSystemManager::getPartContentTypeV1().toString(),
              manifest_samples::version1(entryOf("f.txt", "/files/f")));
      package->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(), opc::model::URI(kManifestV1));
      FileSystemManager manager(*package);
      if (isSaved) manager.createFolder(u"/new");
      std::filesystem::remove(directory_ / "p");
      package->saveAs(path());
    }
    rekey(nullptr, &newKey_);
    auto const package = Package::open(path(), AccessMode::ReadOnly);
    EXPECT_FALSE(package->hasPart(PartName(u"/files/f")));
    EXPECT_FALSE(package->hasPart(PartName(kManifestV1)));
    EXPECT_EQ(bytesOfPackage().find("f.txt"), std::string::npos);
    FileSystemManager manager(*package);
    manager.enableDecryption(newKey_);
    EXPECT_EQ(decryptedTextAt(manager, u"/f.txt"), "content");
  }
}

TEST_F(Rekey, RefusesAContentToWhichARelationshipLeads) {
  for (char const* const part : {"/c", "/fsroot/c", "/m.xml", "/_rels/.rels"}) {
    auto foreign = foreignPackage(entryOf("/a", part) + entryOf("/b", "/fsroot/c"));
    if (std::string_view(part).ends_with('c'))
      foreign->getPart(PartName(u"/word/document.xml"))
          .createInternalRelationship(u"http://t", opc::model::URI(opc::toString(std::string(part))));
    std::filesystem::remove(directory_ / "p");
    foreign->saveAs(path());
    foreign.reset();
    std::string const before = bytesOfPackage();
    EXPECT_THROW_MESSAGE(
        rekey(nullptr, &newKey_), opc::Exception,
        "A relationship leads to the content of this entry, which would keep its old key: /a: " + std::string(part));
    EXPECT_EQ(bytesOfPackage(), before);
  }
}

TEST_F(Rekey, KeepsAPartThatIsNoManifestOfVersion1) {
  auto foreign = foreignPackage(entryOf("/b", "/fsroot/c"));
  foreign->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(),
                                      opc::model::URI(u"/word/document.xml"));
  foreign->saveAs(path());
  foreign.reset();
  rekey(nullptr, &newKey_);
  EXPECT_EQ(textOfPart(*Package::open(path(), AccessMode::ReadOnly), u"/word/document.xml"), "document");
}

TEST_F(Rekey, RefusesAManifestToWhichAnotherRelationshipLeads) {
  for (bool const isOfAPart : {false, true}) {
    auto foreign = foreignPackage(entryOf("/b", "/fsroot/c"));
    if (isOfAPart)
      foreign->getPart(PartName(u"/word/document.xml"))
          .createInternalRelationship(u"http://t", opc::model::URI(u"/M.xml"));
    else
      foreign->createInternalRelationship(u"http://t", opc::model::URI(u"/m.xml"));
    std::filesystem::remove(directory_ / "p");
    foreign->saveAs(path());
    foreign.reset();
    std::string const before = bytesOfPackage();
    EXPECT_THROW_MESSAGE(rekey(nullptr, &newKey_), opc::Exception,
                         "A relationship of another type leads to the manifest, which would keep its old key: /m.xml");
    EXPECT_EQ(bytesOfPackage(), before);
  }
}

TEST_F(Rekey, RefusesAManifestOfVersion1ToWhichAnotherRelationshipLeads) {
  {
    auto const package = Package::create(path());
    addPart(*package, u"/files/f", u"text/plain", "content");
    addPart(*package, u"/m.xml", FileSystemManager::getPartContentTypeV1().toString(),
            manifest_samples::version1(entryOf("f.txt", "/files/f")));
    for (auto const& type : {FileSystemManager::getRelationshipTypeV1(), std::u16string(u"http://t")})
      package->createInternalRelationship(type, opc::model::URI(u"/m.xml"));
    package->save();
  }
  std::string const before = bytesOfPackage();
  EXPECT_THROW_MESSAGE(rekey(nullptr, &newKey_), opc::Exception,
                       "A relationship of another type leads to the manifest, which would keep its old key: /m.xml");
  EXPECT_EQ(bytesOfPackage(), before);
}

TEST_F(Rekey, LeavesNoSecondManifestReadable) {
  for (bool const isOld : {false, true}) {
    auto foreign = foreignPackage(entryOf("/b", "/fsroot/c"));
    addPart(*foreign, u"/second.xml",
            (isOld ? FileSystemManager::getPartContentTypeV1() : FileSystemManager::getPartContentType()).toString(),
            "second");
    for (auto const& type : {FileSystemManager::getRelationshipType(), FileSystemManager::getRelationshipTypeV1()})
      foreign->createInternalRelationship(type, opc::model::URI(u"/second.xml"));
    std::filesystem::remove(directory_ / "p");
    foreign->saveAs(path());
    foreign.reset();
    rekey(nullptr, &newKey_);
    EXPECT_FALSE(Package::open(path(), AccessMode::ReadOnly)->hasPart(PartName(u"/second.xml")));
  }
}

TEST_F(Rekey, KeepsAPartThatIsNoManifestBehindASecondRelationship) {
  auto foreign = foreignPackage(entryOf("/b", "/fsroot/c"));
  foreign->createInternalRelationship(FileSystemManager::getRelationshipType(), opc::model::URI(u"/word/document.xml"));
  foreign->saveAs(path());
  foreign.reset();
  rekey(nullptr, &newKey_);
  EXPECT_EQ(textOfPart(*Package::open(path(), AccessMode::ReadOnly), u"/word/document.xml"), "document");
}

TEST_F(Rekey, LeavesNoManifestOfAnotherTypeReadable) {
  auto foreign = foreignPackage(entryOf("/b", "/fsroot/c"));
  std::string const manifest = textOfPart(*foreign, u"/m.xml");
  foreign->deletePart(PartName(u"/m.xml"));
  addPart(*foreign, u"/m.xml", u"application/xml", manifest);
  foreign->deleteRelationship(
      foreign->getRelationshipsByType(FileSystemManager::getRelationshipType()).front().getID());
  foreign->createInternalRelationship(FileSystemManager::getRelationshipTypeV1(), opc::model::URI(u"/m.xml"));
  foreign->saveAs(path());
  foreign.reset();
  rekey(nullptr, &newKey_);
  EXPECT_FALSE(Package::open(path(), AccessMode::ReadOnly)->hasPart(PartName(u"/m.xml")));
}

TEST_F(Rekey, RefusesAContentThatNoEntryHas) {
  foreignPackage(entryOf("/a", "/c"))->saveAs(path());
  EXPECT_THROW_MESSAGE(rekey(nullptr, &newKey_), opc::Exception,
                       "No entry has this content, which would keep its old key: /fsroot/c");
}

}  // namespace
