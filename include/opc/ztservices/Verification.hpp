// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "opc/Export.hpp"
#include "opc/model/Package.hpp"
#include "opc/model/Part.hpp"

namespace opc::ztservices {

/// SHA-256 of the part's bytes as stored (before any decryption), as 64 lower-case hexadecimal digits.
/// Reads the whole part; throws what reading it throws.
ZT_API std::string digestPart(model::Part const& part);

struct VerificationOptions {
  model::OpenOptions limits{};          ///< as for opening; beyond one of them is a fault
  std::size_t maximumFaults = 100'000;  ///< further ones are only counted, in one last fault
  /// Of 32 bytes, as FileSystemManager::enableDecryption() takes it; borrowed, and not copied. Null for none.
  std::vector<unsigned char> const* key = nullptr;
};

/// One thing that is wrong with a package, or that a reader has to tolerate.
struct VerificationFault {
  std::string code;     ///< a stable word; docs/tool.md lists them
  std::u16string item;  ///< the part, item of the container or path of the file system; empty for the package itself
  std::string message;  ///< one sentence, names escaped for display, in the user's default encoding
  bool isNote = false;  ///< it breaks no rule (a growth hint: ECMA-376-2, Annex C), and the package is healthy with it
};

struct ZT_API VerificationReport {
  std::uint64_t parts = 0;      ///< parts that were looked for in the container's directory and found there
  std::uint64_t bytes = 0;      ///< bytes of those that could be read to their end, inflated
  std::uint64_t encrypted = 0;  ///< how many of the parts say that they are encrypted
  std::uint64_t authentic = 0;  ///< how many of those the key opens
  /// There are encrypted contents, or an encrypted manifest, and the key opens nothing in the package: it is another
  /// one, or everything was changed, which cannot be told apart. The faults are those that show without a key.
  bool isKeyWrong = false;
  std::vector<VerificationFault> faults;

  /// How many faults there are that are no notes.
  std::size_t countFaults() const;
  bool isHealthy() const { return countFaults() == 0 && !isKeyWrong; }
};

/// Reads every byte of every item of the package at the path, held against what the container says of it, and
/// checks names, content types, relationships, core properties and the manifest of the file system against the
/// parts. Lists every fault, also of a file that Package::open refuses, as far as its container can be read: for
/// one whose directory is gone the items that their local headers lead to. An XML document that breaks the rules
/// is one fault, told at the first place. What a reader tolerates (ECMA-376-2 lets items stand that are no parts,
/// for one) is told too.
///
/// Encrypted parts are held against the container. With a key, what AES-256-GCM encrypted is authenticated too; an
/// encrypted manifest is decrypted and checked as a plain one, of which its part and its content are held. Without one
/// an encrypted manifest tells nothing. That two parts of one key were exchanged does not show
/// (docs/threat-model.md).
///
/// Contents are read once, in the order of the file, in memory that does not grow with their size; names and what
/// the package says of itself are held. Throws CouldNotOpenPackage when the file cannot be read, opc::Exception for a
/// key that is not of 32 bytes, nothing for what the file holds. Independent calls may run in different threads.
ZT_API VerificationReport verifyPackage(std::u16string const& path, VerificationOptions const& options = {});

}  // namespace opc::ztservices
