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

/// What a package says of itself: the standard core properties (ECMA-376-2, 11), and beside them its own
/// content type, a name for that type that people read, the product release that wrote it, and a UUID. A value.
///
/// A setter that refuses its value throws InvalidCorePropertyValue and leaves the record as it was. What a
/// value must look like is judged the same in every locale.
class ZT_API CoreProperties {
 public:
  using ReleaseInfo = foundation::release_info::ReleaseInfo;
  using Time = boost::posix_time::ptime;
  using Keyword = model::CoreProperties::Keyword;

  /// Everything empty or absent, the release a legacy one of no family; not valid.
  CoreProperties();
  /// These throw what the setters throw.
  CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                 ReleaseInfo const& release);
  CoreProperties(std::u16string const& contentType, std::u16string const& contentTypeFriendlyName,
                 std::u16string const& release);

  // ---- the standard properties

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
  /// The two refuse not-a-date-time and the infinities, so that a time once set can only be changed.
  void setCreatedTime(Time value);
  Time getCreatedTime() const { return opcProps_.getCreated(); }
  void setLastModifiedTime(Time value);
  Time getLastModifiedTime() const { return opcProps_.getModified(); }

  // ---- the extended properties

  /// "application/vnd.corvanta.<product>.<package-type>", with parameters or without; kept to the letter.
  void setContentType(std::u16string const& value);
  std::u16string const& getContentType() const { return contentType_; }
  /// Not empty, no white space at its ends.
  void setContentTypeFriendlyName(std::u16string const& value);
  std::u16string const& getContentTypeFriendlyName() const { return contentTypeFriendlyName_; }
  /// Write-once: takes another UUID, or the same one in another letter case, only where there is none.
  void setUUID(std::u16string const& value);
  boost::optional<std::u16string> const& getUUID() const { return uuid_; }
  /// Sets a random UUID (RFC 4122, version 4, in lower case) from the cryptographic generator. Throws where there is a
  /// UUID already, and when the generator fails.
  void generateAndSetUUID();
  /// Looks at the release family alone, which must be like "R2026b".
  void setTALBEXReleaseInfo(ReleaseInfo const& value);
  ReleaseInfo getTALBEXReleaseInfo() const { return releaseInfo_; }
  /// The running product's full information where the release is its family, whatever the letter case,
  /// otherwise a legacy one.
  void setTALBEXRelease(std::u16string const& release);
  /// The release family.
  std::u16string getTALBEXRelease() const;

  /// Whether content type, friendly name and release are set.
  bool isValid() const;

  // ---- the rules

  static bool isValidContentType(std::u16string const& value);
  static bool isValidContentTypeFriendlyName(std::u16string const& value);
  static bool isValidUUID(std::u16string const& value);
  static bool isValidTALBEXRelease(std::u16string const& value);
  static bool isValidTALBEXReleaseInfo(ReleaseInfo const& value);
  static bool isValidTime(Time value);

  /// "00000000-0000-0000-0000-000000000000"
  static std::u16string getNilUUID();
  static Time getCurrentTime();
  /// Of the running product.
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

/// Keeps the CoreProperties of a package: the standard ones in the standard part, content type, friendly
/// name and release in a part of its own, the UUID in a second, and what is known of the release in a third.
///
/// Every operation loads the parts first, once it has succeeded never again; saving does so too. Loading
/// throws InvalidCoreProperties, with the message of what was wrong, and can be tried again. The manager
/// keeps a reference to the package and must not outlive it. One thread at a time. Of two managers on one
/// package the last one that is dirty at a save decides.
///
/// When the package is saved after setCoreProperties, InvalidCoreProperties ("Not all required core
/// properties are set") is thrown unless the record is valid; a record without UUID gets one, one without
/// time of creation gets the current time when its part is first made. The parts that relationships lead to
/// are rewritten where they are. A legacy release has no third part, and an old one is deleted. Texts that
/// XML cannot carry throw model::InvalidXMLDocument; the package's file is then as before.
class ZT_API CorePropertiesManager : public model::DataManager {
 public:
  explicit CorePropertiesManager(model::Package& package);
  ~CorePropertiesManager() override;

  static model::URI getPartURI();
  static model::ContentType getPartContentType();
  static std::u16string getRelationshipType();
  static model::URI getExtensionPartURI();
  static model::ContentType getExtensionPartContentType();
  static std::u16string getExtensionRelationshipType();
  static model::URI getReleaseInfoPartURI();
  static model::ContentType getReleaseInfoPartContentType();
  static std::u16string getReleaseInfoRelationshipType();

  void load() const;
  CoreProperties getCoreProperties() const;
  /// Replaces the record, valid or not, and marks it dirty. A record without UUID leaves the held one; another
  /// than the held one throws InvalidCorePropertyValue and changes nothing.
  void setCoreProperties(CoreProperties const& properties);

 protected:
  void doLoad() override;
  void doSave() override;
  std::vector<std::u16string> doGetManagedPartNames() const override;
  std::vector<std::u16string> doGetManagedRelationshipTypes() const override;

 private:
  // Mutable because a const operation may be the one that loads.
  mutable CoreProperties properties_;
  std::unique_ptr<model::XmlTextRecord> vendorXml_;
  std::unique_ptr<model::XmlTextRecord> extensionXml_;
};

}  // namespace opc::ztservices
