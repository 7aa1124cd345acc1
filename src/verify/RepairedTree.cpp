// SPDX-License-Identifier: Apache-2.0
#include "verify/RepairedTree.hpp"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstddef>
#include <string_view>
#include <utility>

#include "opc/Exception.hpp"
#include "opc/SafePaths.hpp"
#include "opc/Strings.hpp"
#include "opc/model/URI.hpp"
#include "opc/model/XmlExceptions.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/PathRules.hpp"
#include "xml/XmlStreamReader.hpp"

namespace opc::ztservices {
namespace {

constexpr std::u16string_view kContentFolder = u"/fsroot";
constexpr std::u16string_view kLostAndFound = u"/lost+found";

/// Reads entries and skips those that break the rules.
class LenientManifest final : public model::XmlContentHandler {
 public:
  LenientManifest(FileSystemTree& tree, UsualNames const& leftOut) : reader_(tree, leftOut) {}

  void startElement(std::u16string_view namespaceURI, std::u16string_view localName,
                    model::XmlAttributes const& attributes) override {
    try {
      reader_.startElement(namespaceURI, localName, attributes);
    } catch (Exception const&) {
      isWhole_ = false;
    }
  }
  void characters(std::u16string_view text) override { reader_.characters(text); }
  void endElement(std::u16string_view namespaceURI, std::u16string_view localName) override {
    reader_.endElement(namespaceURI, localName);
  }
  bool isWhole() const { return isWhole_; }

 private:
  ManifestReader reader_;
  bool isWhole_ = true;
};

/// Whether the path leads to the contents by the rule for part names; a damaged path does not.
bool isUsualPart(std::u16string const& path, std::u16string const& part) {
  try {
    return part == std::u16string(kContentFolder) + model::URI::encodeComponent(path, "/+@");
  } catch (Exception const&) {
    return false;
  }
}

/// The text with its percent-encoded bytes decoded.
std::u16string decoded(std::u16string const& part) {
  std::string const text = toUTF8String(part);
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const isEncoded = text[i] == '%' && i + 2 < text.size();
    int const high = isEncoded ? hexValue(static_cast<unsigned char>(text[i + 1])) : -1;
    int const low = isEncoded ? hexValue(static_cast<unsigned char>(text[i + 2])) : -1;
    if (high >= 0 && low >= 0) i += 2;
    bytes += high >= 0 && low >= 0 ? static_cast<char>(high << 4 | low) : text[i];
  }
  return toString(bytes);
}

/// Where contents without an entry go: below the folder, by the path that their part name stands for.
std::u16string placeOf(std::u16string const& part) {
  std::u16string plain = std::u16string(kLostAndFound) + part.substr(kContentFolder.size());
  try {
    std::u16string path = decoded(plain);
    throwIfNotCarriable(path);
    return findPathFault(path) == PathFault::None ? path : plain;
  } catch (Exception const&) {
    return plain;
  }
}

}  // namespace

bool RepairedTree::read(InputStream& manifest, UsualNames const& leftOut) {
  model::XmlStreamReader reader(manifestGrammars());
  LenientManifest handler(read_, leftOut);
  try {
    reader.read(manifest, handler);
    return handler.isWhole();
  } catch (model::InvalidXMLDocument const& fault) {
    if (fault.getErrorCode()) throw;
    return false;
  }
}

bool RepairedTree::isVersion1() const { return read_.getVersion() == manifest::kVersion1; }

bool RepairedTree::isKept(FileSystemNode const& node, EntryTrust trust, SavedParts const& saved) {
  if (node.type != FileSystemNodeType::File) return trust == EntryTrust::All;
  if (!saved.all.contains(node.content)) return false;
  return trust == EntryTrust::All || isUsualPart(node.fullPath(), node.content);
}

void RepairedTree::settle(EntryTrust trust, SavedParts const& saved, RepairReport& report) {
  std::set<std::u16string> named;
  read_.forEachListed([&](FileSystemNode const& read) {
    FileSystemNode node = read;
    if (!isKept(node, trust, saved)) {
      report.lostEntries.push_back(node.fullPath());
      hasChanged_ = true;
      return;
    }
    if (node.type == FileSystemNodeType::File) named.insert(node.content);
    if (trust == EntryTrust::Files) {
      node.permissions.reset();
      node.lastModified.reset();
    }
    kept_.insertNode(node);
  });
  kept_.setPlatform(read_.getPlatform());
  kept_.setEncoding(read_.getEncoding());
  kept_.setVersion(manifest::kCurrentVersion);
  for (std::u16string const& part : saved.all)
    if (part.starts_with(std::u16string(kContentFolder) + u"/") && !named.contains(part) &&
        !saved.targets.contains(part))
      addFound(part, saved.compressed.contains(part), report);
}

/// Numbers tell apart paths that part names stand for twice.
void RepairedTree::addFound(std::u16string const& part, bool isCompressed, RepairReport& report) {
  std::u16string const place = placeOf(part);
  std::u16string path = place;
  for (std::size_t number = 1; kept_.hasNode(path) || !kept_.hasOnlyFoldersAbove(path); ++number)
    path = std::u16string(kLostAndFound) + u"-" + toString(std::to_string(number)) + place.substr(kLostAndFound.size());
  FileSystemNode node = makeFileNode(path, part, kUnknownPermissions, {});
  if (isCompressed) node.deflatedFrom = kUnknownSize;
  kept_.insertNode(node);
  report.found.push_back({part, path});
  hasChanged_ = true;
}

void RepairedTree::write(OutputStream& output) const { writeManifest(kept_, ManifestVersion::Current, output); }

}  // namespace opc::ztservices
