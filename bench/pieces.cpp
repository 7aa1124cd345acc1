// SPDX-License-Identifier: Apache-2.0
// What does each inner piece cost? Google Benchmark measures the manifest, part names, content types, relationships,
// the transforms, the tree and the opening of packages, each for several sizes.
//
//   bench_pieces [--benchmark_filter=REGEX] [--benchmark_format=json]
#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "crypto/CryptoAdapters.hpp"
#include "opc/Strings.hpp"
#include "opc/ztservices.hpp"
#include "package/RelationshipSet.hpp"
#include "services/tree/FileSystemManifest.hpp"
#include "services/tree/FileSystemTree.hpp"
#include "xml/XmlStreamReader.hpp"

namespace {

using namespace opc;
using namespace opc::ztservices;
using benchmark::State;
using Bytes = std::vector<unsigned char>;

constexpr int kFolder = 100;  // files in each folder

std::u16string pathOf(std::int64_t number) {
  std::string const folder = std::to_string(number / kFolder), file = std::to_string(number % kFolder);
  return toString("/folder" + folder + "/file" + file + ".txt", false);
}

FileSystemNode fileAt(std::int64_t number) {
  std::u16string const path = pathOf(number);
  return makeFileNode(path, u"/fsroot" + path, Perms(0644), boost::posix_time::ptime({2026, 1, 1}));
}

void fill(FileSystemTree& tree, std::int64_t count) {
  for (std::int64_t i = 0; i < count; ++i) tree.insertNode(fileAt(i));
}

Bytes manifestOf(std::int64_t count) {
  FileSystemTree tree;
  fill(tree, count);
  Bytes bytes;
  ByteArrayOutAdaptor output(bytes);
  FileSystemManifest().write(tree, output);
  output.close();
  return bytes;
}

void countItems(State& state) { state.SetItemsProcessed(state.iterations() * state.range(0)); }

void ManifestWrite(State& state) {
  FileSystemTree tree;
  fill(tree, state.range(0));
  while (state.KeepRunning()) {
    Bytes bytes;
    ByteArrayOutAdaptor output(bytes);
    FileSystemManifest().write(tree, output);
    benchmark::DoNotOptimize(bytes.data());
  }
  countItems(state);
}
BENCHMARK(ManifestWrite)->Range(100, 100'000);

void readRepeatedly(State& state, Bytes const& bytes) {
  while (state.KeepRunning()) {
    ByteArrayInAdaptor input(bytes);
    FileSystemTree tree;
    FileSystemManifest().read(input, tree);
    benchmark::DoNotOptimize(&tree);
  }
  countItems(state);
}

void ManifestRead(State& state) { readRepeatedly(state, manifestOf(state.range(0))); }
BENCHMARK(ManifestRead)->Range(100, 100'000);

/// As another program may lay it out: through the XML parser.
void ManifestReadByXerces(State& state) {
  Bytes bytes = manifestOf(state.range(0));
  std::string const comment = "<!-- by hand -->";
  bytes.insert(bytes.end(), comment.begin(), comment.end());
  readRepeatedly(state, bytes);
}
BENCHMARK(ManifestReadByXerces)->Range(100, 10'000);

void TreeInsert(State& state) {
  while (state.KeepRunning()) {
    FileSystemTree tree;
    fill(tree, state.range(0));
    benchmark::DoNotOptimize(&tree);
  }
  countItems(state);
}
BENCHMARK(TreeInsert)->Range(100, 100'000);

void TreeFind(State& state) {
  FileSystemTree tree;
  fill(tree, state.range(0));
  std::int64_t next = 0;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(tree.hasNode(pathOf(next)));
    next = (next + 7919) % state.range(0);
  }
}
BENCHMARK(TreeFind)->Range(100, 100'000);

void TreeMove(State& state) {
  FileSystemTree tree;
  fill(tree, state.range(0));
  bool isAway = false;
  while (state.KeepRunning()) {
    tree.moveSubtree(isAway ? u"/away" : u"/folder0", isAway ? u"/folder0" : u"/away");
    isAway = !isAway;
  }
}
BENCHMARK(TreeMove)->Range(100, 100'000);

/// Names of parts, their content types, and the types document: all that one part costs but its content.
void CreateParts(State& state) {
  while (state.KeepRunning()) {
    auto const package = model::Package::createInMemory();
    for (std::int64_t i = 0; i < state.range(0); ++i)
      package->createPart(model::PartName(pathOf(i)), model::ContentType(u"text/plain"));
    benchmark::DoNotOptimize(package->getPartNames().size());
  }
  countItems(state);
}
BENCHMARK(CreateParts)->Range(100, 10'000);

void MakeUniquePartName(State& state) {
  auto const package = model::Package::createInMemory();
  FileSystemManager manager(*package);
  for (std::int64_t i = 0; i < state.range(0); ++i) manager.addFile(Bytes{'x'}, pathOf(i));
  std::int64_t next = 0;
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(manager.makeUniquePartName(pathOf(next)));  // which is taken
    next = (next + 7919) % state.range(0);
  }
}
BENCHMARK(MakeUniquePartName)->Range(100, 10'000);

Bytes packageOf(std::int64_t count, bool hasManyTypes) {
  auto const package = model::Package::createInMemory();
  for (std::int64_t i = 0; i < count; ++i) {
    std::u16string const type = hasManyTypes ? toString("text/x" + std::to_string(i), false) : u"text/plain";
    auto const part = package->createPart(model::PartName(pathOf(i)), model::ContentType(type));
    auto const output = part.getOutputStream();
    output->write("x", 1);
    output->close();
  }
  return package->saveToBytes();
}

void Open(State& state) {
  Bytes const bytes = packageOf(state.range(0), false);
  while (state.KeepRunning())
    benchmark::DoNotOptimize(model::Package::openInMemory(bytes, model::AccessMode::ReadOnly).get());
  countItems(state);
}
BENCHMARK(Open)->Range(10, 10'000);

/// Each part has an override in the content types.
void OpenWithManyContentTypes(State& state) {
  Bytes const bytes = packageOf(state.range(0), true);
  while (state.KeepRunning())
    benchmark::DoNotOptimize(model::Package::openInMemory(bytes, model::AccessMode::ReadOnly).get());
  countItems(state);
}
BENCHMARK(OpenWithManyContentTypes)->Range(10, 10'000);

Bytes relationshipsOf(std::int64_t count) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Relationships "
      "xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">";
  for (std::int64_t i = 0; i < count; ++i)
    text += "<Relationship Id=\"r" + std::to_string(i) + "\" Type=\"http://example.com/type\" Target=\"part" +
            std::to_string(i) + ".xml\"/>";
  text += "</Relationships>";
  return Bytes(text.begin(), text.end());
}

void RelationshipsRead(State& state) {
  Bytes const bytes = relationshipsOf(state.range(0));
  model::XmlStreamReader reader;
  while (state.KeepRunning()) {
    ByteArrayInAdaptor input(bytes);
    model::detail::TextPool texts;
    model::detail::RelationshipCount count{UINT64_MAX};
    model::detail::RelationshipSet relationships;
    readRelationships(reader, input, "", texts, count, relationships);
    benchmark::DoNotOptimize(relationships.empty());
  }
  countItems(state);
}
BENCHMARK(RelationshipsRead)->Range(10, 10'000);

void RelationshipsWrite(State& state) {
  Bytes const bytes = relationshipsOf(state.range(0));
  model::XmlStreamReader reader;
  ByteArrayInAdaptor input(bytes);
  model::detail::TextPool texts;
  model::detail::RelationshipCount count{UINT64_MAX};
  model::detail::RelationshipSet relationships;
  readRelationships(reader, input, "", texts, count, relationships);
  while (state.KeepRunning()) {
    Bytes written;
    ByteArrayOutAdaptor output(written);
    writeRelationships(relationships, output);
    benchmark::DoNotOptimize(written.data());
  }
  countItems(state);
}
BENCHMARK(RelationshipsWrite)->Range(10, 10'000);

void GcmEncrypt(State& state) {
  CryptoEncryptor encryptor(Bytes(32, 7));
  encryptor.initialize("AES256-GCM", Bytes(16, 9));
  Bytes const content(static_cast<std::size_t>(state.range(0)), 'x');
  while (state.KeepRunning()) benchmark::DoNotOptimize(encryptor.encrypt(content).data());
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(GcmEncrypt)->Range(100, 1 << 20);

class TextSource final : public IContentSource {
 public:
  explicit TextSource(Bytes const& bytes) : stream_(bytes) {}
  model::ContentType getContentType() override { return getTextContentType(); }
  InputStream& getInputStream() override { return stream_; }

 private:
  ByteArrayInAdaptor stream_;
};

void TextToUTF8(State& state) {
  Bytes text;
  std::string const line =
      "Gr\xfc\xdf"
      "e aus der Stra\xdf"
      "e, in einem Zeichensatz von fr\xfcher.\n";
  while (text.size() < static_cast<std::size_t>(state.range(0))) text.insert(text.end(), line.begin(), line.end());
  Bytes buffer(65'536);
  while (state.KeepRunning()) {
    UDEToUTF8Transform transform(std::make_unique<TextSource>(text));
    InputStream& stream = transform.getInputStream();
    while (!stream.isEnd()) benchmark::DoNotOptimize(stream.read(buffer.data(), buffer.size()));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(TextToUTF8)->Range(1'000, 1 << 20);

}  // namespace

BENCHMARK_MAIN();
