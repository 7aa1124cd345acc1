// SPDX-License-Identifier: Apache-2.0
#include "container/Spool.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
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
constexpr std::uint64_t kStretch = 8u << 20;  // that is stored at a time

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
FileHandle makeUnnamedFile(std::string& directory, bool& isElsewhere) {
  error_code error;
  FileHandle file = tryUnnamedFile(directory, error);
  if (error == posixError(EACCES) || error == posixError(EPERM) || error == posixError(EROFS)) {
    directory = temporaryDirectory();
    isElsewhere = true;
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
  bool isElsewhere = false;  // than in the directory that was asked for
  bool isKept = false;
  std::uint64_t storing = 0;                 // how many bytes the disk has been told to store
  std::unique_ptr<Background> background{};  // last, so that it ends before the buffers it uses

  std::uint64_t size() const { return inFile + inFlight.size() + pending.size(); }

  void writeNow(void const* data, std::size_t count) {
    settle();
    error_code error;
    file.writeAllAt(inFile, data, count, error);
    if (error) throw couldNotSave(directory, error.value());
    inFile += count;
    storeUpTo(inFile);
  }

  void writeInFlight() {
    file.writeAllAt(inFile, inFlight.data(), inFlight.size(), inFlightError);
    if (!inFlightError) storeUpTo(inFile + inFlight.size());
  }

  void storeUpTo(std::uint64_t end) {
    if (!isKept || end < storing + kStretch) return;
    file.startSync(storing, end - storing);
    storing = end;
  }

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
      file = makeUnnamedFile(directory, isElsewhere);
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

bool Spool::isInFile() const { return impl_->file.isOpen(); }

int Spool::descriptor() const {
  if (impl_->file.isOpen()) impl_->flushAll();
  return impl_->file.descriptor();
}

void Spool::overwrite(std::uint64_t offset, void const* data, std::size_t count) {
  if (offset > size() || count > size() - offset) throw couldNotSave(impl_->directory, EIO);
  impl_->settle();
  auto const* const from = static_cast<unsigned char const*>(data);
  auto const inFile = offset < impl_->inFile ? std::min<std::uint64_t>(count, impl_->inFile - offset) : 0;
  auto const first = static_cast<std::size_t>(inFile);
  error_code error;
  if (first > 0) impl_->file.writeAllAt(offset, from, first, error);
  if (error) throw couldNotSave(impl_->directory, error.value());
  if (first == count) return;
  std::copy_n(from + first, count - first, impl_->pending.data() + (offset + first - impl_->inFile));
}

void Spool::cut(std::uint64_t size) noexcept try {
  if (size >= impl_->size()) return;
  impl_->settle();
  impl_->pending.resize(size > impl_->inFile ? static_cast<std::size_t>(size - impl_->inFile) : 0);
  impl_->inFile = std::min(impl_->inFile, size);
} catch (std::exception const&) {
  return;  // the bytes stay, and the next call throws
}

std::shared_ptr<Spool> Spool::borrow(std::shared_ptr<Spool> const& spool) {
  Impl& main = *spool->impl_;
  if (!std::exchange(main.isBorrowed, true)) return spool;
  for (auto const& lane : main.lanes)
    if (!std::exchange(lane->impl_->isBorrowed, true)) return lane;
  main.lanes.push_back(std::make_shared<Spool>(main.directory, main.memoryLimit));
  main.lanes.back()->impl_->isBorrowed = true;
  main.lanes.back()->impl_->writesBehind = main.writesBehind;
  return main.lanes.back();
}

void Spool::giveBack() { impl_->isBorrowed = false; }

void Spool::keepFile() { impl_->isKept = true; }

FileHandle Spool::shareFile() {
  if (!impl_->file.isOpen() || impl_->isElsewhere || impl_->isBorrowed) return {};
  impl_->flushAll();
  error_code error;
  impl_->file.setSize(impl_->inFile, error);  // a failed write may have left more
  FileHandle shared = error ? FileHandle() : impl_->file.share(error);
  if (error) return {};
  impl_->isBorrowed = true;
  return shared;
}

std::unique_ptr<InputStream> Content::open(std::string const& name, std::uint64_t from) const {
  return openItem(
      {name, method, storedSize, size, crc},
      [store = spool, begin = offset](std::uint64_t at, void* to, std::size_t count) {
        store->readAt(begin + at, to, count);
      },
      chunks.get(), from);
}

}  // namespace opc::model::zip
