// SPDX-License-Identifier: Apache-2.0
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "FuzzTarget.hpp"
#include "Mutators.hpp"
#include "foundation/release_info/ReleaseInfo.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/CoreProperties.hpp"
#include "package/CorePropertiesPart.hpp"
#include "services/properties/ExtendedPropertyParts.hpp"

/// One document as each of the parts that tell what a package is: the standard core properties, the two parts of the
/// extended ones, and the release.
namespace zt_fuzz {
namespace {

namespace model = opc::model;
using opc::ByteArrayInAdaptor;
using opc::ByteArrayOutAdaptor;

void requireEqual(model::CoreProperties const& a, model::CoreProperties const& b) {
  for (auto const& text : model::detail::kTextProperties) require((a.*text.get)() == (b.*text.get)(), "a text is kept");
  for (auto const& time : model::detail::kTimeProperties)
    require((a.*time.get)() == (b.*time.get)(), "a time is kept to the microsecond");
  require(a.getKeywords() == b.getKeywords(), "keywords are kept");
}

void runStandard(Bytes const& input) {
  model::PartName const name(u"/docProps/core.xml");
  model::CoreProperties properties;
  ByteArrayInAdaptor document(input);
  if (!isAccepted<model::InvalidPartContent>([&] { properties = model::detail::readCoreProperties(document, name); }))
    return;
  Bytes written;
  ByteArrayOutAdaptor output(written);
  model::detail::writeCoreProperties(properties, output);
  ByteArrayInAdaptor again(written);
  requireEqual(model::detail::readCoreProperties(again, name), properties);
}

void runRecord(model::XmlTextRecord& record, std::vector<char16_t const*> const& names, Bytes const& input) {
  std::optional<std::map<std::u16string, std::u16string>> texts;
  ByteArrayInAdaptor document(input);
  if (!isAccepted<model::InvalidXMLDocument>([&] { texts = record.read(document); }) || !texts) return;
  std::vector<std::pair<char16_t const*, std::u16string>> known;
  for (char16_t const* const name : names)
    if (auto const found = texts->find(name); found != texts->end()) known.emplace_back(name, found->second);
  if (known.size() < names.size()) return;
  Bytes written;
  ByteArrayOutAdaptor output(written);
  record.write(known, output);
  ByteArrayInAdaptor again(written);
  auto const kept = record.read(again);
  require(kept && kept->size() == names.size(), "a record that was written is one");
  for (auto const& [name, text] : known) require(kept->at(name) == text, "a text of a record is kept");
}

void runReleaseInfo(Bytes const& input) {
  using foundation::release_info::ReleaseInfo;
  std::istringstream document(textOf(input));
  ReleaseInfo release;
  if (!isAccepted<model::InvalidXMLDocument>([&] { release = ReleaseInfo(document); })) return;
  std::istringstream again(release.getVersionInfo());
  require(ReleaseInfo(again) == release, "a release is kept");
}

/// The rules on values, which regular expressions judge.
void runRules(Bytes const& input) {
  using opc::ztservices::CoreProperties;
  std::u16string const text(input.begin(), input.end());
  CoreProperties properties;
  if (CoreProperties::isValidContentType(text)) properties.setContentType(text);
  if (CoreProperties::isValidContentTypeFriendlyName(text)) properties.setContentTypeFriendlyName(text);
  if (CoreProperties::isValidUUID(text)) properties.setUUID(text);
  if (CoreProperties::isValidTALBEXRelease(text)) properties.setTALBEXRelease(text);
}

void run(Bytes const& input) {
  namespace parts = opc::ztservices::extended_properties;
  static auto const vendor = parts::makeVendor();
  static auto const extension = parts::makeExtension();
  runStandard(input);
  runRecord(*vendor, {parts::kContentType, parts::kContentTypeFriendlyName, parts::kRelease}, input);
  runRecord(*extension, {parts::kUUID}, input);
  runReleaseInfo(input);
  runRules(input);
}

Bytes standardSeed() {
  model::CoreProperties properties;
  for (auto const& text : model::detail::kTextProperties) (properties.*text.set)(u"a <text> & \xE9");
  for (auto const& time : model::detail::kTimeProperties)
    (properties.*time.set)({boost::gregorian::date(2024, 2, 29), boost::posix_time::microseconds(1'000'789)});
  properties.setKeywords({{u"one", u"en"}, {u"two", u""}});
  Bytes bytes;
  ByteArrayOutAdaptor output(bytes);
  model::detail::writeCoreProperties(properties, output);
  return bytes;
}

std::vector<Bytes> seeds() {
  namespace parts = opc::ztservices::extended_properties;
  Bytes vendor, extension;
  ByteArrayOutAdaptor toVendor(vendor), toExtension(extension);
  parts::makeVendor()->write({{parts::kContentType, u"application/vnd.corvanta.talbex.toolbox;a=b"},
                              {parts::kContentTypeFriendlyName, u"A <Toolbox>"},
                              {parts::kRelease, u"R2019b"}},
                             toVendor);
  parts::makeExtension()->write({{parts::kUUID, u"01234567-89ab-cdef-0123-456789abcdef"}}, toExtension);
  return {standardSeed(),
          vendor,
          extension,
          bytesOf(foundation::release_info::ReleaseInfo().getVersionInfo()),
          bytesOf("application/vnd.corvanta.a.b; c=\"d\""),
          bytesOf("01234567-89ab-cdef-0123-456789abcdef"),
          bytesOf("R2026b")};
}

Registration const registration("core_properties", run, seeds, changeMarkup);

}  // namespace
}  // namespace zt_fuzz
