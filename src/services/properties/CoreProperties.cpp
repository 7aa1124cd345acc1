// SPDX-License-Identifier: Apache-2.0
#include "opc/ztservices/CoreProperties.hpp"

#include <boost/regex.hpp>
#include <boost/uuid/nil_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <locale>

#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoRandom.hpp"
#include "opc/Strings.hpp"
#include "opc/Time.hpp"
#include "services/properties/RandomUUID.hpp"

namespace opc::ztservices {
namespace {

constexpr char kContentTypeMessage[] =
    "Content type must have the format: application/vnd.corvanta.<product>.<package-type>";
constexpr char kFriendlyNameMessage[] = "Content type friendly name must be a non-empty string";
constexpr char kCreatedTimeMessage[] = "Created time is not a valid value";
constexpr char kModifiedTimeMessage[] = "Modified time is not a valid value";
// The spelling stays, because programs compare with it.
constexpr char kUUIDMessage[] =
    "UUID must have the format: hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh where h is a hexidecimal digit";
constexpr char kUUIDIsSetMessage[] = "UUID is already set. It can not be overwritten";
constexpr char kReleaseMessage[] = "TALBEX release must have the format: R<four-digit-year>(a|b)";

/// The classic locale keeps letters and digits to ASCII, whatever the global locale is.
boost::wregex makePattern(wchar_t const* text) {
  boost::wregex pattern;
  pattern.imbue(std::locale::classic());
  pattern.assign(text);
  return pattern;
}

bool matches(std::u16string const& text, boost::wregex const& pattern) {
  return boost::regex_match(toWideString(text), pattern);
}

bool matchesSubType(std::u16string const& text) {
  static boost::wregex const pattern = makePattern(LR"(^vnd\.corvanta\.[\w-]+\.[\w-]+$)");
  return matches(text, pattern);
}

bool matchesUUID(std::u16string const& text) {
  static boost::wregex const pattern =
      makePattern(L"[[:xdigit:]]{8}-[[:xdigit:]]{4}-[[:xdigit:]]{4}-[[:xdigit:]]{4}-[[:xdigit:]]{12}");
  return matches(text, pattern);
}

bool matchesRelease(std::u16string const& text) {
  static boost::wregex const pattern = makePattern(LR"(^R\d{4}(a|b)$)");
  return matches(text, pattern);
}

void require(bool isValid, char const* message) {
  if (!isValid) throw InvalidCorePropertyValue(message);
}

std::u16string toText(boost::uuids::uuid const& uuid) { return toString(boost::uuids::to_string(uuid)); }

/// Bytes that are not UTF-8 become a text that no rule accepts as a release.
std::u16string familyOf(CoreProperties::ReleaseInfo const& info) { return toString(info.getReleaseFamily(), false); }

}  // namespace

CoreProperties::CoreProperties() : releaseInfo_(std::string()) {}

CoreProperties::CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                               ReleaseInfo const& release) {
  setContentType(contentType);
  setContentTypeFriendlyName(contentTypeFriendlyName);
  setTALBEXReleaseInfo(release);
}

CoreProperties::CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                               std::u16string const& release) {
  setContentType(contentType);
  setContentTypeFriendlyName(contentTypeFriendlyName);
  setTALBEXRelease(release);
}

void CoreProperties::setCreatedTime(Time value) {
  require(isValidTime(value), kCreatedTimeMessage);
  opcProps_.setCreated(value);
}

void CoreProperties::setLastModifiedTime(Time value) {
  require(isValidTime(value), kModifiedTimeMessage);
  opcProps_.setModified(value);
}

void CoreProperties::setContentType(std::u16string const& value) {
  require(isValidContentType(value), kContentTypeMessage);
  contentType_ = value;
}

void CoreProperties::setContentTypeFriendlyName(std::u16string const& value) {
  require(isValidContentTypeFriendlyName(value), kFriendlyNameMessage);
  contentTypeFriendlyName_ = value;
}

void CoreProperties::setUUID(std::u16string const& value) {
  require(isValidUUID(value), kUUIDMessage);
  require(!uuid_ || *uuid_ == value, kUUIDIsSetMessage);
  uuid_ = value;
}

void CoreProperties::generateAndSetUUID() {
  using namespace foundation::crypto;
  auto generator = CryptoEngine(std::make_shared<cryptopp::CryptoProvider>()).createDefaultCryptoPRNG({});
  setUUID(toText(makeRandomUUID(generator)));
}

void CoreProperties::setTALBEXReleaseInfo(ReleaseInfo const& value) {
  require(isValidTALBEXReleaseInfo(value), kReleaseMessage);
  releaseInfo_ = value;
}

void CoreProperties::setTALBEXRelease(std::u16string const& release) {
  ReleaseInfo const running = getCurrentTALBEXReleaseInfo();
  bool const isRunning = caselessCompare(release, familyOf(running));
  setTALBEXReleaseInfo(isRunning ? running : makeLegacyTALBEXReleaseInfo(release));
}

std::u16string CoreProperties::getTALBEXRelease() const { return familyOf(releaseInfo_); }

bool CoreProperties::isValid() const {
  return !contentType_.empty() && !contentTypeFriendlyName_.empty() && !releaseInfo_.getReleaseFamily().empty();
}

bool CoreProperties::isValidContentType(std::u16string const& value) {
  try {
    model::ContentType const type(value);
    return type.getType() == u"application" && matchesSubType(type.getSubType());
  } catch (Exception const&) {
    return false;
  }
}

bool CoreProperties::isValidContentTypeFriendlyName(std::u16string const& value) {
  return !value.empty() && !hasWhitespace(value.substr(0, 1)) && !hasWhitespace(value.substr(value.size() - 1));
}

bool CoreProperties::isValidUUID(std::u16string const& value) { return matchesUUID(value); }

bool CoreProperties::isValidTALBEXRelease(std::u16string const& value) { return matchesRelease(value); }

bool CoreProperties::isValidTALBEXReleaseInfo(ReleaseInfo const& value) {
  return isValidTALBEXRelease(familyOf(value));
}

bool CoreProperties::isValidTime(Time value) { return !value.is_special(); }

std::u16string CoreProperties::getNilUUID() { return toText(boost::uuids::nil_uuid()); }

CoreProperties::Time CoreProperties::getCurrentTime() { return opc::getCurrentTime(); }

CoreProperties::ReleaseInfo CoreProperties::getCurrentTALBEXReleaseInfo() { return ReleaseInfo(); }

std::u16string CoreProperties::getCurrentTALBEXRelease() { return familyOf(getCurrentTALBEXReleaseInfo()); }

CoreProperties::ReleaseInfo CoreProperties::makeLegacyTALBEXReleaseInfo(std::u16string const& release) {
  return ReleaseInfo(toASCIIString(release));
}

}  // namespace opc::ztservices
