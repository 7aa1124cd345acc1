// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace opc::model {

/// Limits of a document. A document beyond one is refused with InvalidXMLDocument before the parser holds more than the
/// limit allows.
struct XmlLimits {
  std::size_t depth = 256;
  std::size_t attributeBytes = 1'048'576;  // one attribute value, in the document's bytes
  std::size_t attributesOfElement = 4096;
  std::uint64_t documentBytes = UINT64_MAX;
  /// One tag, comment, processing instruction or CDATA section, which a parser holds as a whole.
  std::size_t markupBytes = 16'777'216;
};

/// The longest document that is read into a tree, which takes many times the document's bytes.
inline constexpr std::uint64_t kXmlDomDocumentBytes = 16'777'216;

/// Whether a document may name schema locations (xsi:schemaLocation and the like), which are never followed.
enum class XmlSchemaLocations { Ignore, Refuse };

}  // namespace opc::model
