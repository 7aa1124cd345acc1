// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/optional.hpp>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/release_info/ReleaseInfo.hpp"
#include "opc/Export.hpp"
#include "opc/model/ContentType.hpp"
#include "opc/model/CoreProperties.hpp"
#include "opc/model/DataManager.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/URI.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::model {
class XmlTextRecord;
}

namespace opc::ztservices {

/// The properties of a package as a whole: the standard core properties (ECMA-376-2, 11) and the extended ones, which
/// are the package's own content type, a display name for that type, the product release that wrote the package, and a
/// UUID. A value; different threads may read one object.
///
/// A setter that refuses its value throws InvalidCorePropertyValue and leaves the record as it was. The rules for
/// values do not depend on the locale.
class ZT_API CoreProperties {
 public:
  using ReleaseInfo = foundation::release_info::ReleaseInfo;
  using Time = boost::posix_time::ptime;
  using Keyword = model::CoreProperties::Keyword;

  /// Everything is empty or absent, and the release is a legacy one without a family. Such a record is not valid.
  CoreProperties();
  /// Both throw what the setters throw.
  CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                 ReleaseInfo const& release);
  CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                 std::u16string const& release);

  // ---- the standard properties; see model::CoreProperties, which is the record that these change

  model::CoreProperties& opcProps() { return opcProps_; }
  model::CoreProperties const& opcProps() const { return opcProps_; }

  void setCreatedBy(std::u16string const& value) { opcProps_.setCreator(value); }
  std::u16string const& getCreatedBy() const { return opcProps_.getCreator(); }
  void setTitle(std::u16string const& value) { opcProps_.setTitle(value); }
  std::u16string const& getTitle() const { return opcProps_.getTitle(); }
  void setDescription(std::u16string const& value) { opcProps_.setDescription(value); }
  std::u16string const& getDescription() const { return opcProps_.getDescription(); }
  void setCategory(std::u16string const& value) { opcProps_.setCategory(value); }
  std::u16string const& getCategory() const { return opcProps_.getCategory(); }
  void setLastModifiedBy(std::u16string const& value) { opcProps_.setLastModifiedBy(value); }
  std::u16string const& getLastModifiedBy() const { return opcProps_.getLastModifiedBy(); }
  void setVersion(std::u16string const& value) { opcProps_.setVersion(value); }
  std::u16string const& getVersion() const { return opcProps_.getVersion(); }
  void setRevision(std::u16string const& value) { opcProps_.setRevision(value); }
  std::u16string const& getRevision() const { return opcProps_.getRevision(); }
  void setKeywords(std::vector<Keyword> const& value) { opcProps_.setKeywords(value); }
  std::vector<Keyword> const& getKeywords() const { return opcProps_.getKeywords(); }
  /// Both time setters refuse not-a-date-time and the infinities: a time that is set can change, but not vanish.
  void setCreatedTime(Time value);
  Time getCreatedTime() const { return opcProps_.getCreated(); }
  void setLastModifiedTime(Time value);
  Time getLastModifiedTime() const { return opcProps_.getModified(); }

  // ---- the extended properties

  /// Must be "application/vnd.corvanta.<product>.<package-type>", with or without parameters; kept to the letter.
  void setContentType(std::u16string const& value);
  std::u16string const& getContentType() const { return contentType_; }
  /// Must not be empty and must have no white space at its ends.
  void setContentTypeFriendlyName(std::u16string const& value);
  std::u16string const& getContentTypeFriendlyName() const { return contentTypeFriendlyName_; }
  /// Can be set once. Afterwards it refuses another UUID, and the same one in another letter case.
  void setUUID(std::u16string const& value);
  boost::optional<std::u16string> const& getUUID() const { return uuid_; }
  /// Sets a random UUID (RFC 4122, version 4, in lower case) from the cryptographic generator. Throws where the record
  /// has a UUID already, and where the generator fails.
  void generateAndSetUUID();
  /// Checks the release family only, which has the form "R2026b".
  void setTALBEXReleaseInfo(ReleaseInfo const& value);
  ReleaseInfo getTALBEXReleaseInfo() const { return releaseInfo_; }
  /// Sets the running product's full information if the release is its family, in any letter case; otherwise sets a
  /// legacy release.
  void setTALBEXRelease(std::u16string const& release);
  /// The release family.
  std::u16string getTALBEXRelease() const;

  /// Whether content type, friendly name and release are set.
  bool isValid() const;

  // ---- the rules that the setters apply; these throw nothing

  static bool isValidContentType(std::u16string const& value);
  static bool isValidContentTypeFriendlyName(std::u16string const& value);
  static bool isValidUUID(std::u16string const& value);
  static bool isValidTALBEXRelease(std::u16string const& value);
  static bool isValidTALBEXReleaseInfo(ReleaseInfo const& value);
  static bool isValidTime(Time value);

  /// "00000000-0000-0000-0000-000000000000"
  static std::u16string getNilUUID();
  /// The system's time now, in UTC to the microsecond.
  static Time getCurrentTime();
  /// The release of the running product, and its family.
  static ReleaseInfo getCurrentTALBEXReleaseInfo();
  static std::u16string getCurrentTALBEXRelease();
  static ReleaseInfo makeLegacyTALBEXReleaseInfo(std::u16string const& release);

 private:
  std::u16string contentType_;
  std::u16string contentTypeFriendlyName_;
  ReleaseInfo releaseInfo_;
  boost::optional<std::u16string> uuid_;
  model::CoreProperties opcProps_;
};

/// Keeps the CoreProperties of a package: the standard ones in the standard part; content type, friendly name and
/// release in a part of its own; the UUID in a second; the release information in a third.
///
/// Reading the record loads the parts, until a load has succeeded. A package without these parts has an empty record.
/// Loading throws InvalidCoreProperties, with the message of the fault, and the next operation repeats it. Setting the
/// record loads nothing, so that damaged parts can be replaced. The manager borrows the package and must not outlive
/// it. One thread at a time. Of several managers of one package, the last one that is dirty at a save determines the
/// properties.
///
/// A save after setCoreProperties throws InvalidCoreProperties ("Not all required core properties are set") unless the
/// record is valid. It gives a UUID to a record without one, and the current time to one without time of creation when
/// its part is first made. Existing parts that relationships target are rewritten in place; relationships that lead to
/// no part are replaced. A legacy release has no third part; an old one is deleted. Texts that XML cannot carry throw
/// model::InvalidXMLDocument, and a foreign part in the place of a new one model::PartNameClash. After any of these
/// exceptions no part and no property has changed.
class ZT_API CorePropertiesManager : public model::DataManager {
 public:
  explicit CorePropertiesManager(model::Package& package);
  ~CorePropertiesManager() override;

  /// Name, content type and relationship type of each part. Existing parts are found by the relationship type.
  static model::URI getPartURI();
  static model::ContentType getPartContentType();
  static std::u16string getRelationshipType();
  static model::URI getExtensionPartURI();
  static model::ContentType getExtensionPartContentType();
  static std::u16string getExtensionRelationshipType();
  static model::URI getReleaseInfoPartURI();
  static model::ContentType getReleaseInfoPartContentType();
  static std::u16string getReleaseInfoRelationshipType();

  /// Loads the parts unless they are loaded.
  void load() const;
  /// A copy of the record; changes of it take effect with setCoreProperties().
  CoreProperties getCoreProperties() const;
  /// Replaces the record, valid or not, and marks the manager dirty. A record without UUID keeps the present UUID; a
  /// record with another UUID than the present one throws InvalidCorePropertyValue and changes nothing. A UUID that
  /// cannot be read does not count.
  void setCoreProperties(CoreProperties const& properties);
  /// Everything that can be read of a damaged record, to repair it with setCoreProperties(). Appends a description of
  /// each fault, and loads nothing into the manager.
  CoreProperties getReadableProperties(std::vector<std::string>& faults) const;

 protected:
  void doLoad() override;
  void doSave() override;
  std::vector<std::u16string> doGetManagedPartNames() const override;
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

 private:
  boost::optional<std::u16string> getPresentUUID() const;

  // Mutable because const operations load on first use.
  mutable CoreProperties properties_;
  bool isSet_ = false;  // properties_ is not to be loaded any more
  std::unique_ptr<model::XmlTextRecord> vendorXml_;
  std::unique_ptr<model::XmlTextRecord> extensionXml_;
};

}  // namespace opc::ztservices
