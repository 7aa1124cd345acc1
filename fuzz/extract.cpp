// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/ConfinedFileSystemOps.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemManifest.hpp"

/// A manifest of a stranger's, extracted to a confined directory: nothing beside the directory is touched, and
/// nothing in it leads out.
namespace zt_fuzz {
namespace {

namespace fs = std::filesystem;
using namespace opc::ztservices;
using opc::model::Package;

/// The one directory in which this process works, in memory where the system offers that.
class Sandbox {
 public:
  Sandbox() {
    fs::path const memory = "/dev/shm";
    std::string name = ((access(memory.c_str(), W_OK) == 0 ? memory : fs::temp_directory_path()) / "zt-fuzz-XXXXXX");
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory: " + name);
    path_ = name;
    std::ofstream(outside()) << "untouched";
  }
  ~Sandbox() { fs::remove_all(path_); }
  Sandbox(Sandbox const&) = delete;
  Sandbox& operator=(Sandbox const&) = delete;

  fs::path root() const { return path_ / "root"; }
  void clear() const {
    // Folders that nobody may write to could not be emptied.
    std::error_code ignored;
    for (auto it = fs::recursive_directory_iterator(root(), ignored); it != fs::recursive_directory_iterator(); ++it)
      if (it->is_directory() && !it->is_symlink()) fs::permissions(it->path(), fs::perms::owner_all);
    fs::remove_all(root());
  }

  void requireUntouched() const {
    std::size_t count = 0;
    for ([[maybe_unused]] auto const& entry : fs::directory_iterator(path_)) ++count;
    require(count == (fs::exists(root()) ? 2u : 1u), "nothing is made beside the directory");
    std::ifstream file(outside());
    std::string text;
    file >> text;
    require(text == "untouched", "nothing beside the directory is written");
  }

 private:
  fs::path outside() const { return path_ / "outside"; }

  fs::path path_;
};

bool leadsOut(fs::path const& link, fs::path const& root) {
  fs::path const target = fs::read_symlink(link);
  fs::path const reached = (target.is_absolute() ? target : link.parent_path() / target).lexically_normal();
  return !reached.string().starts_with(root.string());
}

void requireConfined(fs::path const& root) {
  for (auto const& entry : fs::recursive_directory_iterator(root)) {
    struct stat status {};
    require(lstat(entry.path().c_str(), &status) == 0, "what is listed is there");
    bool const isLink = S_ISLNK(status.st_mode);
    require(isLink || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode), "only files, folders and links are made");
    require((status.st_mode & (S_ISUID | S_ISGID | S_ISVTX)) == 0, "no permission is special");
    require(!isLink || !leadsOut(entry.path(), root), "no link leads out");
  }
}

std::unique_ptr<Package> packageWith(std::string const& manifest) {
  return openOrRefuse(
      archiveOf({{"[Content_Types].xml",
                  contentTypes("<Default Extension=\"txt\" ContentType=\"text/plain\"/>"
                               "<Override PartName=\"/metadata/filesystemManifest.xml\" "
                               "ContentType=\"application/vnd.corvanta.package.filesystemManifest+xml\"/>")},
                 {"_rels/.rels", relationships("<Relationship Id=\"rId1\" Type=\"" +
                                               opc::toUTF8String(FileSystemManager::getRelationshipType()) +
                                               "\" Target=\"/metadata/filesystemManifest.xml\"/>")},
                 {"fsroot/a.txt", "content"},
                 {"metadata/filesystemManifest.xml", manifest}}));
}

std::vector<std::u16string> leavesOf(FileSystemManager const& manager) {
  std::vector<std::u16string> lines;
  for (FileSystemEntry const& entry : manager.getAllLeafs())
    lines.push_back(entry.getPathName() + u'\0' + entry.getContentName());
  return lines;
}

void run(Bytes const& input) {
  static Sandbox const sandbox;
  auto const package = packageWith(textOf(input));
  FileSystemManager probe(*package);
  if (!isAccepted<opc::Exception>([&] { probe.ensureLoaded(); })) return;
  {
    opc::ConfinedFileSystemOps disk(opc::toString(sandbox.root().string()));
    opc::LocalFileSystemOps unused;
    FileSystemManager manager(*package, unused, disk);
    isAccepted<opc::Exception>([&] {
      manager.extractAll(opc::toString(sandbox.root().string()), RestoreMode::TimeAndPermissions,
                         TransformMode::Transform);
    });
  }
  sandbox.requireUntouched();
  requireConfined(sandbox.root());
  sandbox.clear();
  require(leavesOf(FileSystemManager(*package)) == leavesOf(probe), "extracting changes no package");
}

Bytes manifestOf(std::vector<FileSystemNode> const& nodes) {
  FileSystemTree tree;
  tree.setVersion(u"2.0");
  for (FileSystemNode const& node : nodes) tree.addNode(node);
  Bytes bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  FileSystemManifest().write(tree, output);
  return bytes;
}

std::vector<Bytes> seeds() {
  opc::Perms::Perms_tag const permissions{0640};
  boost::posix_time::ptime const time(boost::gregorian::date(2024, 2, 29));
  auto const file = [&](char16_t const* path) { return makeFileNode(path, u"/fsroot/a.txt", permissions, time); };
  return {manifestOf({file(u"/f/a.txt"), makeLinkNode(u"/link", u"f/a.txt", permissions, time),
                      makeFolderNode(u"/empty", permissions, time)}),
          manifestOf({makeLinkNode(u"/l", u"../outside", permissions, time), file(u"/l/x")}),
          manifestOf({file(u"/../outside")}),
          manifestOf({file(u"/a//b/./c"), makeLinkNode(u"/d", u"a/..", permissions, time)})};
}

Registration const registration("extract", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
