// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <string>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ModelSamples.hpp"
#include "support/TestSupport.hpp"

/// Each limit of OpenOptions: what reaches it opens, what is one beyond it does not.
namespace opc::model {
namespace {

using samples::Bytes;
using samples::packageOf;

void expectOpens(Bytes const& bytes, OpenOptions const& options) {
  EXPECT_NO_THROW(Package::openInMemory(bytes, AccessMode::ReadOnly, options));
}

void expectRefused(Bytes const& bytes, OpenOptions const& options, std::string const& fault) {
  EXPECT_THROW_MESSAGE(Package::openInMemory(bytes, AccessMode::ReadOnly, options), InvalidPackage,
                       "Invalid package: " + fault);
}

std::string withRelationships(int count, std::string const& target = "a.xml") {
  std::string children;
  for (int i = 0; i < count; ++i) children += samples::relationship("r" + std::to_string(i), target);
  return samples::relationships(children);
}

TEST(OpenLimits, OfItems) {
  auto const bytes = packageOf({{"a.xml", ""}, {"b.xml", ""}});
  OpenOptions options;
  options.maximumItems = 3;
  expectOpens(bytes, options);
  options.maximumItems = 2;
  expectRefused(bytes, options, "Damaged ZIP archive: it has more than 2 items");
}

TEST(OpenLimits, OfTheBytesOfAllItems) {
  auto const bytes = packageOf({{"a.xml", std::string(1000, 'a')}, {"no part", std::string(500, 'b')}});
  OpenOptions options;
  options.maximumTotalBytes = samples::contentTypes().size() + 1500;
  expectOpens(bytes, options);
  --options.maximumTotalBytes;
  expectRefused(bytes, options,
                "no part: the items up to this one are larger than " + std::to_string(options.maximumTotalBytes) +
                    " bytes together");
}

TEST(OpenLimits, OfTheContentTypes) {
  OpenOptions options;
  options.maximumMarkupBytes = samples::contentTypes().size();
  expectOpens(packageOf({}), options);
  --options.maximumMarkupBytes;
  expectRefused(packageOf({}), options,
                "[Content_Types].xml: content types and relationships are larger than " +
                    std::to_string(options.maximumMarkupBytes) + " bytes together");
}

TEST(OpenLimits, OfDefaultsAndOverrides) {
  auto const bytes = packageOf({}, R"(<Override PartName="/a" ContentType="a/b"/>)");
  OpenOptions options;
  options.maximumContentTypes = 3;  // two are defaults
  expectOpens(bytes, options);
  options.maximumContentTypes = 2;
  expectRefused(bytes, options, "[Content_Types].xml: line 1, column 274: The package has more than 2 content types");
}

TEST(OpenLimits, OfTheMarkupOfAllRelationshipsParts) {
  auto const bytes = packageOf({{"_rels/.rels", withRelationships(1)}, {"_rels/a.xml.rels", withRelationships(2)}});
  OpenOptions options;
  options.maximumMarkupBytes =
      samples::contentTypes().size() + withRelationships(1).size() + withRelationships(2).size();
  expectOpens(bytes, options);
  --options.maximumMarkupBytes;
  expectRefused(bytes, options,
                "/_rels/a.xml.rels: content types and relationships are larger than " +
                    std::to_string(options.maximumMarkupBytes) + " bytes together");
}

TEST(OpenLimits, OfRelationshipsOfAllSources) {
  auto const bytes = packageOf({{"_rels/.rels", withRelationships(2)}, {"_rels/a.xml.rels", withRelationships(3)}});
  OpenOptions options;
  options.maximumRelationships = 5;
  expectOpens(bytes, options);
  options.maximumRelationships = 4;
  expectRefused(bytes, options, "/_rels/a.xml.rels: line 1, column 241: The package has more than 4 relationships");
  options.maximumRelationships = 0;
  expectRefused(bytes, options, "/_rels/.rels: line 1, column 137: The package has more than 0 relationships");
}

TEST(OpenLimits, OfXmlDepth) {
  OpenOptions options;
  options.maximumXmlDepth = 2;
  expectOpens(packageOf({}), options);
  options.maximumXmlDepth = 1;
  expectRefused(packageOf({}), options,
                "[Content_Types].xml: line 1, column 175: Elements are nested more than 1 deep");
}

TEST(OpenLimits, OfXmlAttributes) {
  auto const bytes = packageOf({{"_rels/.rels", withRelationships(1, std::string(100, 'x'))}});
  OpenOptions options;
  options.maximumXmlAttributeBytes = 100;
  expectOpens(bytes, options);
  options.maximumXmlAttributeBytes = 99;
  expectRefused(bytes, options, "/_rels/.rels: line 1, column 228: An attribute is longer than 99 bytes");
}

TEST(OpenLimits, StopAMillionNestedElements) {
  std::string deep;
  for (int i = 0; i < 1'000'000; ++i) deep += "<a>";
  expectRefused(packageOf({{"_rels/.rels", samples::relationships(deep)}}), {},
                "/_rels/.rels: line 1, column 853: Elements are nested more than 256 deep");
}

}  // namespace
}  // namespace opc::model
