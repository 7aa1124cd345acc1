// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <memory>
#include <string>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "Packages.hpp"
#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/FileSystemManifest.hpp"

/// A manifest of version 1, whose links are parts: what loads is converted, saved, and loads again with the same
/// entries.
namespace zt_fuzz {
namespace {

using namespace opc::ztservices;
using opc::model::Package;

std::string nameOf(opc::model::URI const& part) { return opc::toUTF8String(part.toString()); }

std::unique_ptr<Package> packageWith(std::string const& manifest) {
  std::string const part = nameOf(FileSystemManager::getPartURIV1());
  return openOrRefuse(
      archiveOf({{"[Content_Types].xml",
                  contentTypes("<Default Extension=\"txt\" ContentType=\"text/plain\"/><Override PartName=\"" + part +
                               "\" ContentType=\"" +
                               opc::toUTF8String(FileSystemManager::getPartContentTypeV1().toString()) + "\"/>")},
                 {"_rels/.rels", relationships("<Relationship Id=\"rId1\" Type=\"" +
                                               opc::toUTF8String(FileSystemManager::getRelationshipTypeV1()) +
                                               "\" Target=\"" + part + "\"/>")},
                 {"fsroot/a.txt", "content"},
                 {"fsroot/link.txt", "a.txt"},
                 {part.substr(1), manifest}}));
}

std::vector<std::u16string> leavesOf(FileSystemManager const& manager) {
  std::vector<std::u16string> lines;
  for (FileSystemEntry const& entry : manager.getAllLeafs()) lines.push_back(entry.getPathName());
  return lines;
}

void run(Bytes const& input) {
  auto const package = packageWith(textOf(input));
  if (!package) return;
  FileSystemManager manager(*package);
  std::vector<std::u16string> leaves;
  if (!isAccepted<opc::Exception>([&] { leaves = leavesOf(manager); })) return;
  Bytes saved;
  if (!isAccepted<opc::Exception>([&] { saved = package->saveToBytes(); })) return;
  auto const again = Package::openInMemory(saved, opc::model::AccessMode::ReadWrite);
  require(leavesOf(FileSystemManager(*again)) == leaves, "what was converted has the same entries");
}

std::vector<Bytes> seeds() {
  FileSystemTree tree;
  boost::posix_time::ptime const time(boost::gregorian::date(2024, 2, 29));
  tree.addNode(makeFileNode(u"/a.txt", u"/fsroot/a.txt", opc::Perms::Perms_tag{0644}, time));
  tree.addNode(makeFolderNode(u"/empty", opc::Perms::Perms_tag{0755}, time));
  tree.addNode(makeLinkNode(u"/link", u"/fsroot/link.txt", opc::Perms::Perms_tag{0777}, time));
  Bytes manifest;
  opc::ByteArrayOutAdaptor output(manifest);
  FileSystemManifest().writeV1(tree, output);
  return {manifest};
}

Registration const registration("version1", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
