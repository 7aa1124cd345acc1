// SPDX-License-Identifier: Apache-2.0
#include "container/ContentStore.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "container/ItemStream.hpp"
#include "container/ZipFormat.hpp"
#include "text/Narrow.hpp"

namespace opc::model::zip {
namespace {

constexpr std::uint64_t kLeastWaste = 16u << 20;
constexpr std::size_t kMoveStep = 1u << 20;

}  // namespace

ContentStore::ContentStore(std::string directory) : directory_(std::move(directory)), spool_(makeSpool(directory_)) {}

ContentStore::~ContentStore() = default;

std::unique_ptr<ContentStore::Writer> ContentStore::write(Effort effort) {
  reclaim();
  return std::make_unique<Writer>(*this, effort);
}

ContentStore::Number ContentStore::write(Effort effort, std::function<void(OutputStream&)> const& writeTo) {
  reclaim();
  ContentWriter writer(spool_, effort);
  writeTo(writer);
  writer.close();
  Number const number = reserve();
  complete(number, writer.content());
  return number;
}

ContentStore::Number ContentStore::Writer::finish() {
  Number const number = store_.reserve();
  try {
    writer_.closeLater([&store = store_, number](Content const& content) { store.complete(number, content); });
  } catch (...) {
    store_.release(number);
    throw;
  }
  return number;
}

std::unique_ptr<InputStream> ContentStore::read(Number number, std::string const& name, std::uint64_t offset) {
  return content(number).open(name, offset);
}

Content ContentStore::content(Number number) {
  await(number);
  Slot const& slot = slots_[number];
  auto const chunks = chunks_.find(number);
  return {spools_[slot.spool],
          slot.offset,
          slot.storedSize,
          slot.size,
          slot.crc,
          slot.isDeflated ? kDeflated : kStored,
          chunks == chunks_.end() ? nullptr : chunks->second};
}

void ContentStore::await(Number number) {
  if (slots_[number].state == State::UnderWay) settle();
}

void ContentStore::discard(Number number) noexcept {
  if (slots_[number].state == State::UnderWay)
    slots_[number].state = State::Discarded;  // until the threads deliver it
  else
    release(number);
}

void ContentStore::settle() { queue_.deliverAll(); }

void ContentStore::setThreads(std::size_t count) {
  queue_.setThreads(count);
  hasThreads_ = count > 0;
  spool_->setWritesBehind(hasThreads_);
}

void ContentStore::restart(std::string directory) {
  auto fresh = makeSpool(directory);
  directory_ = std::move(directory);
  spool_ = std::move(fresh);
  live_ = 0;
  spools_.clear();
  slots_.clear();
  chunks_.clear();
  firstFree_ = kNone;
}

bool ContentStore::isWasteful() const {
  std::uint64_t written = 0;
  for (auto const& spool : spools_) written += spool->size();
  return written > live_ && written - live_ > std::max(live_, kLeastWaste);
}

/// Moving the contents costs no more than the writing of the bytes that it frees. When it fails, the contents stay
/// where they are.
void ContentStore::reclaim() noexcept {
  try {
    if (isWasteful()) moveContents();
  } catch (std::exception const&) {
    return;
  }
}

/// Moves all contents into a new spool. Input streams, and streams that still write, keep the old ones.
void ContentStore::moveContents() {
  settle();
  auto fresh = makeSpool(directory_);
  std::vector<std::uint64_t> offsets;
  Buffer window(kMoveStep);
  for (Slot const& slot : slots_) {
    if (slot.state != State::Complete) continue;
    offsets.push_back(fresh->size());
    for (std::uint64_t at = 0; at < slot.storedSize; at += kMoveStep) {
      auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(kMoveStep, slot.storedSize - at));
      spools_[slot.spool]->readAt(slot.offset + at, window.data.get(), step);
      fresh->append(window.data.get(), step);
    }
  }
  std::vector<std::shared_ptr<Spool const>> spools{fresh};
  auto offset = offsets.begin();
  for (Slot& slot : slots_)
    if (slot.state == State::Complete) {
      slot.offset = *offset++;
      slot.spool = 0;
    }
  spools_.swap(spools);
  spool_ = std::move(fresh);
}

ContentStore::Number ContentStore::reserve() {
  Number const number = firstFree_ != kNone ? firstFree_ : narrow<Number>(slots_.size());
  if (number == slots_.size())
    slots_.emplace_back();
  else
    firstFree_ = static_cast<Number>(slots_[number].offset);
  slots_[number] = {.state = State::UnderWay};
  return number;
}

/// When it throws, the delivery calls it again.
void ContentStore::complete(Number number, Content const& content) {
  if (slots_[number].state == State::Discarded) return release(number);
  if (content.chunks) chunks_[number] = content.chunks;
  slots_[number] = {content.offset,          content.storedSize,          content.size,   content.crc,
                    numberOf(content.spool), content.method == kDeflated, State::Complete};
  live_ += content.storedSize;
}

void ContentStore::release(Number number) noexcept {
  chunks_.erase(number);
  if (slots_[number].state == State::Complete) live_ -= slots_[number].storedSize;
  slots_[number] = {.offset = std::exchange(firstFree_, number), .state = State::Free};
}

std::uint16_t ContentStore::numberOf(std::shared_ptr<Spool const> const& spool) {
  auto const found = std::find(spools_.begin(), spools_.end(), spool);
  auto const number = narrow<std::uint16_t>(found - spools_.begin());
  if (found == spools_.end()) spools_.push_back(spool);
  return number;
}

std::shared_ptr<Spool> ContentStore::makeSpool(std::string const& directory) const {
  auto made = std::make_shared<Spool>(directory);
  made->setWritesBehind(hasThreads_);
  return made;
}

}  // namespace opc::model::zip
