// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "secrets/Secrets.hpp"

namespace ztpkg {

/// A typed password: text in the encoding of the locale, or in UTF-8 if that is ASCII, so that the same characters are
/// the same password in every locale. Throws Failure, whose message quotes nothing, for bytes that are no text and for
/// an empty password.
Password typedPassword(SecretBytes const& bytes);

/// A password from a file: text in UTF-8 or, if it is not UTF-8, in the encoding of the locale, so that the same file
/// is the same password in every locale.
Password storedPassword(SecretBytes const& bytes);

}  // namespace ztpkg
