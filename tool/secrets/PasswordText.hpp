// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "secrets/Secrets.hpp"

namespace ztpkg {

/// What the user typed: text in the encoding of the locale, and in UTF-8 where that is plain ASCII. So the same
/// characters are the same password in every locale. Throws Failure, which quotes nothing, for bytes that are no
/// text and for an empty password.
Password typedPassword(SecretBytes const& bytes);

/// What was written down: text in UTF-8, whatever the locale, and otherwise in the encoding of the locale. So the
/// same file is the same password in every locale.
Password storedPassword(SecretBytes const& bytes);

}  // namespace ztpkg
