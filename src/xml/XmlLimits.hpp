// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace opc::model {

/// How much a document may ask for. Beyond a limit it is refused with InvalidXMLDocument before the
/// parser has had to hold more than the limit allows.
struct XmlLimits {
  std::size_t depth = 256;
  std::size_t attributeBytes = 1'048'576;  // one attribute value, in the document's bytes
  std::size_t attributesOfElement = 4096;
  std::uint64_t documentBytes = UINT64_MAX;
  /// One tag, comment, processing instruction or CDATA section: what a parser can only take whole.
  std::size_t markupBytes = 16'777'216;
};

/// The longest document of which a tree is made: one takes many times the document's bytes.
inline constexpr std::uint64_t kXmlDomDocumentBytes = 16'777'216;

/// What a document may say about schema locations (xsi:schemaLocation and its kind; never followed).
enum class XmlSchemaLocations { Ignore, Refuse };

}  // namespace opc::model
