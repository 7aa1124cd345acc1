// SPDX-License-Identifier: Apache-2.0
#include "samples/Archives.hpp"

#include <memory>

#include "container/ArchiveWriter.hpp"
#include "container/ContentWriter.hpp"

namespace opc::model::samples {

Bytes archiveOf(std::vector<Item> const& items) {
  Bytes bytes;
  zip::MemorySink sink(bytes);
  zip::ArchiveWriter writer(sink);
  auto const spool = std::make_shared<zip::Spool>("");
  for (Item const& item : items) {
    zip::ContentWriter content(spool, zip::Effort::Default);
    content.write(item.content.data(), item.content.size());
    content.close();
    writer.add(item.name, content.content());
  }
  writer.finish();
  return bytes;
}

std::string contentTypes(std::string const& children) {
  return "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
         "<Default Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
         "<Default Extension=\"xml\" ContentType=\"application/xml\"/>" +
         children + "</Types>";
}

std::string relationships(std::string const& children) {
  return "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">" + children +
         "</Relationships>";
}

}  // namespace opc::model::samples
