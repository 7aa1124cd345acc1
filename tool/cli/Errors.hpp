// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/system/error_code.hpp>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ztpkg {

enum class Exit : int { Done = 0, Package = 1, Usage = 2, Disk = 3, Key = 4, Busy = 5 };

/// One error, as it is reported to the user.
struct Report {
  Exit exit = Exit::Package;
  std::string code;                    ///< a stable word; the table stands in docs/tool.md
  std::string message;                 ///< narrow, in the user's default encoding
  std::optional<std::u16string> item;  ///< the path, entry or part concerned
};

/// Thrown by the commands for faults that they find themselves.
class Failure : public std::exception {
 public:
  explicit Failure(Report report) : reports_{std::move(report)} {}
  explicit Failure(std::vector<Report> reports) : reports_(std::move(reports)) {}

  std::vector<Report> const& reports() const { return reports_; }
  char const* what() const noexcept override { return reports_.front().message.c_str(); }

 private:
  std::vector<Report> reports_;  // never empty
};

/// Ends a command whose exit code is a result and no error, without a message.
class Ended : public std::exception {
 public:
  explicit Ended(Exit exit) : exit_(exit) {}
  Exit exit() const { return exit_; }
  char const* what() const noexcept override { return "ended"; }

 private:
  Exit exit_;
};

/// Throws the Failure of a wrong command line.
[[noreturn]] void throwUsage(std::string message);

/// A name for a message: escaped, in the user's default encoding.
std::string shown(std::u16string_view name);

/// "what PATH: reason of the system".
Report diskReport(std::string code, std::string const& what, std::u16string const& path,
                  boost::system::error_code const& reason);

/// The report of a full disk with the file system that is full: the one of the path.
Report namingFileSystem(Report report, std::u16string const& path);

/// Converts an exception to reports. `package` is the item of exceptions about the package as a whole.
std::vector<Report> describe(std::exception_ptr const& thrown, std::u16string const& package);

/// Prints "ztpkg: warning: " and the message on standard error, unless silenceWarnings() was called.
void warn(std::string const& message);
void silenceWarnings();

/// The exit code of several reports: Disk wins over all others.
Exit exitOf(std::vector<Report> const& reports);

/// Escapes everything in a message that could break or disguise a line of a terminal.
std::string oneLine(std::string const& message);

}  // namespace ztpkg
