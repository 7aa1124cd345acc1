// SPDX-License-Identifier: Apache-2.0
#include "disk/AtomicOutputStream.hpp"

#include <fcntl.h>

#include <utility>

#include "disk/FileMetadata.hpp"

namespace opc {

using boost::system::error_code;

std::unique_ptr<AtomicOutputStream> AtomicOutputStream::create(Place place, FileAttributes const& attributes,
                                                               bool replace, error_code& error) {
  FileHandle file;
  TemporaryName temporary =
      TemporaryName::makeFile(place.descriptor(), temporaryNameForExtraction, O_WRONLY, file, error);
  if (error) return nullptr;
  error_code withoutLocks;  // then nothing is taken for a leftover
  file.tryLock(withoutLocks);
  return std::unique_ptr<AtomicOutputStream>(
      new AtomicOutputStream(std::move(place), std::move(temporary), std::move(file), attributes, replace));
}

AtomicOutputStream::AtomicOutputStream(Place place, TemporaryName temporary, FileHandle file,
                                       FileAttributes const& attributes, bool replace)
    : FileOutputStream(nullptr),
      place_(std::move(place)),
      temporary_(std::move(temporary)),
      buffer_(std::move(file), attributes.zeroRuns),
      attributes_(attributes),
      replace_(replace) {
  rdbuf(&buffer_);
}

void AtomicOutputStream::commit(error_code& error) {
  if (!finished_) result_ = finish();
  finished_ = true;
  error = result_;
}

void AtomicOutputStream::prepare() {
  if (std::exchange(isPrepared_, true)) return;
  isWhole_ = buffer_.pubsync() == 0 && !bad();
  if (isWhole_) unset_ = setAttributes();
}

error_code AtomicOutputStream::finish() {
  prepare();
  error_code error = buffer_.commit();
  if (!error && !isWhole_) error = posixError(EIO);  // something other than the file failed, such as memory
  if (error || !unset_) failedStep_ = Step::Content;
  if (!error) error = unset_;
  if (!error) temporary_.moveTo(place_.name.c_str(), replace_, error);
  if (!error) temporary_.remove(error);
  return error;
}

error_code AtomicOutputStream::setAttributes() {
  error_code error;
  failedStep_ = Step::Time;
  if (!attributes_.time.is_not_a_date_time()) error = setModificationTime(buffer_.file(), attributes_.time);
  hasInexactTime_ = attributes_.allowsInexactTime && error == posixError(ERANGE);
  if (error && !hasInexactTime_) return error;
  failedStep_ = Step::Permissions;
  bool const isKnown = attributes_.permissions != Perms::NotKnown;
  if (isKnown && !arePermissionBits(attributes_.permissions)) return posixError(EINVAL);
  mode_t const restored = attributes_.permissions & attributes_.permittedBits;
  buffer_.file().setMode(isKnown ? restored : attributes_.mode, error);
  return error;
}

}  // namespace opc
