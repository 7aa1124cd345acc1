// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "container/Archive.hpp"
#include "container/ZipTestSupport.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/BoundedRun.hpp"
#include "support/TestSupport.hpp"
#include "xml/XmlStreamReader.hpp"

/// A small package of which a part is missing or changed, exhaustively: refused with a typed error, or read
/// as what it was; never anything else.
namespace opc::model {
namespace {

using samples::Bytes;

/// With an override, a default, parts deflated, stored and empty, relationships of package and part.
Bytes smallPackage() {
  return samples::packageOf({{"_rels/.rels", samples::relationships(samples::relationship("r1", "a.xml"))},
                             {"_rels/a.xml.rels", samples::relationships(samples::relationship("r2", "b.bin"))},
                             {"a.xml", std::string(200, 'a')},
                             {"b.bin", "beta"},
                             {"c.xml", ""}},
                            "<Override PartName='/b.bin' ContentType='x/y'/>");
}

void addRelationships(RelationshipSource const& source, std::vector<std::string>& lines) {
  for (auto const& r : source.getRelationships())
    lines.push_back(toUTF8String(r.getID() + u" " + r.getType() + u" " + r.getTargetText()));
}

/// Parts with types and bytes, relationships, and items that are no parts.
std::vector<std::string> linesOf(Package const& package) {
  auto lines = samples::snapshot(package);
  addRelationships(package, lines);
  for (auto const& name : package.getPartNames()) addRelationships(package.getPart(name), lines);
  for (auto const& name : package.getItemNames()) lines.push_back(toUTF8String(name));
  return lines;
}

/// Opening takes a fraction of its time while the XML parser stays loaded.
class DamagedPackage : public testing::Test {
  XmlStreamReader const keepsTheParser_;
};

/// What the package holds, or nothing where it or one of its parts is refused. Any other exception passes out.
std::vector<std::string> readOrRefused(Bytes const& bytes) {
  try {
    return linesOf(*samples::open(bytes, AccessMode::ReadOnly));
  } catch (InvalidPackage const&) {
  } catch (InvalidItem const&) {
  }
  return {};
}

/// All other values of a byte; under a sanitizer those of one other bit, and the two ends.
std::vector<unsigned char> otherValues(unsigned char byte) {
  std::vector<unsigned char> values;
  for (unsigned bit = 0; bit < 8; ++bit) values.push_back(static_cast<unsigned char>(byte ^ 1u << bit));
  values.insert(values.end(), {0x00, 0xFF});
  if (zt_test::kUnderAddressSanitizer) return values;
  values.clear();
  for (unsigned value = 0; value < 256; ++value)
    if (value != byte) values.push_back(static_cast<unsigned char>(value));
  return values;
}

/// Changes each byte of a range to each other value. Says whether some were harmless, too, so that a test
/// cannot pass by refusing everything.
bool expectRefusedOrTheSame(Bytes bytes, std::size_t begin, std::size_t end) {
  auto const original = readOrRefused(bytes);
  EXPECT_FALSE(original.empty());
  bool isSomeHarmless = false;
  for (std::size_t at = begin; at < end; ++at) {
    unsigned char const before = bytes[at];
    for (unsigned char const value : otherValues(before)) {
      bytes[at] = value;
      auto const found = readOrRefused(bytes);
      if (found.empty()) continue;
      if (value != before) isSomeHarmless = true;
      EXPECT_EQ(found, original) << "byte " << at << " as " << int{value};
    }
    bytes[at] = before;
  }
  return isSomeHarmless;
}

TEST_F(DamagedPackage, IsRefusedWhereverItIsCutOff) {
  Bytes const bytes = smallPackage();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_THROW(samples::open(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size))), InvalidPackage)
        << size;
}

TEST_F(DamagedPackage, IsRefusedWhereverItsBeginningIsMissing) {
  Bytes const bytes = smallPackage();
  for (std::size_t size = 1; size < bytes.size(); ++size)
    EXPECT_THROW(samples::open(Bytes(bytes.begin() + static_cast<std::ptrdiff_t>(size), bytes.end())), InvalidPackage)
        << size;
}

TEST_F(DamagedPackage, WithAnyByteOfItsDirectoryAndEndRecordChangedIsRefusedOrTheSame) {
  Bytes const bytes = smallPackage();
  auto const archive = zip::Archive::open(zip::makeMemoryBytes(bytes));
  auto const directory = static_cast<std::size_t>(archive->limitOf(archive->size() - 1));
  EXPECT_TRUE(expectRefusedOrTheSame(bytes, directory, bytes.size()));
}

TEST_F(DamagedPackage, WithAnyByteOfALocalHeaderChangedIsRefusedOrTheSame) {
  Bytes const bytes = smallPackage();
  auto const archive = zip::Archive::open(zip::makeMemoryBytes(bytes));
  for (std::size_t i = 0; i < archive->size(); ++i) {
    zip::Entry const item = archive->entry(i);
    auto const begin = static_cast<std::size_t>(item.localHeaderOffset);
    auto const end = static_cast<std::size_t>(archive->limitOf(i) - item.storedSize);
    EXPECT_TRUE(expectRefusedOrTheSame(bytes, begin, end));
  }
}

/// As a streaming writer makes it on Unix: descriptors, sizes in zip64 fields, and zip64 end records.
Bytes streamedPackage() {
  using namespace zt_test;
  RawArchive archive;
  std::string const types = samples::contentTypes();
  for (RawItem item : {deflatedItem("[Content_Types].xml", types), storedItem("a.xml", "alpha")}) {
    std::string const values = le(item.central.stored, 8) + le(item.central.size, 8);
    item = streamedItem(item, "PK\7\10" + le(item.central.crc, 4) + values);
    item.local.extra = le(1, 2) + le(16, 2) + std::string(16, '\0');
    item.local.stored = item.local.size = item.central.size = 0xFFFFFFFF;
    item.central.extra = le(1, 2) + le(8, 2) + values.substr(8);
    archive.items.push_back(item);
  }
  std::string const plain = archive.build();
  auto const number = [&](std::size_t fromEnd) { return plain.substr(plain.size() - fromEnd, 4) + le(0, 4); };
  archive.beforeEnd = "PK\6\6" + le(44, 8) + le(45, 2) + le(45, 2) + le(0, 8) + le(2, 8) + le(2, 8) + number(10) +
                      number(6) + "PK\6\7" + le(0, 4) + le(plain.size() - 22, 8) + le(1, 4);
  std::string bytes = archive.build();
  for (std::size_t at = bytes.find("PK\1\2"); at != std::string::npos; at = bytes.find("PK\1\2", at + 1))
    bytes[at + 5] = 3;
  return bytesOf(bytes);
}

TEST_F(DamagedPackage, FromAStreamingWriterWithAnyByteChangedIsRefusedOrTheSame) {
  Bytes const bytes = streamedPackage();
  EXPECT_TRUE(expectRefusedOrTheSame(bytes, 0, bytes.size()));
}

TEST_F(DamagedPackage, WithAnyBitOfItsContentChangedIsRefusedOrTheSame) {
  Bytes bytes = smallPackage();
  auto const original = readOrRefused(bytes);
  for (std::size_t at = 0; at < bytes.size() * 8; ++at) {
    bytes[at / 8] = static_cast<unsigned char>(bytes[at / 8] ^ 1u << at % 8);
    auto const found = readOrRefused(bytes);
    EXPECT_TRUE(found.empty() || found == original) << at;
    bytes[at / 8] = static_cast<unsigned char>(bytes[at / 8] ^ 1u << at % 8);
  }
}

TEST_F(DamagedPackage, ThatStillOpensCanBeSaved) {
  Bytes bytes = smallPackage();
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(byte ^ 0x41);
    try {
      EXPECT_FALSE(samples::open(bytes)->saveToBytes().empty());
    } catch (InvalidPackage const&) {
    } catch (InvalidItem const&) {
    }
    byte = static_cast<unsigned char>(byte ^ 0x41);
  }
}

}  // namespace
}  // namespace opc::model
