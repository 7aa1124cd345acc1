// SPDX-License-Identifier: Apache-2.0
#include "package/PartWrites.hpp"

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"

namespace opc::model::detail {

std::shared_ptr<PartWrites::Write> PartWrites::begin(std::string const& name) {
  auto write = writes_.find(name);
  if (write == writes_.end())
    write = writes_.emplace(name, std::make_shared<Write>()).first;
  else if (write->second->isOpen)
    throw InvalidState(messages::streamIsOpen(name));
  write->second->isOpen = true;
  return write->second;
}

void PartWrites::complete(std::string_view name) noexcept {
  auto const write = writes_.find(name);
  if (write == writes_.end()) return;
  write->second->isOpen = false;
  writes_.erase(write);
}

void PartWrites::abandon(std::string_view name, Write& write) noexcept {
  write.isOpen = false;
  if (!write.isDeleted && !write.failure) complete(name);
}

void PartWrites::deletePart(std::string_view name) noexcept {
  auto const write = writes_.find(name);
  if (write == writes_.end()) return;
  write->second->isDeleted = true;
  writes_.erase(write);
}

void PartWrites::requireNone() const {
  for (auto const& [name, write] : writes_)
    if (write->isOpen) throw InvalidState(messages::streamIsOpen(name));
  for (auto const& [name, write] : writes_)
    if (write->failure) std::rethrow_exception(write->failure);
}

}  // namespace opc::model::detail
