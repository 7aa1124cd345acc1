// SPDX-License-Identifier: Apache-2.0
// Parses markup that asks for files and servers, through every door that the library has, between two system
// calls that a tracer can see: access("/begin-of-parsing") and access("/end-of-parsing").
//
//   parse_hostile_markup PACKAGE...     (packages to be opened and read besides those made here)
//   parse_hostile_markup --careless     (opens a file and a socket there instead, to prove that it shows)
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "container/ArchiveWriter.hpp"
#include "container/ContentWriter.hpp"
#include "opc/Exception.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/PackageHelper.hpp"
#include "xml/XercesHelper.hpp"
#include "xml/XercesObjects.hpp"
#include "xml/XmlStreamReader.hpp"

namespace {
using namespace opc;
using namespace opc::model;
using Bytes = std::vector<unsigned char>;

constexpr char kTypes[] = "<Types xmlns='http://schemas.openxmlformats.org/package/2006/content-types'";
constexpr char kDefaults[] =
    "<Default Extension='rels' ContentType='application/vnd.openxmlformats-package.relationships+xml'/>"
    "<Default Extension='xml' ContentType='application/vnd.openxmlformats-package.core-properties+xml'/>";
constexpr char kRelationships[] = "<Relationships xmlns='http://schemas.openxmlformats.org/package/2006/relationships'";
constexpr char kCoreRelationship[] =
    "<Relationship Id='r' Target='core.xml' "
    "Type='http://schemas.openxmlformats.org/package/2006/relationships/metadata/core-properties'/>";
constexpr char kCore[] =
    "<coreProperties xmlns='http://schemas.openxmlformats.org/package/2006/metadata/core-properties'";

/// What a document may try: before its root element, among the root's attributes, and in the root.
struct Attempt {
  std::string before, attributes, inside;
};

std::vector<Attempt> const kAttempts{
    {"", "", ""},
    {"<!DOCTYPE r [<!ENTITY x SYSTEM 'file:///etc/passwd'>]>", "", "&x;"},
    {"<!DOCTYPE r [<!ENTITY % x SYSTEM 'http://127.0.0.1:9/x.dtd'> %x;]>", "", ""},
    {"<!DOCTYPE r SYSTEM 'file:///etc/passwd'>", "", ""},
    {"<!DOCTYPE r PUBLIC '-//x' 'http://127.0.0.1:9/x.dtd'>", "", ""},
    {"<?xml-stylesheet href='file:///etc/passwd' type='text/xsl'?>", "", ""},
    {"",
     " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='urn:x http://127.0.0.1:9/x.xsd "
     "http://schemas.openxmlformats.org/package/2006/relationships file:///etc/passwd'",
     ""},
    {"", " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:noNamespaceSchemaLocation='file:///etc/passwd'",
     ""},
    {"", " xml:base='file:///etc/'", ""},
    {"", "", "<xi:include xmlns:xi='http://www.w3.org/2001/XInclude' href='file:///etc/passwd'/>"},
};

std::string documentOf(Attempt const& attempt, std::string const& start, std::string const& end,
                       std::string const& content = {}) {
  return attempt.before + start + attempt.attributes + ">" + content + attempt.inside + end;
}

Bytes archiveOf(std::vector<std::pair<std::string, std::string>> const& items) {
  Bytes bytes;
  zip::MemorySink sink(bytes);
  zip::ArchiveWriter writer(sink);
  auto const spool = std::make_shared<zip::Spool>("");
  for (auto const& [name, text] : items) {
    zip::ContentWriter content(spool, zip::Effort::Default);
    content.write(text.data(), text.size());
    content.close();
    writer.add(name, content.content());
  }
  writer.finish();
  return bytes;
}

/// A sound package but for the attempt at one of its documents.
Bytes packageWith(Attempt const& attempt, int document) {
  auto const at = [&](int number) { return number == document ? attempt : Attempt(); };
  return archiveOf({{"[Content_Types].xml", documentOf(at(0), kTypes, "</Types>", kDefaults)},
                    {"_rels/.rels", documentOf(at(1), kRelationships, "</Relationships>", kCoreRelationship)},
                    {"core.xml", documentOf(at(2), kCore, "</coreProperties>")}});
}

/// How often something was refused, for the whole to be more than an exercise in refusing.
int refused = 0, accepted = 0;

template <typename Step>
void count(Step const& step) {
  try {
    step();
    ++accepted;
  } catch (Exception const&) {
    ++refused;
  }
}

void readPackage(Bytes const& bytes) {
  count([&] {
    auto const package = Package::openInMemory(bytes, AccessMode::ReadOnly);
    PackageHelper::getCoreProperties(*package);
    std::vector<char> buffer(4096);
    for (auto const& name : package->getPartNames()) {
      auto const input = package->getPart(name).getInputStream();
      while (!input->isEnd()) input->read(buffer.data(), buffer.size());
    }
  });
}

class Ignoring final : public XmlContentHandler {
 public:
  void startElement(std::u16string_view, std::u16string_view, XmlAttributes const&) override {}
};

void readDocument(std::string const& text) {
  Bytes const bytes(text.begin(), text.end());
  for (auto const locations : {XmlSchemaLocations::Ignore, XmlSchemaLocations::Refuse}) {
    count([&] {
      ByteArrayInAdaptor input(bytes);
      Ignoring handler;
      XmlStreamReader(nullptr, {}, locations).read(input, handler);
    });
    count([&] {
      XercesGuard const guard;
      ByteArrayInAdaptor input(bytes);
      auto* const parser = XercesHelper::createParser(locations);
      try {
        XercesHelper::readDocumentFromStream(parser, input, false, u"", u"")->release();
      } catch (...) {
        parser->release();
        throw;
      }
      parser->release();
    });
  }
}

void parseEverything(std::vector<Bytes> const& given) {
  for (Attempt const& attempt : kAttempts) {
    readDocument(documentOf(attempt, "<r", "</r>"));
    for (int document = 0; document < 3; ++document) readPackage(packageWith(attempt, document));
  }
  for (Bytes const& package : given) readPackage(package);
}

Bytes fileBytes(char const* path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Exception(std::string("cannot read ") + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

void beCareless() {
  std::ifstream("/etc/passwd").get();
  close(socket(AF_INET, SOCK_STREAM, 0));
}

void mark(char const* path) {
  if (access(path, F_OK) == 0) throw Exception(std::string("there really is a file ") + path);
}

}  // namespace

int main(int count, char** arguments) try {
  std::vector<std::string> const given(arguments + 1, arguments + count);
  bool const isCareless = !given.empty() && given.front() == "--careless";
  std::vector<Bytes> packages;
  for (int i = 1; i < count && !isCareless; ++i) packages.push_back(fileBytes(arguments[i]));
  parseEverything(packages);  // what is loaded once, for messages and the like, is loaded now
  refused = accepted = 0;
  mark("/begin-of-parsing");
  isCareless ? beCareless() : parseEverything(packages);
  mark("/end-of-parsing");
  std::printf("%d accepted, %d refused\n", accepted, refused);
} catch (std::exception const& error) {
  std::fprintf(stderr, "parse_hostile_markup: %s\n", error.what());
  return 1;
}
