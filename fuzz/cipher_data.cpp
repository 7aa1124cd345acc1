// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "crypto/CipherDataXml.hpp"
#include "opc/model/Exceptions.hpp"

/// The cipher-data part: what loads is saved, and loads again equal.
namespace zt_fuzz {
namespace {

using opc::ByteArrayInAdaptor;
using opc::ztservices::CipherDataXml;
using opc::ztservices::CipherEntry;
using namespace opc::model;

bool isSame(CipherEntry const& a, CipherEntry const& b) {
  return a.getRelationshipSelector() == b.getRelationshipSelector() && a.getHash() == b.getHash() &&
         a.getSalt() == b.getSalt() && a.getIV() == b.getIV();
}

void run(Bytes const& input) {
  static CipherDataXml xml;
  std::vector<CipherEntry> entries;
  ByteArrayInAdaptor document(input);
  if (!isAccepted<InvalidXMLDocument, InvalidPartContent>([&] { entries = xml.read(document); })) return;
  require(!entries.empty(), "cipher data has an entry");
  for (CipherEntry const& entry : entries)
    require(!entry.getHash().empty() && !entry.getSalt().empty() && !entry.getIV().empty(), "an entry is complete");
  Bytes const written = xml.write(entries);
  ByteArrayInAdaptor again(written);
  std::vector<CipherEntry> const kept = xml.read(again);
  require(std::equal(kept.begin(), kept.end(), entries.begin(), entries.end(), isSame), "cipher data is kept");
}

std::vector<Bytes> seeds() {
  CipherEntry const byType({URI(u"/"), RelationshipSelectorType::ByType, u"urn:<x>"}, {1, 2, 3}, u"salt \xE9",
                           {255, 0});
  CipherEntry const byId({URI(u"/a.xml"), RelationshipSelectorType::ByID, u"rId1"}, Bytes(32, 7), u"s", Bytes(16, 9));
  CipherDataXml xml;
  return {xml.write({byType}), xml.write({byType, byId})};
}

Registration const registration("cipher_data", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
