// SPDX-License-Identifier: Apache-2.0
#include "Packages.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"

namespace zt_fuzz {
namespace {

using namespace opc::model;

/// What the step answers, or the message of the exception that is allowed to come instead.
template <typename Refusal, typename Step>
std::string answerOf(Step const& step) {
  try {
    return step();
  } catch (Refusal const& refusal) {
    return std::string("refused: ") + refusal.what();
  }
}

std::string typeOf(Part const& part) {
  return answerOf<InvalidContentType>([&] { return opc::toUTF8String(part.getContentType().toString()); });
}

std::string contentOf(Part const& part) {
  return answerOf<InvalidItem>([&] {
    Bytes const bytes = readAll(*part.getInputStream());
    require(bytes.size() == part.getSize(), "a part has as many bytes as it says");
    return textOf(bytes);
  });
}

void tellRelationships(RelationshipSource const& source, std::vector<std::string>& lines) {
  for (Relationship const& relationship : source.getRelationships()) {
    std::string const target =
        answerOf<InvalidURI>([&] { return opc::toASCIIString(relationship.getTargetURI().toString()); });
    lines.push_back(
        opc::toASCIIString(relationship.getID() + u" " + relationship.getType() + u" " + relationship.getTargetText()) +
        " " + target + (relationship.getMode() == TargetMode::External ? " external" : ""));
  }
}

void tellPart(Package const& package, PartName const& name, std::vector<std::string>& lines) {
  require(name.isValid(), "a part has a valid name");
  require(package.hasPart(name), "a part that is listed is there");
  std::u16string clashing;
  require(package.isPartDerivedFromExistingPartName(name, clashing), "a second part of a name is a clash");
  Part const part = package.getPart(name);
  lines.push_back(opc::toUTF8String(name.toString()) + " " + typeOf(part));
  if (name.isRelationshipsPart()) return;  // written anew from what it holds
  lines.push_back(contentOf(part));
  tellRelationships(part, lines);
}

}  // namespace

Bytes samplePackage() {
  return archiveOf(
      {{"[Content_Types].xml", contentTypes("<Override PartName=\"/b/c\" ContentType=\"text/plain;charset=utf-8\"/>")},
       {"_rels/.rels", relationships("<Relationship Id=\"rId1\" Type=\"urn:x\" Target=\"a.xml\"/>")},
       {"a.xml", "<a>aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa</a>"},
       {"b/c", "c"},
       {"b/_rels/c.rels", relationships("<Relationship Id=\"q\" Type=\"urn:y\" Target=\"../a.xml#x\"/>"
                                        "<Relationship Id=\"r\" Type=\"urn:z\" Target=\"http://example.org/\" "
                                        "TargetMode=\"External\"/>")},
       {"d.xml/[0].piece", "one"},
       {"d.xml/[1].last.piece", "two"},
       {"empty/", ""},
       {"untyped", "no part"}});
}

OpenOptions smallLimits() {
  OpenOptions options;
  options.maximumItems = 1'000;
  options.maximumTotalBytes = 4 << 20;
  options.maximumMarkupBytes = 1 << 20;
  return options;
}

std::unique_ptr<Package> openOrRefuse(Bytes const& bytes) {
  std::unique_ptr<Package> package;
  isAccepted<InvalidPackage>([&] { package = Package::openInMemory(bytes, AccessMode::ReadWrite, smallLimits()); });
  return package;
}

MemoryFile::MemoryFile(Bytes const& bytes) : descriptor_(memfd_create("package", MFD_CLOEXEC)) {
  if (descriptor_ < 0 || write(descriptor_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("no file in memory");
}

MemoryFile::~MemoryFile() { close(descriptor_); }

std::u16string MemoryFile::path() const { return opc::toString("/proc/self/fd/" + std::to_string(descriptor_)); }

void CollectedFaults::refuse(Fault const& fault) {
  require(!fault.message.empty(), "a fault says what it is");
  isRefused = true;
}

void CollectedFaults::tolerate(Fault const& fault) {
  require(!fault.message.empty(), "a fault says what it is");
  tolerated.insert(fault.code);
}

std::vector<std::string> everythingOf(Package const& package) {
  std::vector<std::string> lines;
  tellRelationships(package, lines);
  for (PartName const& name : package.getPartNames()) tellPart(package, name, lines);
  for (std::u16string const& item : package.getItemNames()) lines.push_back(opc::toASCIIString(item));
  return lines;
}

void requireKept(Package& package) {
  std::vector<std::string> const before = everythingOf(package);
  Bytes const saved = package.saveToBytes();
  auto const again = Package::openInMemory(saved, AccessMode::ReadOnly);
  require(everythingOf(*again) == before, "a package that was saved is the one that was opened");
  require(again->saveToBytes() == saved, "saving what was saved changes no byte");
}

}  // namespace zt_fuzz
