// SPDX-License-Identifier: Apache-2.0
#include "package/ModelSamples.hpp"

#include <cstddef>
#include <regex>

#include "container/Archive.hpp"
#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"

namespace opc::model::samples {

std::string relationship(std::string const& id, std::string const& target, std::string const& more) {
  return "<Relationship Id=\"" + id + "\" Type=\"urn:x\" Target=\"" + target + "\" " + more + "/>";
}

Bytes packageOf(std::vector<Item> items, std::string const& typeChildren) {
  items.insert(items.begin(), {"[Content_Types].xml", contentTypes(typeChildren)});
  return archiveOf(items);
}

std::unique_ptr<Package> open(Bytes const& bytes, AccessMode mode) { return Package::openInMemory(bytes, mode); }

Part create(Package& package, std::u16string const& name, std::string const& text, std::u16string const& type) {
  Part part = package.createPart(PartName(name), ContentType(type), StandardPartInfo(CompressionType::Markup));
  if (!text.empty()) write(part, text);
  return part;
}

void write(Part const& part, std::string const& text) {
  auto const output = part.getOutputStream();
  output->write(text.data(), text.size());
  output->close();
}

std::string read(Part const& part) { return zt_test::readAll(*part.getInputStream()); }

std::string read(Package const& package, std::u16string const& name) { return read(package.getPart(PartName(name))); }

std::string numberText(std::size_t size) {
  std::string text;
  for (std::size_t i = 0; text.size() < size; ++i) text += std::to_string(i * 7919 % 100'003) + ' ';
  text.resize(size);
  return text;
}

std::vector<std::string> snapshot(Package const& package) {
  std::vector<std::string> lines;
  for (PartName const& name : package.getPartNames()) {
    Part const part = package.getPart(name);
    lines.push_back(toUTF8String(name.toString()) + " " + toUTF8String(part.getContentType().toString()) + " " +
                    read(part));
  }
  return lines;
}

std::string withoutPosition(std::string const& message) {
  static std::regex const position("line [0-9]+, column [0-9]+: ");
  return std::regex_replace(message, position, "", std::regex_constants::format_first_only);
}

std::vector<Item> itemsOf(Bytes const& bytes) {
  auto const archive = zip::Archive::open(zip::makeMemoryBytes(bytes));
  std::vector<Item> items;
  for (std::size_t i = 0; i < archive->size(); ++i)
    items.push_back({std::string(archive->entry(i).name), zt_test::readAll(*archive->openContent(i))});
  return items;
}

}  // namespace opc::model::samples
