// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// The names of the temporary files that stand beside a package: `.NAME.ztservices-XXXXXX` for what is to
/// replace the file NAME, `.ztservices-XXXXXX` for a spool in the instant before it loses its name.
namespace opc::model::zip {

/// A fresh name; NAME is cut (between characters) to what a directory can hold.
std::string temporaryNameFor(std::string const& name);

/// A fresh name of a spool.
std::string temporaryNameForSpool();

/// Removes from the directory the temporaries for `name`, and spools with a name, that no process holds by a lock
/// any more. The caller holds the directory's lock, under which they are made and locked in one. Housekeeping:
/// what cannot be removed stays.
void removeOrphans(int directory, std::string const& name) noexcept;

}  // namespace opc::model::zip
