// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "Packages.hpp"
#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "samples/BytesSource.hpp"
#include "services/tree/FileSystemManifest.hpp"

/// A manifest that is encrypted in its package: with the key it loads where the same text loads as it is, with the same
/// entries; with another key it does not load.
namespace zt_fuzz {
namespace {

using namespace opc::ztservices;
using opc::model::ContentType;
using opc::model::Package;

constexpr char kManifest[] = "metadata/filesystemManifest.xml";
constexpr char kType[] = "application/vnd.corvanta.package.filesystemManifest+xml";
constexpr char kMarks[] = ";encryption=AES256-GCM;iv=inline";
Bytes const kKey(32, 0x5A), kOtherKey(32, 0x5B);

class OneIV final : public IVGenerator {
 public:
  Bytes generate() override { return Bytes(16, 7); }
};

std::string encrypted(Bytes const& plain) {
  EncryptionWithInlineIVTransform transform(
      std::make_unique<samples::BytesSource>(plain, ContentType(opc::toString(std::string(kType)))),
      std::make_shared<CryptoEncryptor>(kKey), "AES256-GCM", std::make_shared<OneIV>());
  return textOf(readAll(transform.getInputStream()));
}

std::unique_ptr<Package> packageWith(std::string const& manifest, std::string const& type) {
  return openOrRefuse(
      archiveOf({{"[Content_Types].xml",
                  contentTypes("<Default Extension=\"txt\" ContentType=\"text/plain\"/><Override PartName=\"/" +
                               std::string(kManifest) + "\" ContentType=\"" + type + "\"/>")},
                 {"_rels/.rels", relationships("<Relationship Id=\"rId1\" Type=\"" +
                                               opc::toUTF8String(FileSystemManager::getRelationshipType()) +
                                               "\" Target=\"/" + kManifest + "\"/>")},
                 {"fsroot/a.txt", "content"},
                 {kManifest, manifest}}));
}

/// The message of a refusal stands for the entries.
std::vector<std::u16string> leavesOf(Package& package, Bytes const& key) {
  std::vector<std::u16string> lines;
  bool const isLoaded = isAccepted<opc::Exception>([&] {
    FileSystemManager manager(package);
    if (!key.empty()) manager.enableDecryption(key);
    for (FileSystemEntry const& entry : manager.getAllLeafs())
      lines.push_back(entry.getPathName() + u'\0' + entry.getContentName());
  });
  if (!isLoaded) lines = {u"refused"};
  return lines;
}

void run(Bytes const& input) {
  auto const plain = packageWith(textOf(input), kType);
  auto const sealed = packageWith(encrypted(input), std::string(kType) + kMarks);
  if (!plain || !sealed) return;
  Quiet const quiet;
  require(leavesOf(*sealed, kKey) == leavesOf(*plain, {}), "an encrypted manifest is read as a plain one");
  require(leavesOf(*sealed, kOtherKey) == std::vector<std::u16string>{u"refused"}, "another key opens nothing");
}

std::vector<Bytes> seeds() {
  FileSystemTree tree;
  boost::posix_time::ptime const time(boost::gregorian::date(2024, 2, 29));
  tree.setVersion(u"2.0");
  tree.addNode(makeFileNode(u"/a.txt", u"/fsroot/a.txt", opc::Perms::Perms_tag{0644}, time));
  tree.addNode(makeFolderNode(u"/empty", opc::Perms::Perms_tag{0755}, time));
  tree.addNode(makeLinkNode(u"/link", u"a.txt", kUnknownPermissions, time));
  Bytes manifest;
  opc::ByteArrayOutAdaptor output(manifest);
  FileSystemManifest().write(tree, output);
  return {manifest};
}

Registration const registration("encrypted_manifest", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
