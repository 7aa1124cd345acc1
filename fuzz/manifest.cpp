// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "text/SchemaBaseURI.hpp"

/// The manifest of a file system, in both versions: what loads is saved, and loads again equal.
namespace zt_fuzz {
namespace {

using opc::ByteArrayInAdaptor;
using opc::ByteArrayOutAdaptor;
using namespace opc::ztservices;

enum class Contents { Compared, LeftOut };

std::vector<std::u16string> linesOf(FileSystemTree const& tree, Contents contents = Contents::Compared) {
  std::vector<std::u16string> lines{tree.getPlatform(), tree.getEncoding()};
  tree.forEachListed([&](FileSystemNode const& node) {
    std::u16string line = node.fullPath() + u'\0' + static_cast<char16_t>(node.type);
    if (contents == Contents::Compared) line += node.content + u'\0';
    if (node.permissions) line += static_cast<char16_t>(*node.permissions);
    if (node.lastModified) line += opc::convertTimeToString(*node.lastModified);
    lines.push_back(line);
  });
  return lines;
}

FileSystemManifest& codec() {
  static FileSystemManifest manifest;
  return manifest;
}

bool hasRelativePath(FileSystemTree const& tree) {
  bool hasOne = false;
  tree.forEachListed([&](FileSystemNode const& node) { hasOne = hasOne || !node.fullPath().starts_with(u'/'); });
  return hasOne;
}

void requireKept(FileSystemTree const& tree) {
  Bytes written;
  ByteArrayOutAdaptor output(written);
  codec().write(tree, output);
  FileSystemTree again;
  ByteArrayInAdaptor input(written);
  codec().read(input, again);
  require(linesOf(again) == linesOf(tree), "a file system is kept");
}

/// Version 1 has absolute paths alone, and URIs for contents, which lose white space.
void requireKeptInVersion1(FileSystemTree const& tree) {
  Bytes written;
  ByteArrayOutAdaptor output(written);
  codec().writeV1(tree, output);
  FileSystemTree again;
  ByteArrayInAdaptor input(written);
  try {
    codec().read(input, again);
  } catch (opc::Exception const& fault) {
    require(std::string_view(fault.what()).ends_with("anyURI") || hasRelativePath(tree), "version 1 is read back");
    return;
  }
  require(linesOf(again, Contents::LeftOut) == linesOf(tree, Contents::LeftOut) || hasRelativePath(tree),
          "version 1 keeps a file system");
}

void run(Bytes const& input) {
  FileSystemTree tree;
  ByteArrayInAdaptor document(input);
  if (!isAccepted<opc::Exception>([&] { codec().read(document, tree); })) return;
  if (tree.getVersion() == manifest::kVersion1) tree.setVersion(manifest::kCurrentVersion);  // as saving does
  requireKept(tree);
  requireKeptInVersion1(tree);
}

std::vector<Bytes> seeds() {
  FileSystemTree tree;
  boost::posix_time::ptime const time(boost::gregorian::date(2024, 2, 29), boost::posix_time::microseconds(1'000'789));
  tree.setVersion(u"2.0");
  tree.setPlatform(u"glnxa64");
  tree.setEncoding(u"UTF-8");
  tree.addNode(makeFileNode(u"/a/b.txt", u"/fsroot/a/b.txt", opc::Perms::Perms_tag{0644}, time));
  tree.addNode(makeFileNode(u"/bare", u"/fsroot/bare", kUnknownPermissions, boost::posix_time::not_a_date_time));
  tree.addNode(makeFolderNode(u"/empty", opc::Perms::Perms_tag{0755}, time));
  tree.addNode(makeLinkNode(u"/link <\xE9>", u"a/b.txt", kUnknownPermissions, time));
  Bytes current, version1;
  ByteArrayOutAdaptor toCurrent(current), toVersion1(version1);
  codec().write(tree, toCurrent);
  codec().writeV1(tree, toVersion1);
  return {current, version1};
}

Registration const registration("manifest", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
