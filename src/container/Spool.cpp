// SPDX-License-Identifier: Apache-2.0
#include "container/Spool.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <utility>
#include <vector>

#include "container/ItemStream.hpp"
#include "container/ZipErrors.hpp"
#include "io/Background.hpp"
#include "io/FileIo.hpp"
#include "io/TemporaryNames.hpp"

namespace opc::model::zip {
namespace {

constexpr std::size_t kWriteBuffer = 1u << 20;

std::string temporaryDirectory() {
  std::error_code error;
  auto const path = std::filesystem::temp_directory_path(error);
  if (error) throw couldNotSave("TMPDIR", error.value());
  return path.string();
}

/// A file without a name, or where the file system has none of these, one whose name is gone at once. None,
/// with errno set, where the directory gives none.
Descriptor tryUnnamedFile(std::string const& directory) {
  if (directory.find('\0') != std::string::npos) throw couldNotSave(directory, EINVAL);
  auto const make = [](std::string const& path, int flags) {
    return Descriptor(repeatInterrupted([&] { return open(path.c_str(), flags | O_RDWR | O_CLOEXEC, 0600); }));
  };
  Descriptor file = make(directory, O_TMPFILE);
  // EISDIR is the answer of a kernel that does not know the flag.
  if (file || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return file;
  std::string const name = directory + "/" + temporaryNameForSpool();
  file = make(name, O_CREAT | O_EXCL);
  // A save of somebody else may have taken the name for one left behind, which is as good.
  if (file && unlink(name.c_str()) != 0 && errno != ENOENT) throw couldNotSave(name, errno);
  return file;
}

/// A package can be edited where its directory may not be written: it may be meant for another place.
Descriptor makeUnnamedFile(std::string& directory) {
  Descriptor file = tryUnnamedFile(directory);
  if (!file && (errno == EACCES || errno == EPERM || errno == EROFS)) {
    directory = temporaryDirectory();
    file = tryUnnamedFile(directory);
  }
  if (!file) throw couldNotSave(directory, errno);
  return file;
}

}  // namespace

/// What is not in the file (yet): everything while it is little, the latest writes afterwards.
struct Spool::Impl {
  std::string directory;
  std::size_t memoryLimit;
  Descriptor file{};
  std::uint64_t inFile = 0;
  std::vector<unsigned char> leaving{};  // being written at offset inFile
  int leavingError = 0;
  std::vector<unsigned char> pending{};  // begins behind that
  std::vector<std::shared_ptr<Spool>> lanes{};
  bool isBorrowed = false;
  bool writesBehind = false;
  std::unique_ptr<Background> background{};  // goes before what it uses

  std::uint64_t size() const { return inFile + leaving.size() + pending.size(); }

  void writeNow(void const* data, std::size_t count) {
    settle();
    if (int const error = writeFullyAt(file.get(), inFile, data, count)) throw couldNotSave(directory, error);
    inFile += count;
  }

  int writeLeaving() { return writeFullyAt(file.get(), inFile, leaving.data(), leaving.size()); }

  /// What failed before is tried again, and when it fails again is still leaving, for the next time.
  void settle() {
    if (leaving.empty()) return;
    background->wait();
    if (leavingError) leavingError = writeLeaving();
    if (leavingError) throw couldNotSave(directory, leavingError);
    inFile += leaving.size();
    leaving.clear();
  }

  void flush() {
    settle();
    if (pending.empty()) return;
    if (!background) background = std::make_unique<Background>(writesBehind);
    leaving.swap(pending);
    leavingError = ENOMEM;  // as long as nothing has begun, in case that it cannot
    background->begin([this] { leavingError = writeLeaving(); });
    if (!writesBehind) settle();
  }

  void flushAll() {
    flush();
    settle();
  }

  void makeRoom(std::size_t count) {
    if (!file && pending.size() + count > memoryLimit) {
      if (directory.empty()) directory = temporaryDirectory();
      file = makeUnnamedFile(directory);
    }
    if (file && pending.size() + count > kWriteBuffer) flush();
  }
};

Spool::Spool(std::string directory, std::size_t memoryLimit) : impl_(new Impl{std::move(directory), memoryLimit}) {}

Spool::~Spool() = default;

std::uint64_t Spool::append(void const* data, std::size_t count) {
  auto const* const from = static_cast<unsigned char const*>(data);
  impl_->makeRoom(count);
  std::uint64_t const offset = size();
  if (impl_->file && count > kWriteBuffer)
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
  if (int error = readFully(impl_->file.get(), offset, to, first))
    throw couldNotSave(impl_->directory, error == kEndOfFile ? EIO : error);
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
  if (impl_->file) impl_->flushAll();
  return impl_->file.get();
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

std::unique_ptr<InputStream> Content::open(std::string const& name) const {
  return openItem({name, method, storedSize, size, crc},
                  [store = spool, begin = offset](std::uint64_t at, void* to, std::size_t count) {
                    store->readAt(begin + at, to, count);
                  });
}

}  // namespace opc::model::zip
