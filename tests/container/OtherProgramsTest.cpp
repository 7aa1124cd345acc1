// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "container/AtomicFile.hpp"
#include "container/Reader.hpp"
#include "container/ZipTestSupport.hpp"
#include "support/TestSupport.hpp"

/// What we write is accepted by the programs that people have, and what they write is read.
namespace opc::model::zip {
namespace {
using namespace zt_test;

std::string quoted(std::filesystem::path const& path) { return std::string(1, '\'').append(path.string()) + '\''; }

std::string pythonCommand(std::string const& script) { return "python3 -c \"" + script + "\""; }

struct Checker {
  char const* program;
  std::string (*command)(std::string const& file);
};

Checker const kCheckers[] = {
    {"unzip", [](std::string const& file) { return "unzip -tqq " + file; }},
    {"7z", [](std::string const& file) { return "7z t -bd " + file; }},
    {"bsdtar", [](std::string const& file) { return "LC_ALL=C.UTF-8 bsdtar -xOf " + file + " > /dev/null"; }},
    {"zip", [](std::string const& file) { return "zip -T " + file; }},
    {"python3",
     [](std::string const& file) {
       return "python3 -c \"import sys,zipfile; sys.exit(zipfile.ZipFile(sys.argv[1]).testzip() is not None)\" " + file;
     }},
};

class Accepts : public testing::TestWithParam<Checker> {
 protected:
  void SetUp() override {
    if (!haveProgram(GetParam().program)) GTEST_SKIP() << "no " << GetParam().program;
  }

  void check(std::string const& bytes) {
    TemporaryDirectory directory;
    zt_test::writeFile(directory / "a.zip", bytes);
    Outcome const outcome = run(GetParam().command(quoted(directory / "a.zip")));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output;
  }
};

INSTANTIATE_TEST_SUITE_P(OtherPrograms, Accepts, testing::ValuesIn(kCheckers),
                         [](auto const& tested) { return std::string("by_") + tested.param.program; });

TEST_P(Accepts, AllSortsOfItems) {
  check(archiveOf({{"text", compressible(100'000)},
                   {"random", incompressible(100'000)},
                   {"empty", ""},
                   {"long", mixed(kLong)},
                   {"long text", compressible(2 * kLong)},
                   {"folder/\u00E4\u20AC", "umlaut"}}));
}

TEST_P(Accepts, MoreItemsThan16BitsCount) {
  std::vector<unsigned char> bytes;
  MemorySink sink(bytes);
  ArchiveWriter writer(sink);
  Content const content = makeContent(makeSpool(), "x");
  for (int i = 0; i < 70'000; ++i) writer.add(std::to_string(i), content);
  writer.finish();
  check(textOf(bytes));
}

TEST_P(Accepts, ACopiedArchive) {
  RawItem const item = deflatedItem("a", compressible(1000));
  auto const archive = openBytes(RawArchive{{streamedItem(item, ""), storedItem("b", "beta")}}.build());
  std::vector<unsigned char> bytes;
  MemorySink sink(bytes);
  ArchiveWriter writer(sink);
  for (std::size_t i = 0; i < archive->size(); ++i) writer.copy(*archive, i);
  writer.add("c", makeContent(makeSpool(), compressible(5000)));
  writer.finish();
  check(textOf(bytes));
}

TEST(OtherPrograms, ExtractFilesOfOursWithAUsefulMode) {
  if (!haveProgram("unzip")) GTEST_SKIP() << "no unzip";
  TemporaryDirectory directory;
  zt_test::writeFile(directory / "a.zip", archiveOf({{"file", compressible(1000)}}));
  ASSERT_EQ(run("cd " + quoted(directory.path()) + " && umask 022 && unzip -qq a.zip").exitCode, 0);
  EXPECT_EQ(readFile(directory / "file"), compressible(1000));
  using std::filesystem::perms;
  EXPECT_EQ(std::filesystem::status(directory / "file").permissions(),
            perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);
}

/// A program makes an archive of the files t (text), r (random), e (empty) and l (long).
struct Maker {
  char const* name;
  char const* program;
  std::string command;
};

std::string pythonMaker(std::string const& body) {
  return pythonCommand("import sys, zipfile\nnames = ['t', 'r', 'e', 'l']\n" + body);
}

Maker const kMakers[] = {
    {"zip", "zip", "zip -q a.zip t r e l"},
    {"zip_stored", "zip", "zip -q -0 a.zip t r e l"},
    {"zip_streamed", "zip", "zip -q - t r e l | cat > a.zip"},
    {"7z", "7z", "7z a -bd -tzip a.zip t r e l"},
    {"bsdtar", "bsdtar", "bsdtar --format=zip -cf a.zip t r e l"},
    {"python", "python3",
     pythonMaker("with zipfile.ZipFile('a.zip', 'w', zipfile.ZIP_DEFLATED) as z:\n  for n in names: z.write(n)")},
    {"python_streamed", "python3",
     pythonMaker("class Pipe:\n  def __init__(s): s.f = open('a.zip', 'wb')\n  def write(s, b): return s.f.write(b)\n"
                 "  def flush(s): s.f.flush()\n"
                 "with zipfile.ZipFile(Pipe(), 'w', zipfile.ZIP_DEFLATED) as z:\n  for n in names: z.write(n)")},
    {"python_zip64", "python3",
     pythonMaker("with zipfile.ZipFile('a.zip', 'w', zipfile.ZIP_DEFLATED) as z:\n  for n in names:\n"
                 "    with z.open(n, 'w', force_zip64=True) as f: f.write(open(n, 'rb').read())")},
    {"python_zip64_streamed", "python3",
     pythonMaker("class Pipe:\n  def __init__(s): s.f = open('a.zip', 'wb')\n  def write(s, b): return s.f.write(b)\n"
                 "  def flush(s): s.f.flush()\n"
                 "with zipfile.ZipFile(Pipe(), 'w', zipfile.ZIP_STORED) as z:\n  for n in names:\n"
                 "    with z.open(n, 'w', force_zip64=True) as f: f.write(open(n, 'rb').read())")},
    {"python_prefixed", "python3",
     pythonMaker("open('a.zip', 'wb').write(b'prefix')\n"
                 "with zipfile.ZipFile('a.zip', 'a', zipfile.ZIP_DEFLATED) as z:\n  for n in names: z.write(n)")},
};

class ArchivesOf : public testing::TestWithParam<Maker> {};

INSTANTIATE_TEST_SUITE_P(OtherPrograms, ArchivesOf, testing::ValuesIn(kMakers),
                         [](auto const& tested) { return std::string(tested.param.name); });

TEST_P(ArchivesOf, AreRead) {
  if (!haveProgram(GetParam().program)) GTEST_SKIP() << "no " << GetParam().program;
  TemporaryDirectory directory;
  std::vector<NamedContent> const files{
      {"t", compressible(50'000)}, {"r", incompressible(50'000)}, {"e", ""}, {"l", mixed(kLong)}};
  for (auto const& file : files) zt_test::writeFile(directory / file.name, file.content);
  Outcome const outcome = run("cd " + quoted(directory.path()) + " && " + GetParam().command);
  ASSERT_EQ(outcome.exitCode, 0) << outcome.output;
  ThrowingFaults faults;
  Reader reader(openFileBytes((directory / "a.zip").string()), UINT64_MAX, faults);
  reader.checkHeaders();
  auto const archive = reader.archive();
  EXPECT_EQ(archive->size(), files.size());
  for (auto const& file : files) EXPECT_TRUE(contentOf(*archive, file.name) == file.content) << file.name;
}

}  // namespace
}  // namespace opc::model::zip
