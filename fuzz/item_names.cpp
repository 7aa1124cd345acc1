// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include "Packages.hpp"

/// Names of a container's items, one a line: parts, their pieces and relationships, and what is none of these. What
/// an item holds is its number.
namespace zt_fuzz {
namespace {

constexpr std::size_t kMaximumItems = 50;

std::vector<Item> itemsNamedBy(Bytes const& input) {
  std::vector<Item> items{{"[Content_Types].xml", contentTypes("<Override PartName=\"/a\" ContentType=\"x/y\"/>")}};
  std::istringstream lines(textOf(input));
  for (std::string name; items.size() <= kMaximumItems && std::getline(lines, name);) {
    bool const isRelationships = name.ends_with(".rels");
    items.push_back({name, isRelationships ? relationships("") : std::to_string(items.size())});
  }
  return items;
}

void run(Bytes const& input) {
  if (auto const package = openOrRefuse(archiveOf(itemsNamedBy(input)))) requireKept(*package);
}

std::vector<Bytes> seeds() {
  return {bytesOf("_rels/.rels\na\nb.xml\n_rels/b.xml.rels\nB/c.xml\nfolder/\nuntyped\nb%20c.xml\n[trash]/0000.dat"),
          bytesOf("a.xml/[0].piece\na.xml/[1].piece\na.xml/[2].last.piece\nc.xml/[0].last.piece\nd.xml/[1].piece"),
          bytesOf("a.xml\nA.XML"), bytesOf("a\na/b.xml"), bytesOf("_rels/a.rels/[0].last.piece\na")};
}

Registration const registration("item_names", run, seeds);

}  // namespace
}  // namespace zt_fuzz
