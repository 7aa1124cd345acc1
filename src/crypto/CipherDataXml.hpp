// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "opc/ztservices/CipherData.hpp"
#include "xml/XercesHelper.hpp"
#include "xml/XercesObjects.hpp"

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
