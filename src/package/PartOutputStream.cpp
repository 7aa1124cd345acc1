// SPDX-License-Identifier: Apache-2.0
#include "package/PartOutputStream.hpp"

#include <exception>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model::detail {
namespace {

std::shared_ptr<PartWrite> begin(PackageState& state, std::string const& name) {
  auto write = state.writes.find(name);
  if (write == state.writes.end()) write = state.writes.emplace(name, std::make_shared<PartWrite>()).first;
  write->second->isOpen = true;
  return write->second;
}

}  // namespace

PartOutputStream::PartOutputStream(std::shared_ptr<PackageState> state, PartTable::iterator part)
    : state_(std::move(state)),
      part_(part),
      name_(PackageState::nameOf(part)),
      writer_(state_->spool, part->second.isStored ? zip::Effort::Store : state_->effort, &state_->deflating),
      exceptionsAtStart_(std::uncaught_exceptions()) {
  state_->awaitContent(part);
  auto const other = state_->writes.find(name_);
  if (other != state_->writes.end() && other->second->isOpen) throw InvalidState(messages::streamIsOpen(name_));
  write_ = begin(*state_, name_);
}

PartOutputStream::~PartOutputStream() {
  if (isClosed_) return;
  if (std::uncaught_exceptions() > exceptionsAtStart_) {
    abandon();
    return;
  }
  try {
    complete();
  } catch (...) {
    write_->failure = std::current_exception();  // for the package's next save
    write_->isOpen = write_->isDeflating = false;
  }
}

void PartOutputStream::write(void const* data, std::size_t count) {
  if (isClosed_) throw StreamError("The stream is closed");
  writer_.write(data, count);
}

void PartOutputStream::close() {
  if (isClosed_) return;
  isClosed_ = true;
  try {
    complete();
  } catch (...) {
    abandon();  // the caller is told
    throw;
  }
}

void PartOutputStream::complete() {
  state_->requirePackage();
  if (write_->isDeleted) throw PartNotFound(messages::partNotFound(wideName(name_)));
  write_->isDeflating = true;
  writer_.closeLater([state = state_.get(), part = part_, name = name_, write = write_](zip::Content const& content) {
    if (write->isDeleted) return;
    state->setContent(part->second, content);
    state->writes.erase(name);
  });
  write_->isOpen = false;
}

void PartOutputStream::abandon() noexcept {
  write_->isOpen = write_->isDeflating = false;
  if (!write_->isDeleted && !write_->failure) state_->writes.erase(name_);
}

}  // namespace opc::model::detail
