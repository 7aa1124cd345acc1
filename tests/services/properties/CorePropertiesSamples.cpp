// SPDX-License-Identifier: Apache-2.0
#include "services/properties/CorePropertiesSamples.hpp"

#include "opc/Strings.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices::samples {

using model::ContentType;
using model::PartName;

CoreProperties record(std::u16string const& release) {
  return CoreProperties(u"application/vnd.corvanta.talbex.toolbox", u"My Toolbox", release);
}

std::string vendorXml(std::string const& children) {
  return "<ztcoreProperties xmlns='http://schemas.corvanta.example/package/2012/coreProperties'>" + children +
         "</ztcoreProperties>";
}

std::string vendorXml(std::string const& contentType, std::string const& friendlyName, std::string const& release) {
  return vendorXml("<contentType>" + contentType + "</contentType><contentTypeFriendlyName>" + friendlyName +
                   "</contentTypeFriendlyName><talbexRelease>" + release + "</talbexRelease>");
}

std::string extensionXml(std::string const& children) {
  return "<ztcoreProperties xmlns='http://schemas.corvanta.example/package/2014/corePropertiesExtension'>" + children +
         "</ztcoreProperties>";
}

void addPart(model::Package& package, std::string const& name, std::string const& content) {
  auto const part = package.createPart(PartName(toString(name)), ContentType(u"application/xml"),
                                       model::StandardPartInfo(model::CompressionType::Markup));
  auto const output = part.getOutputStream();
  output->write(content.data(), content.size());
  output->close();
}

void addPart(model::Package& package, std::string const& name, std::string const& content,
             std::string const& relationshipType) {
  addPart(package, name, content);
  package.createInternalRelationship(toString(relationshipType), model::URI(toString(name)));
}

std::string read(model::Package const& package, std::string const& name) {
  return zt_test::readAll(*package.getPart(PartName(toString(name))).getInputStream());
}

std::vector<std::string> snapshot(model::Package const& package) {
  std::vector<std::string> lines;
  for (auto const& name : package.getPartNames()) {
    if (name.isRelationshipsPart()) continue;
    auto const part = package.getPart(name);
    lines.push_back(toUTF8String(name.toString()) + " " + toUTF8String(part.getContentType().toString()) + " " +
                    zt_test::readAll(*part.getInputStream()));
  }
  return lines;
}

std::unique_ptr<model::Package> reopen(model::Package& package, model::AccessMode mode) {
  return model::Package::openInMemory(package.saveToBytes(), mode);
}

void save(model::Package& package, CoreProperties const& properties) {
  CorePropertiesManager manager(package);
  manager.setCoreProperties(properties);
  package.save();
}

CoreProperties load(model::Package& package) { return CorePropertiesManager(package).getCoreProperties(); }

}  // namespace opc::ztservices::samples
