// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/ztservices/CipherData.hpp"
#include "package/OwnedPart.hpp"
#include "text/SchemaBaseURI.hpp"
#include "xml/XercesHelper.hpp"
#include "xml/XercesObjects.hpp"

/// How a package leads to its cipher data.
namespace opc::ztservices::cipher_data {

inline constexpr model::detail::OwnedPart kPart = {u"/metadata/ztCipherData.xml",
                                                   u"application/vnd.corvanta.package.cipherData+xml",
                                                   u"" ZT_SCHEMA_BASE_URI "/package/2018/relationships/cipherData"};

}  // namespace opc::ztservices::cipher_data

/// Everything that is said of cipher data.
namespace opc::ztservices::cipher_messages {

inline constexpr char kHashIsEmpty[] = "Input password hash is empty.";
inline constexpr char kSaltIsEmpty[] = "Input salt is empty.";
inline constexpr char kIVIsEmpty[] = "Input IV is empty.";

inline constexpr char kCouldNotCreate[] = "Unable to create cipher entry. ";
inline constexpr char kIsPresent[] =
    "Unable to create cipher entry. This is likely because the relationshipSelector is already present.";
inline constexpr char kNotFound[] = "No cipher data found for the given RelationshipSelector.";
inline constexpr char kIsChanged[] = "Another manager of the package has changed the same cipher entry.";
inline constexpr char kIsRepeated[] = "Cipher data in the package has multiple entries with the same values.";

// The name in the message of the value's attribute is what programs know and compare with.
inline constexpr char kNoSourceURI[] = "RelationshipSelector xml element missing SourceURI attribute.";
inline constexpr char kNoSelectorType[] = "RelationshipSelector xml element missing SelectorType attribute.";
inline constexpr char kNoValue[] = "RelationshipSelector xml element missing SelectorValue attribute.";

inline std::string elementFault(std::u16string const& name, char const* fault) {
  return "XML signature: " + toUDEString(name) + fault;
}
inline std::string elementNotPresent(std::u16string const& name) { return elementFault(name, " is not present."); }
inline std::string elementEmpty(std::u16string const& name) { return elementFault(name, " is empty."); }
inline std::string elementNotBase64(std::u16string const& name) { return elementFault(name, " is not base64."); }

}  // namespace opc::ztservices::cipher_messages

namespace opc::ztservices {

/// The XML of the cipher-data part. One thread at a time.
class CipherDataXml {
 public:
  /// Throws model::InvalidXMLSchema.
  CipherDataXml();

  /// The entries in document order, with repeated ones. Throws model::InvalidXMLDocument where the schema forbids the
  /// document, and model::InvalidPartContent where the schema allows it but an entry lacks a value.
  std::vector<CipherEntry> read(InputStream& input);

  /// Writes the entries, of which there is at least one. Throws model::InvalidXMLDocument for characters that XML 1.0
  /// cannot carry and for a document that read() would refuse as too long.
  std::vector<unsigned char> write(std::vector<CipherEntry> const& entries);

 private:
  model::XercesGuard guard_;  // outlives the members below
  model::XercesOwned<xercesc::DOMLSParser> parser_;
  model::XercesOwned<xercesc::DOMLSSerializer> writer_;
};

}  // namespace opc::ztservices
