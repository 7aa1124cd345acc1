// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "container/ArchiveWriter.hpp"
#include "container/AtomicFile.hpp"
#include "container/Faults.hpp"
#include "io/FileHandle.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "package/ManagerRegistry.hpp"
#include "package/Messages.hpp"
#include "package/PackageState.hpp"
#include "package/PackageWriter.hpp"
#include "package/Watching.hpp"

namespace opc::model {
namespace {

using detail::PackageFile;
using detail::PackageWriter;
using zip::AtomicFile;

/// Refuses a save within a save, which a manager's doSave would repeat without end.
class SavingGuard {
 public:
  explicit SavingGuard(PackageState& state) : state_(state) {
    if (state_.isSaving) throw InvalidState(detail::messages::kBeingSaved);
    state_.isSaving = true;
  }
  ~SavingGuard() { state_.isSaving = false; }
  SavingGuard(SavingGuard const&) = delete;
  SavingGuard& operator=(SavingGuard const&) = delete;

 private:
  PackageState& state_;
};

/// Has the managers write their data into parts. Afterwards no part is being written.
void gather(PackageState& state) {
  state.requireNoOpenWrites();
  state.managers->saveAll();
  state.requireNoOpenWrites();
}

/// Has the package read from the archive just written. If that cannot be opened, the package continues with the old
/// archive and the spool, so that the save has not failed.
template <typename OpenBytes>
void adoptWritten(PackageWriter& writer, OpenBytes const& openBytes) {
  try {
    writer.adopt(zip::Archive::open(openBytes()));
  } catch (std::exception const&) {
    return;
  }
}

/// Whether the own file was written in place and its time put back. A new change time alone may come of a chmod or a
/// new link: only then the directory is read again, which has the place and the CRC of each content.
bool isEditedInPlace(PackageState const& state, FileIdentity const& now) {
  auto const& archive = state.contents.archive();
  return now != *state.file.identity && archive && !archive->holdsItsDirectory();
}

/// The own file is to hold this package still.
void requireUnchangedFile(PackageState const& state) {
  PackageFile const& file = state.file;
  if (!file.identity) return;
  struct stat status {};
  bool const isThere = ::stat(file.path.c_str(), &status) == 0;
  if (!isThere && errno != ENOENT) throw zip::couldNotSave(file.path, errno);
  if (!isThere || !zip::isSameContent(FileIdentity::of(status), *file.identity) ||
      isEditedInPlace(state, FileIdentity::of(status)))
    throw zip::packageHasChanged(file.path);
}

/// Whether the store's temporary files are in the target's directory, so that they inherit what a new file there does.
bool isBesideContents(PackageState const& state, PackageFile const& target) {
  std::error_code error;
  return target.path == state.file.path && !std::filesystem::is_symlink(target.path, error);
}

/// Replaces the target and binds the package to it.
void saveToFile(PackageState& state, Watching& watching, PackageFile const& target, SaveOptions const& options) {
  if (target.identity) requireUnchangedFile(state);
  AtomicFile::Rules rules;
  rules.replacesProtected = options.replaceProtected;
  rules.target = target.mustBeNew ? AtomicFile::Target::MustNotExist : AtomicFile::Target::MayExist;
  rules.expected = target.identity;
  if (Watch* const watch = watching.current()) rules.checkpoint = [watch] { watch->finish(); };
  PackageWriter writer(state, watching);
  FileHandle contents = isBesideContents(state, target) ? writer.shareFile() : FileHandle();
  bool const isOffered = contents.isOpen();
  AtomicFile file(target.path, rules, contents);
  if (isOffered && !contents.isOpen())
    writer.complete(file);
  else
    writer.write(file);
  std::string bound = target.path;
  state.file.identity = file.replace();
  // The package is at the path even if a later step fails, and the next save must expect it there.
  state.file.path = std::move(bound);
  state.file.mustBeNew = false;
  adoptWritten(writer, [&] { return zip::openFileBytes(state.file.path); });
  file.syncDirectory();
}

/// Whether a save to the target would replace the file to which the package is bound.
bool isOwnFile(PackageFile const& own, PackageFile const& target) {
  std::error_code error;
  return own.identity && !target.mustBeNew &&
         (own.path == target.path || std::filesystem::equivalent(own.path, target.path, error));
}

std::vector<unsigned char> writtenBytes(PackageWriter& writer) {
  std::vector<unsigned char> bytes;
  zip::MemorySink sink(bytes);
  writer.write(sink);
  return bytes;
}

void saveInMemory(PackageState& state, Watching& watching) {
  PackageWriter writer(state, watching);
  auto bytes = writtenBytes(writer);
  if (Watch* const watch = watching.own()) watch->finish();
  adoptWritten(writer, [&] { return zip::makeMemoryBytes(std::move(bytes)); });
}

}  // namespace

void Package::save(SaveOptions const& options) {
  PackageState& state = this->state();
  state.requireWritable();
  SavingGuard const guard(state);
  Watching watching(state);
  gather(state);
  if (!state.isChanged)
    requireUnchangedFile(state);  // nothing to write, but no doubt either that the path holds this package
  else if (state.file.path.empty())
    saveInMemory(state, watching);
  else
    saveToFile(state, watching, state.file, options);
  state.isChanged = false;
  state.managers->markClean();
}

void Package::saveAs(std::u16string const& path, Existing existing, SaveOptions const& options) {
  PackageState& state = this->state();
  SavingGuard const guard(state);
  Watching watching(state);
  PackageFile target = PackageFile::forNew(path, existing);
  if (isOwnFile(state.file, target)) target.identity = state.file.identity;
  gather(state);
  saveToFile(state, watching, target, options);
  state.isChanged = false;
  state.managers->markClean();
}

std::vector<unsigned char> Package::saveToBytes() {
  PackageState& state = this->state();
  SavingGuard const guard(state);
  Watching watching(state);
  gather(state);
  PackageWriter writer(state, watching);
  auto bytes = writtenBytes(writer);
  if (Watch* const watch = watching.own()) watch->finish();
  return bytes;
}

}  // namespace opc::model
