// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <cerrno>

namespace opc {

/// The one conversion from an errno value to an error code of the interface.
inline boost::system::error_code posixError(int number) { return {number, boost::system::system_category()}; }

inline boost::system::error_code lastPosixError() { return posixError(errno); }

}  // namespace opc
