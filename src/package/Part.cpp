// SPDX-License-Identifier: Apache-2.0
#include "opc/model/Part.hpp"

#include <cstddef>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "opc/model/Exceptions.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PartNameRules.hpp"

namespace opc::model {
namespace {

using detail::PartIndex;
using detail::PartWrites;
namespace messages = detail::messages;

detail::PartTable::reference entryOf(void* entry) { return *static_cast<detail::PartTable::pointer>(entry); }

constexpr std::uint64_t kLongRead = 1u << 20;  // a shorter one ends before it could be cancelled

/// Has the reading of a long part end when the operation that reads it is to end.
class WatchedPart final : public InputStream {
 public:
  WatchedPart(std::unique_ptr<InputStream> part, std::shared_ptr<Watch> watch)
      : part_(std::move(part)), watch_(std::move(watch)), input_(*part_, *watch_, WatchedInput::Counts::Nothing) {}

  void reset() override { input_.reset(); }
  std::size_t read(void* buffer, std::size_t count) override { return input_.read(buffer, count); }
  bool isEnd() override { return input_.isEnd(); }
  void clear() override { input_.clear(); }

 private:
  std::unique_ptr<InputStream> part_;
  std::shared_ptr<Watch> watch_;
  WatchedInput input_;
};

/// Replaces the bytes of a part at close(), or once the package's threads have compressed them. Keeps the package's
/// data alive.
class PartOutputStream final : public OutputStream {
 public:
  /// Throws InvalidState when another one is open for the part.
  PartOutputStream(std::shared_ptr<PackageState> state, PartIndex::iterator part)
      : state_(std::move(state)),
        part_(part),
        name_(PartIndex::nameOf(part)),
        writer_(state_->contents.write(*part)),
        write_(state_->writes.begin(name_)),
        exceptionsAtStart_(std::uncaught_exceptions()) {}
  ~PartOutputStream() override;

  void write(void const* data, std::size_t count) override;
  /// Throws PartNotFound when the part was deleted meanwhile, InvalidState when the package is gone.
  void close() override;
  void abandon() noexcept override;

 private:
  void complete();

  std::shared_ptr<PackageState> state_;
  PartIndex::iterator part_;  // valid unless the write is deleted
  std::string name_;
  std::unique_ptr<zip::ContentStore::Writer> writer_;
  std::shared_ptr<PartWrites::Write> write_;
  int exceptionsAtStart_;
  bool isClosed_ = false;
};

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
    write_->isOpen = false;
  }
}

void PartOutputStream::write(void const* data, std::size_t count) {
  if (isClosed_) throw StreamError("The stream is closed");
  if (state_->watch) state_->watch->check();
  writer_->write(data, count);
}

void PartOutputStream::close() {
  if (isClosed_) return;
  isClosed_ = true;
  try {
    complete();
  } catch (...) {
    state_->writes.abandon(name_, *write_);  // the exception reports the failure
    throw;
  }
}

void PartOutputStream::abandon() noexcept {
  if (isClosed_) return;
  isClosed_ = true;
  writer_.reset();
  state_->writes.abandon(name_, *write_);
}

void PartOutputStream::complete() {
  state_->requirePackage();
  if (write_->isDeleted) throw PartNotFound(messages::partNotFound(detail::wideName(name_)));
  state_->contents.replace(part_->second, writer_->finish());
  state_->isChanged = true;
  state_->writes.complete(name_);
}

}  // namespace

IPhysicalPartInfo::~IPhysicalPartInfo() = default;

bool operator==(Part const& a, Part const& b) {
  return a.sharedState() == b.sharedState() && a.getName() == b.getName();
}

/// An entry stays where it is until it is erased. So a handle looks it up once.
void* Part::entry() const {
  PartIndex& index = state().parts;
  if (!entry_ || erasures_ != index.erasures()) {
    entry_ = &*index.get(getName());
    erasures_ = index.erasures();
  }
  return entry_;
}

ContentType Part::getContentType() const { return *entryOf(entry()).second.type->value; }

std::optional<std::uint32_t> Part::getCRC32() const { return state().contents.crcOf(entryOf(entry())); }

std::uint64_t Part::getSize() const { return state().contents.sizeOf(entryOf(entry())); }

std::uint64_t Part::getStoredSize() const { return state().contents.storedSizeOf(entryOf(entry())); }

std::unique_ptr<InputStream> Part::getInputStream() const { return getInputStreamAt(0); }

std::unique_ptr<InputStream> Part::getInputStreamAt(std::uint64_t offset, std::size_t threads) const {
  auto stream = state().contents.open(entryOf(entry()), offset, threads);
  bool const isLong = state().watch && getSize() > kLongRead;
  return isLong ? std::make_unique<WatchedPart>(std::move(stream), state().watch) : std::move(stream);
}

std::unique_ptr<OutputStream> Part::getOutputStream() const {
  state().requireWritable();
  auto const part = state().parts.get(getName());
  if (getName().isRelationshipsPart()) throw InvalidState(messages::partIsPackagesOwn(getName().toString()));
  return std::make_unique<PartOutputStream>(sharedState(), part);
}

std::vector<unsigned char> readAll(Part const& part, std::uint64_t most) {
  std::uint64_t const size = part.getSize();
  if (size > most) throw Exception(messages::tooLongForMemory(part.getName().toString(), size, most));
  std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
  auto const stream = part.getInputStream();
  std::size_t count = 0;
  while (!stream->isEnd()) {
    if (count == bytes.size()) bytes.resize(count + 1);  // the stream finds it longer than declared, and throws
    count += stream->read(bytes.data() + count, bytes.size() - count);
  }
  bytes.resize(count);
  return bytes;
}

}  // namespace opc::model
