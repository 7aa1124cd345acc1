// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "opc/Export.hpp"

namespace opc {

/// Base of the exceptions that the library throws. It holds a message in the user's default encoding and, where the
/// operating system refused something, its error code; otherwise the code is empty (value 0, system category).
/// Derived classes add only their name. Copying never throws, and copies share the message. An exception may be read
/// by several threads.
class ZT_API Exception : public std::exception {
 public:
  explicit Exception(std::string message, boost::system::error_code code = {})
      : message_(std::make_shared<std::string const>(std::move(message))), code_(code) {}

  // Moves copy, so that an exception that was moved from still has its message.
  Exception(Exception const&) = default;
  Exception& operator=(Exception const&) = default;

  char const* what() const noexcept override { return message_->c_str(); }
  boost::system::error_code const& getErrorCode() const noexcept { return code_; }

 private:
  std::shared_ptr<std::string const> message_;  // shared: an exception in flight is copied without allocating
  boost::system::error_code code_;
};

}  // namespace opc
