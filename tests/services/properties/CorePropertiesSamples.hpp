// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "opc/model/Package.hpp"
#include "opc/ztservices/CoreProperties.hpp"

/// Packages with core properties, and what is in them.
namespace opc::ztservices::samples {

using Bytes = std::vector<unsigned char>;

inline constexpr char kVendorType[] = "http://schemas.corvanta.example/package/2012/relationships/coreProperties";
inline constexpr char kExtensionType[] =
    "http://schemas.corvanta.example/package/2014/relationships/corePropertiesExtension";
inline constexpr char kReleaseInfoType[] =
    "http://schemas.corvanta.example/package/2019/relationships/corePropertiesReleaseInfo";

inline constexpr char16_t kUUID[] = u"01234567-89ab-cdef-0123-456789abcdef";
inline constexpr char16_t kOtherUUID[] = u"11234567-89ab-cdef-0123-456789abcdef";

inline CoreProperties::ReleaseInfo const kOtherRelease("R2019b", "9.7.0", "another release", "2019-09-11");

/// A valid record without UUID, of a legacy release.
CoreProperties record(std::u16string const& release = u"R2009a");
/// Documents of the two parts with these children.
std::string vendorXml(std::string const& children);
std::string vendorXml(std::string const& contentType, std::string const& friendlyName, std::string const& release);
std::string extensionXml(std::string const& children);

void addPart(model::Package& package, std::string const& name, std::string const& content);
void addPart(model::Package& package, std::string const& name, std::string const& content,
             std::string const& relationshipType);
std::string read(model::Package const& package, std::string const& name);
/// Part names, content types and contents, without the relationships.
std::vector<std::string> snapshot(model::Package const& package);
std::unique_ptr<model::Package> reopen(model::Package& package, model::AccessMode mode = model::AccessMode::ReadWrite);
/// Sets the record through a manager and saves.
void save(model::Package& package, CoreProperties const& properties);
CoreProperties load(model::Package& package);

}  // namespace opc::ztservices::samples
