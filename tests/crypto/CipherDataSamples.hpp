// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "support/TestSupport.hpp"

/// Packages with cipher data, and what is in them.
namespace opc::ztservices::samples {

using model::Package;
using model::PartName;
using model::RelationshipSelector;
using model::RelationshipSelectorType;
using Bytes = std::vector<unsigned char>;

inline constexpr char16_t kPart[] = u"/metadata/ztCipherData.xml";
inline constexpr char16_t kPartType[] = u"application/vnd.corvanta.package.cipherData+xml";
inline constexpr char16_t kRelationshipType[] =
    u"http://schemas.corvanta.example/package/2018/relationships/cipherData";

inline RelationshipSelector byType(std::u16string const& criteria = u"http://example.org/type") {
  return {model::URI(u"/"), RelationshipSelectorType::ByType, criteria};
}
inline RelationshipSelector byID(std::u16string const& criteria = u"rId1", char16_t const* source = u"/") {
  return {model::URI(source), RelationshipSelectorType::ByID, criteria};
}

inline Bytes const kHash = {1, 2, 3};
inline std::u16string const kSalt = u"some salt";
inline Bytes const kIV = {0xFF, 0, 0x7F, 0x80};

/// A document with these entries.
inline std::string cipherData(std::string const& entries) {
  return "<CipherData xmlns='http://schemas.corvanta.example/package/2018/cipherData'>" + entries + "</CipherData>";
}
inline std::string const kSelectorXml = "<RelationshipSelector SourceURI='/' SelectorType='ByID' Value='rId1'/>";
inline std::string const kTextsXml = "<Hash>AQID</Hash><Salt>some salt</Salt><IV>/wB/gA==</IV>";
inline std::string entryXml(std::string const& children = kSelectorXml + kTextsXml) {
  return "<CipherEntry>" + children + "</CipherEntry>";
}

void writePart(model::Part const& part, std::string const& content);
model::Part addPart(Package& package, std::u16string const& name, std::string const& content,
                    char16_t const* type = u"application/xml");
/// A package that has this document for its cipher data.
std::unique_ptr<Package> packageWith(std::string const& document, std::u16string const& name = kPart);
std::unique_ptr<Package> reopen(Package& package);
std::string documentOf(Package const& package, std::u16string const& name = kPart);
/// Loads cipher data from this document.
void load(std::string const& document);

void expectEntry(CipherEntry const& entry, RelationshipSelector const& selector, Bytes const& hash = kHash,
                 std::u16string const& salt = kSalt, Bytes const& iv = kIV);

}  // namespace opc::ztservices::samples
