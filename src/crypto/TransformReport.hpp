// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace opc::ztservices {

/// Writes one line to standard output, flushed, and returns false, which is what a transform answers when it has
/// failed. The reason is not in the exception that its caller throws then, so it is told here.
bool reportFailure(std::string const& line);

}  // namespace opc::ztservices
