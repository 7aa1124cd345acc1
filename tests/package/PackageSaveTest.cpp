// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Exceptions.hpp"
#include "package/ModelSamples.hpp"
#include "package/SystemCalls.hpp"
#include "support/TestSupport.hpp"

namespace opc::model {
namespace {

namespace fs = std::filesystem;
using samples::create;
using samples::open;
using samples::packageOf;
using samples::read;

/// A manager that does what a test says when the package is saved.
class Saver final : public DataManager {
 public:
  Saver(Package& package, std::function<void(Package&)> save) : DataManager(package, true), save_(std::move(save)) {}

 protected:
  void doLoad() override {}
  void doSave() override { save_(getPackage()); }
  std::vector<std::u16string> doGetManagedPartNames() const override { return {}; }
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override { return {}; }

 private:
  std::function<void(Package&)> save_;
};

std::string typesOf(Package& package) { return samples::itemsOf(package.saveToBytes()).front().content; }

bool has(std::string const& text, std::string const& part) { return text.find(part) != std::string::npos; }

std::vector<std::string> filesIn(fs::path const& path) {
  std::vector<std::string> names;
  for (auto const& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename().string());
  return names;
}

TEST(PackageSave, MakesTheFileAtTheFirstSave) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  create(*package, u"/a.xml", "text");
  EXPECT_FALSE(fs::exists(directory / "p.opc"));
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/a.xml"), "text");
  EXPECT_EQ(filesIn(directory.path()), (std::vector<std::string>{"p.opc"}));
}

TEST(PackageSave, LeavesTheFileAloneWithoutASave) {
  zt_test::TemporaryDirectory const directory;
  Package::create(directory.u16("p.opc"))->save();
  std::string const before = zt_test::readFile(directory / "p.opc");
  {
    auto const package = Package::open(directory.u16("p.opc"), AccessMode::ReadWrite);
    create(*package, u"/a.xml", "text");
  }
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), before);
}

TEST(PackageSave, RefusesWhatIsThereAtOnce) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "p.opc", "there");
  std::string const message = "Could not save package: " + (directory / "p.opc").string() + ": File exists";
  EXPECT_THROW_MESSAGE(Package::create(directory.u16("p.opc")), CouldNotSavePackage, message);
  EXPECT_THROW_MESSAGE(Package::createInMemory()->saveAs(directory.u16("p.opc")), CouldNotSavePackage, message);
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), "there");
}

TEST(PackageSave, RefusesWhatAppearedBeforeTheFirstSave) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  zt_test::writeFile(directory / "p.opc", "there");
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), "there");
  fs::remove(directory / "p.opc");
  package->save();
  package->save();
}

TEST(PackageSave, ReplacesWhenItMay) {
  zt_test::TemporaryDirectory const directory;
  zt_test::writeFile(directory / "p.opc", "there");
  auto const package = Package::create(directory.u16("p.opc"), Existing::Replace);
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), "there");
  package->save();
  EXPECT_NO_THROW(Package::open(directory.u16("p.opc"), AccessMode::ReadOnly));
}

TEST(PackageSave, RefusesPathsThatAreNone) {
  EXPECT_THROW(Package::create(u""), CouldNotSavePackage);
  EXPECT_THROW(Package::create(std::u16string(u"a\0b", 3)), CouldNotSavePackage);
  EXPECT_THROW(Package::createInMemory()->saveAs(u""), CouldNotSavePackage);
}

TEST(PackageSave, CanGoOnAfterwards) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  Part a = create(*package, u"/a.xml", "one");
  package->save();
  EXPECT_EQ(read(a), "one");
  samples::write(a, "two");
  a.createInternalRelationship(u"urn:x", URI(u"b.xml"));
  create(*package, u"/b.xml", "b");
  package->save();
  package->deletePart(PartName(u"/b.xml"));
  package->save();
  auto const again = Package::open(directory.u16("p.opc"), AccessMode::ReadOnly);
  EXPECT_EQ(samples::snapshot(*again), samples::snapshot(*package));
  EXPECT_EQ(read(*again, u"/a.xml"), "two");
  EXPECT_FALSE(again->hasPart(PartName(u"/b.xml")));
}

TEST(PackageSave, InMemoryStaysInMemory) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a.xml", "one");
  package->save();
  EXPECT_EQ(read(part), "one");
  samples::write(part, "two");
  EXPECT_EQ(read(*open(package->saveToBytes()), u"/a.xml"), "two");
}

TEST(PackageSave, AsBindsToTheNewPath) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a.xml", "one");
  package->saveAs(directory.u16("p.opc"));
  samples::write(part, "two");
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/a.xml"), "two");
}

TEST(PackageSave, AsLeavesTheOldFile) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("old.opc"));
  Part const part = create(*package, u"/a.xml", "one");
  package->save();
  samples::write(part, "two");
  package->saveAs(directory.u16("new.opc"));
  EXPECT_EQ(read(*Package::open(directory.u16("old.opc"), AccessMode::ReadOnly), u"/a.xml"), "one");
  EXPECT_EQ(read(*Package::open(directory.u16("new.opc"), AccessMode::ReadOnly), u"/a.xml"), "two");
}

TEST(PackageSave, AsWorksOnAReadOnlyPackageThatStaysSo) {
  zt_test::TemporaryDirectory const directory;
  auto const package = open(packageOf({{"a.xml", "a"}}), AccessMode::ReadOnly);
  package->saveAs(directory.u16("p.opc"));
  EXPECT_TRUE(package->isReadOnly());
  EXPECT_THROW_MESSAGE(package->save(), PackageIsReadOnly,
                       "The package is read-only: " + (directory / "p.opc").string());
  EXPECT_EQ(read(*package, u"/a.xml"), "a");
}

TEST(PackageSave, ToBytesLeavesThePackageBoundAndUnsaved) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  create(*package, u"/a.xml", "text");
  int saves = 0;
  Saver const saver(*package, [&](Package&) { ++saves; });
  EXPECT_EQ(read(*open(package->saveToBytes()), u"/a.xml"), "text");
  EXPECT_FALSE(fs::exists(directory / "p.opc"));
  EXPECT_EQ(saves, 1);
  EXPECT_TRUE(saver.isDirty());
  package->save();
  EXPECT_EQ(saves, 2);
  EXPECT_FALSE(saver.isDirty());
}

TEST(PackageSave, WritesContentTypesThenRelationshipsThenNamesInOrder) {
  auto const package = Package::createInMemory();
  for (auto name : {u"/b", u"/a/x", u"/a.x", u"/B", u"/!"})
    if (std::u16string(name) != u"/B") create(*package, name, "x");
  package->createInternalRelationship(u"urn:x", URI(u"b"));
  std::string order;
  for (auto const& item : samples::itemsOf(package->saveToBytes())) order += item.name + " ";
  EXPECT_EQ(order, "[Content_Types].xml _rels/.rels ! a.x a/x b ");
}

TEST(PackageSave, IsTheSameForTheSameContentInAnyOrderOfCreation) {
  auto const first = Package::createInMemory(), second = Package::createInMemory();
  std::vector<std::u16string> const names = {u"/a.xml", u"/B/c.bin", u"/b/d.xml", u"/z"};
  for (std::size_t i = 0; i < names.size(); ++i) create(*first, names[i], "text" + std::to_string(i));
  for (std::size_t i = names.size(); i-- > 0;) create(*second, names[i], "text" + std::to_string(i));
  for (auto const& package : {first.get(), second.get()}) {
    package->createInternalRelationship(u"urn:x", URI(u"a.xml"));
    package->getPart(PartName(u"/z")).createInternalRelationship(u"urn:x", URI(u"a.xml"));
  }
  auto const bytes = first->saveToBytes();
  EXPECT_EQ(second->saveToBytes(), bytes);
  EXPECT_EQ(first->saveToBytes(), bytes);
  first->save();
  EXPECT_EQ(first->saveToBytes(), bytes);
  EXPECT_EQ(open(bytes)->saveToBytes(), bytes);
}

TEST(PackageSave, MakesADefaultOfAnExtensionsMostFrequentType) {
  auto const package = Package::createInMemory();
  create(*package, u"/1.Bin", "", u"a/x");
  create(*package, u"/2.bin", "", u"a/y");
  create(*package, u"/3.bin", "", u"a/y");
  create(*package, u"/noextension", "", u"a/y");
  EXPECT_EQ(typesOf(*package),
            "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\" ?>\n"
            "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">\n\n"
            "  <Default ContentType=\"a/y\" Extension=\"bin\"/>\n\n"
            "  <Override ContentType=\"a/x\" PartName=\"/1.Bin\"/>\n\n"
            "  <Override ContentType=\"a/y\" PartName=\"/noextension\"/>\n\n"
            "</Types>\n");
}

TEST(PackageSave, GivesTiesToTheSmallerType) {
  auto const package = Package::createInMemory();
  create(*package, u"/1.bin", "", u"b/b");
  create(*package, u"/2.bin", "", u"a/b;x=1");
  std::string const types = typesOf(*package);
  EXPECT_TRUE(has(types, "<Default ContentType=\"a/b;x=1\" Extension=\"bin\"/>")) << types;
}

TEST(PackageSave, KeepsExistingDefaults) {
  auto const package = open(packageOf({}, "<Default Extension='Bin' ContentType='a/old'/>"));
  create(*package, u"/1.bin", "", u"a/new");
  create(*package, u"/2.bin", "", u"a/new");
  std::string const types = typesOf(*package);
  EXPECT_TRUE(has(types, "<Default ContentType=\"a/old\" Extension=\"bin\"/>")) << types;
  EXPECT_TRUE(has(types, "<Override ContentType=\"a/new\" PartName=\"/1.bin\"/>")) << types;
}

TEST(PackageSave, MakesNoDefaultThatWouldMakeAPartOfAnItem) {
  auto const package = open(packageOf({{"x.P7S", "item"}}));
  create(*package, u"/1.p7s", "", u"a/b");
  EXPECT_FALSE(has(typesOf(*package), "Extension=\"p7s\""));
  EXPECT_EQ(open(package->saveToBytes())->getItemNames(), (std::vector<std::u16string>{u"x.P7S"}));
}

TEST(PackageSave, KeepsContentTypesToTheLetter) {
  auto const package = Package::createInMemory();
  create(*package, u"/a", "", u"Text/X; q=\"<&\"");
  EXPECT_EQ(open(package->saveToBytes())->getPart(PartName(u"/a")).getContentType().toString(), u"Text/X; q=\"<&\"");
}

TEST(PackageSave, KeepsTheOrderOfItemsAndPutsNewOnesBehind) {
  auto bytes = packageOf({{"c.xml", std::string(1000, 'a')}, {"b.xml", "b"}, {"folder/", ""}});
  auto const package = open(bytes);
  samples::write(package->getPart(PartName(u"/b.xml")), "new");
  create(*package, u"/z.xml", "z");
  create(*package, u"/a.xml", "a");
  auto const items = samples::itemsOf(package->saveToBytes());
  ASSERT_EQ(items.size(), 6U);
  EXPECT_EQ(items[1].content, std::string(1000, 'a'));
  EXPECT_EQ(items[2].content, "new");
  EXPECT_EQ(items[3].name, "folder/");
  EXPECT_EQ(items[4].name, "a.xml");
  EXPECT_EQ(items[5].name, "z.xml");
}

TEST(PackageSave, CopiesNeighboursWithoutALookAtEach) {
  zt_test::TemporaryDirectory const directory;
  constexpr int kParts = 300;
  auto const nameOf = [](int i) { return toString("/" + std::to_string(i), false); };
  auto package = Package::create(directory.u16("p.opc"));
  for (int i = 0; i < kParts; ++i) create(*package, nameOf(i), "part " + std::to_string(i));
  package->save();
  package = Package::open(directory.u16("p.opc"), AccessMode::ReadWrite);
  package->deletePart(PartName(nameOf(7)));
  create(*package, u"/new", "new");
  zt_test::calls::begin(0, zt_test::calls::Fault::None);
  package->save();
  auto const names = zt_test::calls::end().names;
  EXPECT_LT(std::count(names.begin(), names.end(), "pread"), 20);
  package = Package::open(directory.u16("p.opc"), AccessMode::ReadOnly);
  EXPECT_EQ(package->getParts().size(), static_cast<std::size_t>(kParts));
  for (int i = 8; i < kParts; ++i) EXPECT_EQ(read(*package, nameOf(i)), "part " + std::to_string(i));
  EXPECT_EQ(read(*package, u"/new"), "new");
}

TEST(PackageSave, KeepsWhatStandsBeforeTheArchiveAndItsComment) {
  std::string const before = "#!/bin/sh\nexit\n", comment = "by hand";
  std::string text = before + zt_test::textOf(packageOf({{"a.xml", "<a/>"}}));
  text.replace(text.size() - 2, 2, std::string(1, static_cast<char>(comment.size())) + '\0' + comment);
  auto package = open(zt_test::bytesOf(text));
  for (int i = 0; i < 2; ++i) {
    std::string const saved = zt_test::textOf(package->saveToBytes());
    EXPECT_TRUE(saved.starts_with(before + "PK\3\4"));
    EXPECT_TRUE(saved.ends_with('\0' + comment));
    package = open(zt_test::bytesOf(saved));
    EXPECT_EQ(read(*package, u"/a.xml"), "<a/>");
  }
}

TEST(PackageSave, KeepsDamagedPartsAsTheyAre) {
  samples::Bytes bytes = packageOf({{"a.xml", "incompressible"}});
  std::string const text(bytes.begin(), bytes.end());
  bytes[text.find("incompressible")] ^= 1;
  auto const package = open(bytes);
  create(*package, u"/b.xml", "b");
  auto const again = open(package->saveToBytes());
  EXPECT_THROW(read(*again, u"/a.xml"), InvalidItem);
  EXPECT_EQ(read(*again, u"/b.xml"), "b");
}

TEST(PackageSave, CompressesAsHardAsItIsTold) {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += std::to_string(i * 7919 % 1000) + " ";
  std::vector<std::uint64_t> sizes;
  for (auto level : {CompressionLevel::Fast, CompressionLevel::Default, CompressionLevel::Small}) {
    auto const package = Package::createInMemory();
    package->setCompressionLevel(level);
    Part const part = package->createPart(PartName(u"/a"));
    samples::write(part, text);
    sizes.push_back(part.getStoredSize());
  }
  EXPECT_GT(sizes[0], sizes[1]);
  EXPECT_GE(sizes[1], sizes[2]);
}

TEST(PackageSave, FollowsALinkToItsTarget) {
  zt_test::TemporaryDirectory const directory;
  Package::create(directory.u16("real.opc"))->save();
  fs::create_symlink("real.opc", directory / "link.opc");
  auto const package = Package::open(directory.u16("link.opc"), AccessMode::ReadWrite);
  create(*package, u"/a.xml", "a");
  package->save();
  EXPECT_TRUE(fs::is_symlink(directory / "link.opc"));
  EXPECT_TRUE(Package::open(directory.u16("real.opc"), AccessMode::ReadOnly)->hasPart(PartName(u"/a.xml")));
}

TEST(PackageSave, StaysAtItsPathWhenTheDirectoryChanges) {
  zt_test::TemporaryDirectory const directory;
  fs::path const before = fs::current_path();
  fs::current_path(directory.path());
  auto const package = Package::create(u"p.opc");
  fs::current_path(before);
  package->save();
  EXPECT_TRUE(fs::exists(directory / "p.opc"));
}

TEST(PackageSave, ThatFailsInAManagerLeavesEverythingAsItWas) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  create(*package, u"/a.xml", "a");
  package->save();
  std::string const before = zt_test::readFile(directory / "p.opc");
  bool fails = true;
  Saver const saver(*package, [&](Package& p) {
    if (fails) throw InvalidPartContent("no");
    create(p, u"/b.xml", "b");
  });
  EXPECT_THROW_MESSAGE(package->save(), InvalidPartContent, "no");
  EXPECT_TRUE(saver.isDirty());
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), before);
  fails = false;
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/b.xml"), "b");
}

TEST(PackageSave, ThatFindsNoDirectoryCanBeRepeated) {
  zt_test::TemporaryDirectory const directory;
  fs::create_directory(directory / "sub");
  auto const package = Package::create(directory.u16("sub/p.opc"));
  Part const part = create(*package, u"/a.xml", "a");
  package->save();
  samples::write(part, "new");
  fs::rename(directory / "sub", directory / "away");
  int saves = 0;
  Saver const saver(*package, [&](Package&) { ++saves; });
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  EXPECT_TRUE(saver.isDirty());
  EXPECT_EQ(read(part), "new");
  fs::rename(directory / "away", directory / "sub");
  EXPECT_EQ(read(*Package::open(directory.u16("sub/p.opc"), AccessMode::ReadOnly), u"/a.xml"), "a");
  package->save();
  EXPECT_EQ(saves, 2);
  EXPECT_EQ(read(*Package::open(directory.u16("sub/p.opc"), AccessMode::ReadOnly), u"/a.xml"), "new");
}

TEST(PackageSave, ThatMayNotWriteLeavesTheOldFile) {
  if (geteuid() == 0) GTEST_SKIP() << "nothing is unwritable for root";
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  Part const part = create(*package, u"/a.xml", "a");
  package->save();
  std::string const before = zt_test::readFile(directory / "p.opc");
  samples::write(part, "new");
  fs::permissions(directory.path(), fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THROW(package->save(), CouldNotSavePackage);
  fs::permissions(directory.path(), fs::perms::owner_all);
  EXPECT_EQ(zt_test::readFile(directory / "p.opc"), before);
  EXPECT_EQ(filesIn(directory.path()).size(), 1U);
  EXPECT_NO_THROW(package->save());
}

/// No file can grow beyond the size while this lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) {
    getrlimit(RLIMIT_FSIZE, &before_);
    handler_ = std::signal(SIGXFSZ, SIG_IGN);
    rlimit const limit{size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(FileSizeLimit const&) = delete;
  FileSizeLimit& operator=(FileSizeLimit const&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int) = nullptr;
};

TEST(PackageSave, ThatFindsTooLittleRoomLeavesTheOldFile) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  Part const part = create(*package, u"/a.xml", "a");
  package->save();
  std::string const before = zt_test::readFile(directory / "p.opc");
  samples::write(part, "new");
  package->createInternalRelationship(u"urn:x", URI(u"a.xml"));
  for (rlim_t const room : {0u, 1u, 100u, 300u}) {
    FileSizeLimit const limit(room);
    EXPECT_THROW(package->save(), CouldNotSavePackage) << room;
    EXPECT_EQ(zt_test::readFile(directory / "p.opc"), before);
    EXPECT_EQ(filesIn(directory.path()).size(), 1U);
  }
  package->save();
  EXPECT_EQ(read(*Package::open(directory.u16("p.opc"), AccessMode::ReadOnly), u"/a.xml"), "new");
}

TEST(PackageSave, CannotBeCalledByAManagerThatSaves) {
  auto const package = Package::createInMemory();
  Saver const saver(*package, [](Package& p) { p.saveToBytes(); });
  EXPECT_THROW_MESSAGE(package->save(), InvalidState, "The package is being saved");
}

TEST(PackageSave, NoticesAStreamThatAManagerLeftOpen) {
  auto const package = Package::createInMemory();
  Part const part = create(*package, u"/a.xml");
  std::unique_ptr<OutputStream> kept;
  Saver const saver(*package, [&](Package&) { kept = part.getOutputStream(); });
  EXPECT_THROW(package->save(), InvalidState);
}

TEST(PackageSave, KeepsAReaderOfTheOldFileConsistent) {
  zt_test::TemporaryDirectory const directory;
  auto const package = Package::create(directory.u16("p.opc"));
  Part const part = create(*package, u"/a.xml", "old");
  package->save();
  auto const reader = Package::open(directory.u16("p.opc"), AccessMode::ReadOnly);
  samples::write(part, "new");
  package->save();
  EXPECT_EQ(read(*reader, u"/a.xml"), "old");
}

}  // namespace
}  // namespace opc::model
