// SPDX-License-Identifier: Apache-2.0
#include "disk/FileMetadata.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>

#include "io/FileStreams.hpp"
#include "opc/Strings.hpp"
#include "text/EpochTime.hpp"
#include "text/Escape.hpp"
#include "text/Unicode.hpp"

namespace opc {
namespace {

using boost::system::error_code;

constexpr long kNanosecondsPerMicrosecond = 1000;
constexpr std::int64_t kCoarsestClock = 2;  // seconds; the coarsest in which a file system keeps times
constexpr std::size_t kFirstSize = 256;     // of a link's target

// Every file system keeps these. Some silently set the nearest time for others.
bool isCommonlyKept(timespec const& time) {
  return time.tv_sec >= 0 && time.tv_sec <= std::numeric_limits<std::int32_t>::max();
}

/// Sets the time by `set` and reads it back by `look` where the file system may not keep it. Both return whether they
/// succeed.
template <typename Set, typename Look>
error_code setTime(boost::posix_time::ptime const& time, Set set, Look look) {
  if (time.is_special()) return posixError(EINVAL);
  EpochTime const sinceEpoch = toEpoch(time);
  timespec const wanted{sinceEpoch.seconds, static_cast<long>(sinceEpoch.microseconds) * kNanosecondsPerMicrosecond};
  error_code error;
  bool const isSet = set(wanted, error);
  if (isCommonlyKept(wanted)) return error;
  if (!isSet) return error == posixError(EINVAL) || error == posixError(EOVERFLOW) ? posixError(ERANGE) : error;
  struct stat status {};
  bool const isKept =
      look(status, error) && std::abs(std::int64_t{status.st_mtim.tv_sec} - wanted.tv_sec) <= kCoarsestClock;
  return isKept ? error_code() : posixError(ERANGE);
}

bool succeeds(int result, error_code& error) {
  error = result == 0 ? error_code() : lastPosixError();
  return !error;
}

std::optional<FileIdentity> identityOf(FileHandle const& file) {
  struct stat status {};
  error_code error;
  return file.getStatus(status, error) ? std::optional(FileIdentity::of(status)) : std::nullopt;
}

std::string readTarget(int folder, char const* name, error_code& error) {
  std::string target(kFirstSize, '\0');
  while (true) {
    ssize_t const length = ::readlinkat(folder, name, target.data(), target.size());
    if (length < 0) {
      error = lastPosixError();
      return {};
    }
    bool const whole = static_cast<std::size_t>(length) < target.size();
    target.resize(whole ? static_cast<std::size_t>(length) : target.size() * 2);
    if (whole) return target;
  }
}

}  // namespace

boost::posix_time::ptime modificationTimeOf(struct stat const& status, error_code& error) {
  auto const time = fromEpoch({status.st_mtim.tv_sec, status.st_mtim.tv_nsec / kNanosecondsPerMicrosecond});
  if (time.is_special()) error = posixError(ERANGE);
  return time;
}

error_code setModificationTime(FileHandle const& file, boost::posix_time::ptime const& time) {
  return setTime(
      time,
      [&](timespec const& wanted, error_code& error) {
        file.setModificationTime(wanted, error);
        return !error;
      },
      [&](struct stat& status, error_code& error) { return file.getStatus(status, error); });
}

error_code setModificationTime(int folder, char const* name, boost::posix_time::ptime const& time, int flags) {
  return setTime(
      time,
      [&](timespec const& wanted, error_code& error) {
        timespec const times[2] = {{0, UTIME_OMIT}, wanted};
        return succeeds(::utimensat(folder, name, times, flags), error);
      },
      [&](struct stat& status, error_code& error) { return succeeds(::fstatat(folder, name, &status, flags), error); });
}

OpenedFile makeOpenedFile(FileHandle file, std::u16string const& path) {
  OpenedFile opened;
  struct stat status {};
  auto content = makeInputStream(std::move(file), path, status, opened.openError);
  if (!content) return opened;
  opened.getIdentityNow = [stream = content.get()] { return identityOf(stream->file()); };
  opened.content = std::move(content);
  opened.permissions = permissionsOf(status);
  opened.time = modificationTimeOf(status, opened.timeError);
  if (!S_ISREG(status.st_mode)) return opened;
  opened.size = static_cast<std::uint64_t>(status.st_size);
  opened.identity = FileIdentity::of(status);
  return opened;
}

void throwCouldNotReadLink(std::u16string const& path, error_code error) {
  throw Exception("Could not read symbolic link: " + toUDEString(escapeForDisplay(path)) + ": " + error.message(),
                  error);
}

std::u16string readLink(int folder, char const* name, std::u16string const& path) {
  error_code error;
  std::string const target = readTarget(folder, name, error);
  if (error) throwCouldNotReadLink(path, error);
  std::u16string text;
  if (unicode::appendUTF16(text, target) != target.size())
    throw InvalidText("Target of symbolic link is not valid UTF-8: " + toUDEString(escapeForDisplay(path)) + ": " +
                          escape::bytes(target),
                      posixError(EILSEQ));
  return text;
}

}  // namespace opc
