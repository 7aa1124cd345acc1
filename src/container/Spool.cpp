// SPDX-License-Identifier: Apache-2.0
#include "container/Spool.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "container/Faults.hpp"
#include "container/ItemStream.hpp"
#include "io/Background.hpp"
#include "io/FileHandle.hpp"
#include "io/TemporaryName.hpp"

namespace opc::model::zip {
namespace {

using boost::system::error_code;

constexpr std::size_t kSpoolBuffer = 1u << 20;

std::string temporaryDirectory() {
  std::error_code error;
  auto const path = std::filesystem::temp_directory_path(error);
  if (error) throw couldNotSave("TMPDIR", error.value());
  return path.string();
}

/// A file without a name or, where the file system has no such files, one whose name is removed at once.
FileHandle tryUnnamedFile(std::string const& directory, error_code& error) {
  if (directory.find('\0') != std::string::npos) throw couldNotSave(directory, EINVAL);
  constexpr mode_t kMode = 0600;
  FileHandle file = FileHandle::openAt(AT_FDCWD, directory.c_str(), O_TMPFILE | O_RDWR, kMode, error);
  // A kernel without the flag answers EISDIR.
  if (error != posixError(EOPNOTSUPP) && error != posixError(EISDIR) && error != posixError(EINVAL)) return file;
  std::string const name = directory + "/" + temporaryNameForSpool();
  file = FileHandle::openAt(AT_FDCWD, name.c_str(), O_CREAT | O_EXCL | O_RDWR, kMode, error);
  // A save of another process may have taken the name for an orphan and removed it.
  if (!error && unlink(name.c_str()) != 0 && errno != ENOENT) throw couldNotSave(name, errno);
  return file;
}

/// A package in a directory that may not be written can be edited and saved elsewhere.
FileHandle makeUnnamedFile(std::string& directory) {
  error_code error;
  FileHandle file = tryUnnamedFile(directory, error);
  if (error == posixError(EACCES) || error == posixError(EPERM) || error == posixError(EROFS)) {
    directory = temporaryDirectory();
    file = tryUnnamedFile(directory, error);
  }
  if (error) throw couldNotSave(directory, error.value());
  return file;
}

}  // namespace

/// The first bytes are in the file, the next ones in flight, the last ones pending.
struct Spool::Impl {
  std::string directory;
  std::size_t memoryLimit;
  FileHandle file{};
  std::uint64_t inFile = 0;
  std::vector<unsigned char> inFlight{};  // the background thread writes them at offset inFile
  error_code inFlightError{};
  std::vector<unsigned char> pending{};  // follow those in flight
  std::vector<std::shared_ptr<Spool>> lanes{};
  bool isBorrowed = false;
  bool writesBehind = false;
  std::unique_ptr<Background> background{};  // last, so that it ends before the buffers it uses

  std::uint64_t size() const { return inFile + inFlight.size() + pending.size(); }

  void writeNow(void const* data, std::size_t count) {
    settle();
    error_code error;
    file.writeAllAt(inFile, data, count, error);
    if (error) throw couldNotSave(directory, error.value());
    inFile += count;
  }

  void writeInFlight() { file.writeAllAt(inFile, inFlight.data(), inFlight.size(), inFlightError); }

  /// Repeats a failed write; bytes that fail again stay in flight.
  void settle() {
    if (inFlight.empty()) return;
    background->wait();
    if (inFlightError) writeInFlight();
    if (inFlightError) throw couldNotSave(directory, inFlightError.value());
    inFile += inFlight.size();
    inFlight.clear();
  }

  void flush() {
    settle();
    if (pending.empty()) return;
    if (!background) background = std::make_unique<Background>(writesBehind);
    inFlight.swap(pending);
    inFlightError = posixError(ENOMEM);  // stays if the work cannot begin
    background->begin([this] { writeInFlight(); });
    if (!writesBehind) settle();
  }

  void flushAll() {
    flush();
    settle();
  }

  void makeRoom(std::size_t count) {
    if (!file.isOpen() && pending.size() + count > memoryLimit) {
      if (directory.empty()) directory = temporaryDirectory();
      file = makeUnnamedFile(directory);
    }
    if (file.isOpen() && pending.size() + count > kSpoolBuffer) flush();
  }
};

Spool::Spool(std::string directory, std::size_t memoryLimit) : impl_(new Impl{std::move(directory), memoryLimit}) {}

Spool::~Spool() = default;

std::uint64_t Spool::append(void const* data, std::size_t count) {
  auto const* const from = static_cast<unsigned char const*>(data);
  impl_->makeRoom(count);
  std::uint64_t const offset = size();
  if (impl_->file.isOpen() && count > kSpoolBuffer)
    impl_->writeNow(data, count);
  else
    impl_->pending.insert(impl_->pending.end(), from, from + count);
  return offset;
}

void Spool::readAt(std::uint64_t offset, void* buffer, std::size_t count) const {
  if (offset > size() || count > size() - offset) throw couldNotSave(impl_->directory, EIO);
  impl_->settle();
  auto* to = static_cast<unsigned char*>(buffer);
  auto const fromFile = offset < impl_->inFile ? std::min<std::uint64_t>(count, impl_->inFile - offset) : 0;
  auto const first = static_cast<std::size_t>(fromFile);
  error_code error;
  if (impl_->file.readAt(offset, to, first, error) < first)
    throw couldNotSave(impl_->directory, error ? error.value() : EIO);
  if (count == first) return;
  std::copy_n(impl_->pending.data() + (offset + first - impl_->inFile), count - first, to + first);
}

std::uint64_t Spool::size() const { return impl_->size(); }

void Spool::setWritesBehind(bool does) {
  impl_->settle();
  impl_->writesBehind = does;
  impl_->background.reset();
}

int Spool::descriptor() const {
  if (impl_->file.isOpen()) impl_->flushAll();
  return impl_->file.descriptor();
}

std::shared_ptr<Spool> Spool::borrowLane() {
  for (auto const& lane : impl_->lanes)
    if (!std::exchange(lane->impl_->isBorrowed, true)) return lane;
  impl_->lanes.push_back(std::make_shared<Spool>(impl_->directory, impl_->memoryLimit));
  impl_->lanes.back()->impl_->isBorrowed = true;
  impl_->lanes.back()->impl_->writesBehind = impl_->writesBehind;
  return impl_->lanes.back();
}

void Spool::giveBack() { impl_->isBorrowed = false; }

std::unique_ptr<InputStream> Content::open(std::string const& name, std::uint64_t from) const {
  return openItem(
      {name, method, storedSize, size, crc},
      [store = spool, begin = offset](std::uint64_t at, void* to, std::size_t count) {
        store->readAt(begin + at, to, count);
      },
      chunks.get(), from);
}

}  // namespace opc::model::zip
