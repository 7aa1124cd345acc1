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

  /// The entries in document order, repeated ones too. Throws model::InvalidXMLDocument for what the schema
  /// forbids, and model::InvalidPartContent for what it allows and an entry cannot do without.
  std::vector<CipherEntry> read(InputStream& input);

  /// At least one entry. Throws model::InvalidXMLDocument for characters that XML 1.0 cannot carry and for a
  /// document that read() would refuse as too long.
  std::vector<unsigned char> write(std::vector<CipherEntry> const& entries);

 private:
  model::XercesGuard guard_;  // outlives what follows
  model::XercesOwned<xercesc::DOMLSParser> parser_;
  model::XercesOwned<xercesc::DOMLSSerializer> writer_;
};

}  // namespace opc::ztservices
