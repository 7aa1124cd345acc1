// SPDX-License-Identifier: Apache-2.0
#include "services/tree/PathSteps.hpp"

#include <algorithm>
#include <cstddef>

namespace opc::ztservices {

PathSteps PathSteps::after(std::u16string_view path, std::size_t length) {
  PathSteps steps(path);
  steps.atStart_ = false;
  steps.take(length, path.substr(0, length) == u"/" ? 0 : 1);
  return steps;
}

std::u16string_view PathSteps::next() {
  bool const isRoot = atStart_ && rest_.starts_with(u'/');
  atStart_ = false;
  return isRoot ? take(1, 0) : take(std::min(rest_.find(u'/'), rest_.size()), 1);
}

std::u16string_view PathSteps::take(std::size_t length, std::size_t separator) {
  std::u16string_view const step = rest_.substr(0, length);
  atEnd_ = length == rest_.size();
  if (!atEnd_) rest_.remove_prefix(length + separator);
  return step;
}

}  // namespace opc::ztservices
