// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace opc::model::detail {

/// The writes of a package's parts that are under way: output streams that are open, at most one for each part, and
/// failures of streams that were destroyed unclosed, which the next save has to report.
class PartWrites {
 public:
  /// Of one stream, which shares it with the package.
  struct Write {
    bool isOpen = true;
    bool isDeleted = false;  // the part was deleted meanwhile
    std::exception_ptr failure;
  };

  /// Throws InvalidState, naming the part, while a stream is open for it.
  std::shared_ptr<Write> begin(std::string const& name);
  /// The part has its new content, which makes up for a former failure.
  void complete(std::string_view name) noexcept;
  /// The part keeps its content, and a former failure.
  void abandon(std::string_view name, Write& write) noexcept;
  /// The part is deleted, and the failure with it. An open stream may go on, for nothing.
  void deletePart(std::string_view name) noexcept;

  /// Throws InvalidState while a stream is open, else the first failure.
  void requireNone() const;

 private:
  std::map<std::string, std::shared_ptr<Write>, std::less<>> writes_;  // by part name
};

}  // namespace opc::model::detail
