// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "opc/Export.hpp"

namespace foundation::release_info {

/// The identity of a product release: family, version, description and date. All texts are UTF-8 and kept to the
/// letter; none is checked, and any may be empty. A release without a version is a legacy release, of which only the
/// family may be known. A value; different threads may read one object.
class ZT_API ReleaseInfo {
 public:
  /// The running product, as it was configured when the library was built.
  ReleaseInfo();
  /// A legacy release of that family.
  explicit ReleaseInfo(std::string const& family);
  /// A release with these values.
  ReleaseInfo(std::string const& family, std::string const& version, std::string const& description,
              std::string const& date);
  /// Reads a document that getVersionInfo() wrote, up to the end of the stream. Throws opc::model::InvalidXMLDocument
  /// for any other text, opc::StreamError when the stream fails.
  explicit ReleaseInfo(std::istream& versionInfo);

  /// "R2026b"
  std::string const& getReleaseFamily() const { return family_; }
  /// "0.2.0"; empty for a legacy release.
  std::string const& getTALBEXVersion() const { return version_; }
  /// The name of the product, for readers.
  std::string const& getDescription() const { return description_; }
  /// The day of the release, "2026-11-23".
  std::string const& getDate() const { return date_; }
  /// Whether the release has no version.
  bool isLegacy() const { return version_.empty(); }

  /// The release as a small XML document in UTF-8 (docs/formats.md), which the stream constructor reads back as an
  /// equal object. Throws opc::InvalidText for a text that is not UTF-8, opc::model::InvalidXMLDocument for characters
  /// that XML cannot carry.
  std::string getVersionInfo() const;

  /// Compares all four texts exactly.
  friend bool operator==(ReleaseInfo const&, ReleaseInfo const&) = default;

 private:
  std::string family_, version_, description_, date_;
};

}  // namespace foundation::release_info
