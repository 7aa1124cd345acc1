// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/Progress.hpp"
#include "opc/Text.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/Part.hpp"

namespace opc::ztservices {

/// SHA-256 (FIPS 180-4) of the part's bytes as stored, before any decryption, as 64 lower-case hexadecimal digits.
/// Reads the whole part in constant memory. Throws what model::Part::getInputStream() and its stream throw.
ZT_API std::string digestPart(model::Part const& part);

/// A digest of what a part says that is an XML document: two documents have the same one if they differ in form alone.
/// The order of attributes, prefixes, namespace declarations, empty-element tags, character references, CDATA sections,
/// the encoding, comments, processing instructions and xsi:schemaLocation do not count, nor does white space between
/// two tags, unless xml:space keeps it or no element lies between them. The value has no other meaning. Reads the part
/// as a stream. Throws model::InvalidXMLDocument for a part that is no XML document, that has a document type, or that
/// exceeds the limits of the library's reader; otherwise what model::Part::getInputStream() and its stream throw.
ZT_API std::string digestXml(model::Part const& part);

/// Limits and the key for verifyPackage(). A value, apart from the borrowed key.
struct VerificationOptions {
  model::OpenOptions limits{};          ///< as for Package::open(); exceeding one of them is a fault
  std::size_t maximumFaults = 100'000;  ///< faults in the report; one last fault counts the others
  /// 32 bytes, as FileSystemManager::enableDecryption() takes them; null for no key. Borrowed and not copied: it must
  /// stay valid and unchanged until verifyPackage() returns.
  std::vector<unsigned char> const* key = nullptr;
  /// Contents are inflated and compared with their CRCs on that many threads beside the caller's, with up to 64 MiB of
  /// contents in memory. The report is the same for every number.
  std::size_t threads = 0;
  Monitor monitor{};  ///< watches the verification, which changes nothing
};

/// One thing that is wrong with a package, or that a reader has to tolerate.
struct VerificationFault {
  std::string code;     ///< a stable word; docs/tool.md lists them
  std::u16string item;  ///< the part, item of the container or path of the file system; empty for the package itself
  std::string message;  ///< one sentence, names escaped for display, in the user's default encoding
  bool isNote = false;  ///< it breaks no rule (a growth hint: ECMA-376-2, Annex C), and the package is healthy with it
};

/// The result of verifyPackage(). A value.
struct ZT_API VerificationReport {
  std::uint64_t parts = 0;      ///< parts that are found in the container's directory
  std::uint64_t bytes = 0;      ///< inflated bytes of the parts that could be read to their end
  std::uint64_t encrypted = 0;  ///< parts whose content type says that they are encrypted
  std::uint64_t authentic = 0;  ///< encrypted parts that the key decrypts
  /// There are encrypted contents, or an encrypted manifest, and the key decrypts nothing in the package: the key is
  /// wrong, or all data was modified; the two cannot be distinguished. The faults are those that show without a key.
  bool isKeyWrong = false;
  /// In the order in which they were found.
  std::vector<VerificationFault> faults;

  /// The number of faults that are not notes.
  std::size_t countFaults() const;
  /// Whether the package has no faults, apart from notes, and the key was not wrong.
  bool isHealthy() const { return countFaults() == 0 && !isKeyWrong; }
};

/// Checks the whole package at the path and lists every fault, also of a file that Package::open refuses. It reads
/// every byte of every item and compares length and CRC-32 with the container; it checks names, content types,
/// relationships and core properties (ECMA-376-2, 9 and 11), and the manifest of the file system against the parts. Of
/// a container without a usable directory it checks the items that have local headers. An XML document that breaks its
/// rules is one fault, reported at the first place. Deviations that a reader tolerates, such as items that are not
/// parts, are reported too. Nothing is changed.
///
/// Encrypted parts are compared with the container. With a key, AES-256-GCM contents are authenticated too, and an
/// encrypted manifest is decrypted, held in memory and checked as a plain one. Without a key, an encrypted manifest is
/// not checked against the parts. An exchange of two parts that have the same key is not detected
/// (docs/threat-model.md).
///
/// Contents are read once, in the order of the file, in memory that does not depend on their size; the names and the
/// package's own markup are held. Throws model::CouldNotOpenPackage when the file cannot be read and opc::Exception for
/// a key that has not 32 bytes; faults of the file are never thrown. Independent calls may run in different threads.
ZT_API VerificationReport verifyPackage(std::u16string const& path, VerificationOptions const& options = {});
/// The same for a path as UTF-8 (opc/Text.hpp).
VerificationReport verifyPackage(Utf8Text auto const& path, VerificationOptions const& options = {}) {
  return verifyPackage(toUTF16(path), options);
}

}  // namespace opc::ztservices
