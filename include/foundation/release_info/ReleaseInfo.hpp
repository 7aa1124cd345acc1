// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

#include "opc/Export.hpp"

namespace foundation::release_info {

/// The identity of a product release. A value; all texts are UTF-8 and kept to the letter. There are two
/// kinds: a full one has a version and what else there is to say, a legacy one names its family alone, which
/// is all that may be known of another release. One without a version counts as legacy.
class ZT_API ReleaseInfo {
 public:
  /// The running product, as it was configured when the library was built.
  ReleaseInfo();
  /// The legacy form. Any text is taken, an empty one too.
  explicit ReleaseInfo(std::string const& family);
  /// These values, of whatever release.
  ReleaseInfo(std::string const& family, std::string const& version, std::string const& description,
              std::string const& date);
  /// Read from what getVersionInfo() wrote, the stream to its end. Throws
  /// opc::model::InvalidXMLDocument when the text is no such document, opc::StreamError when the stream fails.
  explicit ReleaseInfo(std::istream& versionInfo);

  /// "R2026b"
  std::string const& getReleaseFamily() const { return family_; }
  /// "0.1.0"; empty for a legacy release.
  std::string const& getTALBEXVersion() const { return version_; }
  std::string const& getDescription() const { return description_; }
  /// The day of the release, "2026-11-21".
  std::string const& getDate() const { return date_; }
  bool isLegacy() const { return version_.empty(); }

  /// The release as a small XML document in UTF-8, which the stream constructor reads back equal. Throws
  /// opc::InvalidText for what is not UTF-8 and opc::model::InvalidXMLDocument for characters that XML cannot carry.
  std::string getVersionInfo() const;

  friend bool operator==(ReleaseInfo const&, ReleaseInfo const&) = default;

 private:
  std::string family_, version_, description_, date_;
};

}  // namespace foundation::release_info
