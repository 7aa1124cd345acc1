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

ContentStore::ContentStore(std::string directory, Purpose purpose)
    : directory_(std::move(directory)), purpose_(purpose), spool_(makeSpool(directory_, purpose)) {}

ContentStore::~ContentStore() = default;

std::unique_ptr<ContentStore::Writer> ContentStore::write(Effort effort, std::string_view name) {
  reclaim();
  return std::make_unique<Writer>(*this, effort, headerName(name));
}

ContentStore::Number ContentStore::write(Effort effort, std::function<void(OutputStream&)> const& writeTo,
                                         std::string_view name) {
  reclaim();
  settle();
  ContentWriter writer(spool_, effort, nullptr, headerName(name));
  writeTo(writer);
  writer.close();
  Number const number = reserve();
  complete(number, writer.content());
  return number;
}

Content ContentStore::writeApart(Effort effort, std::function<void(OutputStream&)> const& writeTo) const {
  ContentWriter writer(makeSpool(directory_, Purpose::Changes), effort);
  writeTo(writer);
  writer.close();
  return writer.content();
}

void ContentStore::rename(Number number) noexcept {
  Slot& slot = slots_[number];
  live_ -= slot.headerSize;
  dead_ += slot.headerSize;
  slot.headerSize = 0;
}

/// When an abandoned content gives its place back depends on the threads, and with it the place of the next one.
ContentStore::Writer::~Writer() {
  if (!isFinished_) store_.isInOrder_ = false;
}

ContentStore::Number ContentStore::Writer::finish() {
  Number const number = store_.reserve();
  try {
    writer_.closeLater([&store = store_, number](Content const& content) { store.complete(number, content); });
  } catch (...) {
    store_.release(number);
    throw;
  }
  isFinished_ = true;
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
          slot.headerSize,
          chunks == chunks_.end() ? nullptr : chunks->second};
}

void ContentStore::await(Number number) {
  if (slots_[number].state == State::UnderWay) settle();
}

void ContentStore::discard(Number number) noexcept {
  isInOrder_ = false;
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

FileHandle ContentStore::shareFile(std::shared_ptr<Spool const> const& holder) {
  if (!isInFile() || holder != spool_) return {};
  auto next = makeSpool(directory_, Purpose::Changes);
  FileHandle file = spool_->shareFile();
  if (!file.isOpen()) return file;
  spool_ = std::move(next);
  purpose_ = Purpose::Changes;
  return file;
}

void ContentStore::restart(std::string directory) {
  auto fresh = makeSpool(directory, Purpose::Changes);
  directory_ = std::move(directory);
  purpose_ = Purpose::Changes;
  spool_ = std::move(fresh);
  live_ = dead_ = 0;
  spools_.clear();
  slots_.clear();
  chunks_.clear();
  firstFree_ = kNone;
}

bool ContentStore::isWasteful() const { return dead_ > std::max(live_, kLeastWaste); }

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
  auto fresh = makeSpool(directory_, purpose_);
  std::vector<std::uint64_t> begins;
  Buffer window(kMoveStep);
  for (Slot const& slot : slots_) {
    if (slot.state != State::Complete) continue;
    begins.push_back(fresh->size());
    for (std::uint64_t at = 0; at < slot.bytes(); at += kMoveStep) {
      auto const step = static_cast<std::size_t>(std::min<std::uint64_t>(kMoveStep, slot.bytes() - at));
      spools_[slot.spool]->readAt(slot.begin() + at, window.data.get(), step);
      fresh->append(window.data.get(), step);
    }
  }
  std::vector<std::shared_ptr<Spool const>> spools{fresh};
  auto begin = begins.begin();
  for (Slot& slot : slots_)
    if (slot.state == State::Complete) {
      slot.offset = *begin++ + slot.headerSize;
      slot.spool = 0;
    }
  spools_.swap(spools);
  spool_ = std::move(fresh);
  dead_ = 0;
}

ContentStore::Number ContentStore::reserve() {
  Number const number = firstFree_ != kNone ? firstFree_ : narrow<Number>(slots_.size());
  if (number == slots_.size())
    slots_.emplace_back();
  else
    firstFree_ = static_cast<Number>(slots_[number].offset);
  slots_[number] = Slot();
  slots_[number].state = State::UnderWay;
  return number;
}

/// When it throws, the delivery calls it again.
void ContentStore::complete(Number number, Content const& content) {
  Slot& slot = slots_[number];
  bool const isDiscarded = slot.state == State::Discarded;
  if (content.chunks) chunks_[number] = content.chunks;
  std::size_t const known = spools_.size();
  slot.spool = numberOf(content.spool);
  slot.offset = content.offset;
  slot.storedSize = content.storedSize;
  slot.size = content.size;
  slot.crc = content.crc;
  slot.headerSize = content.headerSize <= kLongestHeader ? content.headerSize & kLongestHeader : 0;
  slot.isDeflated = content.method == kDeflated;
  slot.state = State::Complete;
  live_ += slot.bytes();
  if (spools_.size() > known) dead_ += content.spool->size() - slot.bytes();  // a spool from before a move
  if (isDiscarded) release(number);
}

void ContentStore::release(Number number) noexcept {
  chunks_.erase(number);
  if (slots_[number].state == State::Complete) {
    live_ -= slots_[number].bytes();
    dead_ += slots_[number].bytes();
  }
  slots_[number] = Slot();
  slots_[number].offset = std::exchange(firstFree_, number);
}

std::uint16_t ContentStore::numberOf(std::shared_ptr<Spool const> const& spool) {
  auto const found = std::find(spools_.begin(), spools_.end(), spool);
  auto const number = narrow<std::uint16_t>(found - spools_.begin());
  if (found == spools_.end()) spools_.push_back(spool);
  return number;
}

/// Only an item of a new package has its header in front of its content.
std::string_view ContentStore::headerName(std::string_view name) const {
  return purpose_ == Purpose::NewPackage ? name : std::string_view();
}

std::shared_ptr<Spool> ContentStore::makeSpool(std::string const& directory, Purpose purpose) const {
  auto made = std::make_shared<Spool>(directory);
  made->setWritesBehind(hasThreads_);
  if (purpose == Purpose::Changes) return made;
  std::vector<unsigned char> const room(kRoom);
  made->append(room.data(), room.size());
  made->keepFile();
  return made;
}

}  // namespace opc::model::zip
