// SPDX-License-Identifier: Apache-2.0
#include "model/Operations.hpp"

#include <algorithm>
#include <array>
#include <boost/date_time/posix_time/conversion.hpp>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "model/Extraction.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/ContentTypes.hpp"
#include "samples/BytesSource.hpp"

namespace zt_model {
namespace {

namespace fs = std::filesystem;
using opc::toString;
using opc::toUTF8String;
using opc::model::ContentType;
using opc::model::PartName;
using opc::ztservices::FileSystemEntry;
using opc::ztservices::TransformMode;
using opc::ztservices::samples::BytesSource;

constexpr std::array kTypes{u"application/octet-stream", u"text/plain", u"image/png"};

void write(std::unique_ptr<opc::OutputStream> const& output, std::string const& content) {
  output->write(content.data(), content.size());
  output->close();
}

/// The same path as a caller may write it.
std::u16string spelled(std::string path, Random& random) {
  if (random.oneIn(4)) std::ranges::replace(path, '/', '\\');
  if (random.oneIn(4)) path.erase(0, 1);
  return toString(path);
}

Node randomFile(Random& random) {
  Node node{Kind::File, randomPermissions(random), randomTime(random), {}, random.text()};
  node.type = toUTF8String(random.of(kTypes));
  return node;
}

std::optional<std::u16string> existingPath(World& world, Random& random) {
  if (world.model().entries.empty()) return std::nullopt;
  return random.of(world.model().entries).first;
}

std::optional<FileSystemEntry> existingFile(World& world, Random& random) {
  auto const path = existingPath(world, random);
  if (!path || world.model().entries.at(*path).kind != Kind::File) return std::nullopt;
  return world.files().getEntry(*path);
}

/// Has the model take the node if the call is right to succeed.
void attemptNew(World& world, std::string const& path, Node node, std::function<void()> const& call) {
  bool const isFree = world.model().isFree(toString(path));
  world.attempt(isFree, call);
  if (isFree) world.model().set(toString(path), std::move(node));
}

void createFolder(World& world, Random& random) {
  std::string const path = randomPath(random);
  world.log("create folder " + path);
  attemptNew(world, path, {}, [&] { world.files().createFolder(spelled(path, random)); });
}

void createLink(World& world, Random& random) {
  std::string const path = randomPath(random), target = randomPath(random).substr(random.below(2));
  world.log("create link " + path + " to " + target);
  attemptNew(world, path, {Kind::Link, opc::Perms::NotKnown, {}, {}, target},
             [&] { world.files().createLink(spelled(path, random), toString(target)); });
}

void createFile(World& world, Random& random) {
  std::string const path = randomPath(random);
  Node const node = randomFile(random);
  world.log("create file " + path);
  attemptNew(world, path, node, [&] {
    auto const entry =
        world.files().createFile(spelled(path, random), ContentType(toString(node.type)), node.permissions, node.time);
    write(world.files().getFileOutputStream(entry), node.content);
  });
}

void addSource(World& world, Random& random) {
  std::string const path = randomPath(random);
  Node const node = randomFile(random);
  world.log("add content as " + path);
  attemptNew(world, path, node, [&] {
    world.files().addFile(std::make_unique<BytesSource>(node.content, ContentType(toString(node.type))),
                          spelled(path, random), node.permissions, node.time);
  });
}

/// Makes a file on the disk and returns what an entry of it holds.
Node fileOnDisk(fs::path const& path, Random& random) {
  Node node = randomFile(random);
  node.permissions = opc::Perms::Perms_tag(random.oneIn(2) ? 0600 : 0755);
  node.time = boost::posix_time::from_time_t(static_cast<std::time_t>(1 + random.below(2'000'000'000)));
  opc::LocalFileSystemOps disk;
  node.type = toUTF8String(
      opc::ztservices::lookupContentType(disk, path.u16string(), opc::ztservices::getTALBEXDefaultContentType())
          .toString());
  zt_test::writeFile(path, node.content);
  boost::system::error_code error;
  disk.setPermissions(path.u16string(), node.permissions, error);
  if (!error) disk.setLastModifiedTime(path.u16string(), node.time, error);
  if (error) throw std::runtime_error(path.string() + ": " + error.message());
  return node;
}

/// Content whose reading fails after its beginning.
class FailingSource final : public opc::ztservices::IContentSource, private opc::InputStream {
 public:
  ContentType getContentType() override { return ContentType(kTypes.front()); }
  opc::InputStream& getInputStream() override { return *this; }

 private:
  void reset() override {}
  void clear() override {}
  bool isEnd() override { return false; }
  std::size_t read(void* buffer, std::size_t count) override {
    if (std::exchange(isStarted_, true)) throw opc::StreamError("reading fails");
    std::fill_n(static_cast<char*>(buffer), std::min<std::size_t>(count, 3), 'x');
    return std::min<std::size_t>(count, 3);
  }

  bool isStarted_ = false;
};

/// Leaves the entry, with an empty part. Where it is encrypted, that would be no content.
void failToAdd(World& world, Random& random) {
  std::string const path = randomPath(random);
  if (world.isEncrypted()) return;
  world.log("fail while adding " + path);
  Node const node{Kind::File, opc::Perms::NotKnown, {}, toUTF8String(kTypes.front())};
  bool const isFree = world.model().isFree(toString(path));
  world.attempt(false, [&] {
    world.files().addFile(std::make_unique<FailingSource>(), toString(path), node.permissions, node.time);
  });
  if (isFree) world.model().set(toString(path), node);
}

void addFileOfDisk(World& world, Random& random) {
  zt_test::TemporaryDirectory const tree;
  std::string const path = randomPath(random);
  fs::path const file = tree / random.of(kNames);
  Node const node = fileOnDisk(file, random);
  world.log("add a file of the disk as " + path);
  attemptNew(world, path, node,
             [&] { world.files().addFile(file.u16string(), spelled(path, random), TransformMode::None); });
}

/// Makes files and links below the root, and returns the entries of them.
Entries treeOnDisk(fs::path const& root, Random& random) {
  Model tree;
  for (std::size_t count = 1 + random.below(4); count > 0; --count) {
    std::string const path = randomPath(random);
    if (!tree.isFree(toString(path))) continue;
    fs::create_directories((root.string() + path).substr(0, root.string().size() + path.rfind('/')));
    Node node{Kind::Link, opc::Perms::NotKnown, {}, {}, "../" + randomPath(random).substr(1)};
    if (random.oneIn(4))
      fs::create_symlink(node.content, root.string() + path);
    else
      node = fileOnDisk(root.string() + path, random);
    tree.set(toString(path), std::move(node));
  }
  return std::move(tree.entries);
}

/// Up to the first path that is taken, what is added stays. Nothing is added where a file or link stands above a path.
void addTree(World& world, Random& random) {
  zt_test::TemporaryDirectory const directory;
  world.log("add a tree of the disk");
  Model after = world.model();
  Entries const tree = treeOnDisk(directory.path(), random);
  bool isWhole = std::ranges::none_of(tree, [&](auto const& entry) { return after.isBelowLeaf(entry.first); });
  bool const isBegun = isWhole;
  for (auto const& [path, node] : tree) {
    if (node.kind == Kind::Folder) continue;
    isWhole = isWhole && after.isFree(path);
    if (isWhole) after.set(path, node);
  }
  world.attempt(isWhole, [&] { world.files().addAll(directory.u16(), TransformMode::None); });
  if (isBegun) world.model() = std::move(after);
}

void removeEntry(opc::ztservices::FileSystemManager& files, FileSystemEntry const& entry) {
  if (entry.isFile()) return files.deleteFile(entry);
  if (entry.isLink()) return files.deleteLink(entry);
  files.deleteFolder(entry);
}

void remove(World& world, Random& random) {
  auto path = existingPath(world, random);
  if (random.oneIn(40)) path = u"/";
  if (!path) return;
  world.log("remove " + toUTF8String(*path));
  auto const entry = *path == u"/" ? world.files().getRoot() : world.files().getEntry(*path);
  world.attempt(true, [&] { removeEntry(world.files(), entry); });
  world.model().remove(*path);
  if (*path != u"/") world.attempt(false, [&] { removeEntry(world.files(), entry); });
}

void moveEntry(World& world, Random& random) {
  auto const from = existingPath(world, random);
  if (!from) return;
  std::u16string const to = toString(randomPath(random));
  world.log("move " + toUTF8String(*from) + " to " + toUTF8String(to));
  bool const isRight = world.model().isFree(to) && !opc::isBelowPath(to, *from);
  auto const entry = world.files().getEntry(*from);
  world.attempt(isRight, [&] { world.files().moveEntry(entry, spelled(toUTF8String(to), random)); });
  if (isRight) world.model().move(*from, to);
}

void rewrite(World& world, Random& random) {
  auto const entry = existingFile(world, random);
  if (!entry) return;
  std::u16string const path = entry->getPathName();
  if (!world.model().entries.at(path).isReadable || world.files().isEncrypted(*entry)) return;
  world.log("rewrite " + toUTF8String(path));
  std::string const content = random.text();
  write(world.files().getFileOutputStream(*entry), content);
  world.model().rewrite(path, content);
}

void failToWrite(World& world, Random& random) {
  auto const entry = existingFile(world, random);
  if (!entry || !world.model().entries.at(entry->getPathName()).isReadable) return;
  world.log("fail while writing " + toUTF8String(entry->getPathName()));
  world.attempt(false, [&] {
    auto const output = world.files().getFileOutputStream(*entry);
    output->write("lost", 4);
    throw opc::Exception("the caller fails");
  });
}

/// What cannot be read is replaced as a whole.
opc::ztservices::CoreProperties propertiesToChange(World& world) {
  opc::ztservices::CoreProperties record;
  if (world.model().others.at("properties") != kUnreadable) record = world.edited().properties.getCoreProperties();
  if (record.isValid()) return record;
  record.setContentType(u"application/vnd.corvanta.model.test");
  record.setContentTypeFriendlyName(u"Test");
  record.setTALBEXRelease(u"R2020a");
  return record;
}

void setProperties(World& world, Random& random) {
  auto& others = world.model().others;
  std::string const title = "title " + std::to_string(random.below(9));
  world.log("set properties that are " + others.at("properties"));
  auto record = propertiesToChange(world);
  record.setTitle(toString(title));
  world.edited().properties.setCoreProperties(record);
  std::erase_if(others, [](auto const& other) { return other.first.starts_with(kUnreadable); });
  others["properties"] =
      title + "|" +
      toUTF8String(record.getCreatedBy() + u"|" + record.getCategory() + u"|" + record.getContentTypeFriendlyName());
}

void setCipher(World& world, Random& random) {
  auto const number = static_cast<unsigned>(random.below(kCipherSelectors));
  std::string const name = "cipher " + std::to_string(number);
  auto& others = world.model().others;
  auto& ciphers = world.edited().ciphers;
  world.log("set or delete " + name);
  if (others.erase(name) > 0) return ciphers.deleteCipherEntry(cipherSelector(number));
  std::string const hash = "h" + random.text();
  ciphers.addCipherEntry(cipherSelector(number), zt_test::bytesOf(hash), u"salt", zt_test::bytesOf("iv"));
  others[name] = hash;
}

constexpr std::array kParts{u"/other/a.xml", u"/other/b.bin", u"/word/document.xml"};

/// Parts beside those of the managers are the business of whoever else edits the package.
void changePart(World& world, Random& random) {
  PartName const name(random.of(kParts));
  std::string const key = "part " + toUTF8String(name.toString());
  std::string const relationships = "relationship " + toUTF8String(name.toString()) + " ";
  auto& others = world.model().others;
  world.log("create, rewrite or delete " + key);
  if (world.package().hasPart(name) && random.oneIn(2)) {
    world.package().deletePart(name);
    std::erase_if(others, [&](auto const& one) { return one.first == key || one.first.starts_with(relationships); });
    return;
  }
  auto const part =
      world.package().hasPart(name)
          ? world.package().getPart(name)
          : world.package().createPart(name, ContentType(random.of(kTypes)),
                                       opc::model::StandardPartInfo(opc::model::CompressionType::Content));
  std::string const content = random.text();
  write(part.getOutputStream(), content);
  others[key] = toUTF8String(part.getContentType().toString()) + "\n" + content;
}

void changeRelationship(World& world, Random& random) {
  std::u16string const id = random.oneIn(2) ? u"own1" : u"own2";
  std::string const key = "relationship / " + toUTF8String(id);
  world.log("create or delete " + key);
  if (world.model().others.erase(key) > 0) return world.package().deleteRelationship(id);
  world.package().createInternalRelationship(u"urn:own", opc::model::URI(u"/other/a.xml"), id);
  world.model().others[key] = "urn:own /other/a.xml";
}

void save(World& world, Random&) {
  world.log("save");
  world.save();
}

void failToSave(World& world, Random&) {
  world.log("save where something is already");
  zt_test::writeFile(world.directory() / "taken", "taken");
  world.attempt(false, [&] { world.package().saveAs(world.directory().u16("taken")); });
}

void saveAndReopen(World& world, Random&) {
  world.log("save and open again");
  world.save();
  world.reopen();
}

void reopen(World& world, Random&) {
  world.log("open again without a save");
  world.reopen();
}

void damage(World& world, Random& random) {
  world.log("damage the saved package");
  world.startDamaged(random);
}

void extract(World& world, Random&) {
  world.log("extract");
  checkExtraction(world);
}

void beginAnew(World& world, Random& random) {
  world.log("begin anew");
  world.beginAnew(random);
}

void upgrade(World& world, Random& random) {
  world.log("upgrade a package of version 1");
  world.upgrade(random);
}

struct Operation {
  std::size_t weight;
  void (*run)(World&, Random&);
};

constexpr std::array kOperations{Operation{10, createFolder}, Operation{8, createLink},
                                 Operation{10, createFile},   Operation{10, addSource},
                                 Operation{4, addFileOfDisk}, Operation{3, addTree},
                                 Operation{14, remove},       Operation{8, moveEntry},
                                 Operation{10, rewrite},      Operation{3, failToWrite},
                                 Operation{2, failToAdd},     Operation{1, failToSave},
                                 Operation{4, setProperties}, Operation{4, setCipher},
                                 Operation{5, changePart},    Operation{3, changeRelationship},
                                 Operation{8, save},          Operation{6, saveAndReopen},
                                 Operation{3, reopen},        Operation{3, extract},
                                 Operation{2, damage},        Operation{1, beginAnew},
                                 Operation{1, upgrade}};

}  // namespace

void doSomething(World& world, Random& random) {
  std::size_t total = 0;
  for (Operation const& operation : kOperations) total += operation.weight;
  std::size_t left = random.below(total);
  auto chosen = kOperations.begin();
  for (; left >= chosen->weight; ++chosen) left -= chosen->weight;
  chosen->run(world, random);
}

}  // namespace zt_model
