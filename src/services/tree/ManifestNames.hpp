// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/OwnedPart.hpp"
#include "text/SchemaBaseURI.hpp"

/// The names of both versions of the manifest.
namespace opc::ztservices::manifest {

inline constexpr model::detail::OwnedPart kPart = {
    u"/metadata/filesystemManifest.xml", u"application/vnd.corvanta.package.filesystemManifest+xml",
    u"" ZT_SCHEMA_BASE_URI "/package/2013/relationships/filesystemManifest"};
inline constexpr model::detail::OwnedPart kPartV1 = {
    u"/metadata/filesystemManifestV1.xml", u"application/vnd.corvanta.talbex.compiler.fileManifest+xml",
    u"" ZT_SCHEMA_BASE_URI "/talbex/compiler/2011/relationships/fileManifest"};

inline constexpr char16_t kNamespace[] = u"" ZT_SCHEMA_BASE_URI "/package/2013/filesystemManifest";
inline constexpr char16_t kNamespaceV1[] = u"" ZT_SCHEMA_BASE_URI "/talbex/compiler/2011/fileManifest";

inline constexpr char16_t kEntries[] = u"fileEntries";
inline constexpr char16_t kEntry[] = u"fileEntry";

inline constexpr char16_t kPlatform[] = u"createdByPlatform";
inline constexpr char16_t kEncoding[] = u"createdByEncoding";
inline constexpr char16_t kVersion[] = u"version";
inline constexpr char16_t kPlatformV1[] = u"platform";
inline constexpr char16_t kEncodingV1[] = u"encoding";

/// What a root without a version attribute stands for.
inline constexpr char16_t kVersion1[] = u"1.0";
inline constexpr char16_t kCurrentVersion[] = u"2.0";

inline constexpr char16_t kName[] = u"name";
inline constexpr char16_t kContent[] = u"content";
inline constexpr char16_t kType[] = u"type";
inline constexpr char16_t kDate[] = u"date";
inline constexpr char16_t kPermissions[] = u"permissions";

inline constexpr char16_t kFile[] = u"File";
inline constexpr char16_t kFolder[] = u"Folder";
inline constexpr char16_t kLink[] = u"SymLink";

/// Added to every mode of version 1: the bit of a regular file, whatever the entry is.
inline constexpr int kRegularFileBit = 0100000;

}  // namespace opc::ztservices::manifest
