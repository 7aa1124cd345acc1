// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <string>
#include <utility>
#include <vector>

#include "opc/Export.hpp"

namespace opc::model {

/// The standard core properties of a package (ECMA-376-2, 11). PackageHelper reads them from a package and writes them
/// into one; this class only holds them.
///
/// An empty text, an empty list and not-a-date-time (or another special value) mean that the property is absent. Texts
/// are kept to the letter, times are in UTC and kept to the microsecond. Setters check nothing: writing refuses a text
/// that XML cannot carry. A value; different threads may read one object.
class ZT_API CoreProperties {
 public:
  using Time = boost::posix_time::ptime;
  /// Text and language (xml:lang, a BCP 47 tag; empty for none).
  using Keyword = std::pair<std::u16string, std::u16string>;

  /// A kind of content, such as "Letter" or "Invoice".
  std::u16string const& getCategory() const { return category_; }
  void setCategory(std::u16string const& value) { category_ = value; }
  /// The state of the content, such as "Draft" or "Final".
  std::u16string const& getContentStatus() const { return contentStatus_; }
  void setContentStatus(std::u16string const& value) { contentStatus_ = value; }
  /// The kind of the content in words, no media type. Only the first edition of the standard has this property.
  std::u16string const& getContentType() const { return contentType_; }
  void setContentType(std::u16string const& value) { contentType_ = value; }
  /// When the content was created.
  Time getCreated() const { return created_; }
  void setCreated(Time value) { created_ = value; }
  /// Who is mainly responsible for the content.
  std::u16string const& getCreator() const { return creator_; }
  void setCreator(std::u16string const& value) { creator_ = value; }
  std::u16string const& getDescription() const { return description_; }
  void setDescription(std::u16string const& value) { description_ = value; }
  /// An unambiguous reference to the content within its context.
  std::u16string const& getIdentifier() const { return identifier_; }
  void setIdentifier(std::u16string const& value) { identifier_ = value; }
  /// Keywords in their order, each with its own language.
  std::vector<Keyword> const& getKeywords() const { return keywords_; }
  void setKeywords(std::vector<Keyword> const& value) { keywords_ = value; }
  /// The language of the content, as a language tag such as "en-GB".
  std::u16string const& getLanguage() const { return language_; }
  void setLanguage(std::u16string const& value) { language_ = value; }
  /// Who changed the content last.
  std::u16string const& getLastModifiedBy() const { return lastModifiedBy_; }
  void setLastModifiedBy(std::u16string const& value) { lastModifiedBy_ = value; }
  Time getLastPrinted() const { return lastPrinted_; }
  void setLastPrinted(Time value) { lastPrinted_ = value; }
  /// When the content was changed last.
  Time getModified() const { return modified_; }
  void setModified(Time value) { modified_ = value; }
  /// The number of the revision, as text.
  std::u16string const& getRevision() const { return revision_; }
  void setRevision(std::u16string const& value) { revision_ = value; }
  /// The topic of the content.
  std::u16string const& getSubject() const { return subject_; }
  void setSubject(std::u16string const& value) { subject_ = value; }
  std::u16string const& getTitle() const { return title_; }
  void setTitle(std::u16string const& value) { title_ = value; }
  /// The version of the content, set by its author.
  std::u16string const& getVersion() const { return version_; }
  void setVersion(std::u16string const& value) { version_ = value; }

 private:
  std::u16string category_, contentStatus_, contentType_, creator_, description_, identifier_, language_,
      lastModifiedBy_, revision_, subject_, title_, version_;
  std::vector<Keyword> keywords_;
  Time created_, lastPrinted_, modified_;
};

}  // namespace opc::model
