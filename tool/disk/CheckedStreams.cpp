// SPDX-License-Identifier: Apache-2.0
#include "disk/CheckedStreams.hpp"

#include <cstdint>
#include <utility>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "opc/Exception.hpp"

namespace ztpkg {

CheckedInput::CheckedInput(std::unique_ptr<std::istream> stream, std::u16string path, Progress& progress,
                           std::function<void()> atEnd)
    : std::istream(nullptr),
      stream_(std::move(stream)),
      buffer_(*stream_->rdbuf(), std::move(path), progress),
      atEnd_(std::move(atEnd)) {
  rdbuf(&buffer_);
  exceptions(std::ios::badbit);  // exceptions of the buffer reach the reader unchanged
}

CheckedInput::~CheckedInput() {
  if (atEnd_) atEnd_();
}

template <typename Read>
auto CheckedInput::Buffer::guarded(Read read) {
  throwIfInterrupted();
  try {
    return read(*inner_);
  } catch (opc::Exception const& error) {
    std::string const message = "cannot read " + shown(path_) + ": " +
                                (error.getErrorCode() ? error.getErrorCode().message() : std::string(error.what()));
    throw Failure(Report{Exit::Disk, "cannot-read", message, path_});
  }
}

void CheckedInput::Buffer::advance(std::uint64_t count) {
  position_ += count;
  if (position_ <= counted_) return;
  progress_->addBytes(position_ - counted_);
  counted_ = position_;
}

CheckedInput::Buffer::pos_type CheckedInput::Buffer::moved(pos_type position) {
  if (position != pos_type(off_type(-1))) position_ = static_cast<std::uint64_t>(off_type(position));
  return position;
}

std::streamsize CheckedInput::Buffer::xsgetn(char* to, std::streamsize count) {
  std::streamsize const got = guarded([&](std::streambuf& inner) { return inner.sgetn(to, count); });
  advance(static_cast<std::uint64_t>(got));
  return got;
}

CheckedInput::Buffer::int_type CheckedInput::Buffer::underflow() {
  return guarded([](std::streambuf& inner) { return inner.sgetc(); });
}

CheckedInput::Buffer::int_type CheckedInput::Buffer::uflow() {
  int_type const got = guarded([](std::streambuf& inner) { return inner.sbumpc(); });
  if (!traits_type::eq_int_type(got, traits_type::eof())) advance(1);
  return got;
}

CheckedInput::Buffer::pos_type CheckedInput::Buffer::seekoff(off_type offset, std::ios::seekdir from,
                                                             std::ios::openmode mode) {
  return moved(guarded([&](std::streambuf& inner) { return inner.pubseekoff(offset, from, mode); }));
}

CheckedInput::Buffer::pos_type CheckedInput::Buffer::seekpos(pos_type position, std::ios::openmode mode) {
  return moved(guarded([&](std::streambuf& inner) { return inner.pubseekpos(position, mode); }));
}

CheckedOutput::CheckedOutput(std::unique_ptr<opc::FileOutputStream> inner, Progress& progress,
                             std::function<void()> onInexactTime)
    : FileOutputStream(nullptr),
      inner_(std::move(inner)),
      buffer_(*inner_, progress),
      onInexactTime_(std::move(onInexactTime)) {
  rdbuf(&buffer_);
  exceptions(std::ios::badbit);  // exceptions of the buffer reach the writer unchanged
}

// A writer that failed may still ask for the reason; that must not give the file its name.
void CheckedOutput::commit(boost::system::error_code& error) {
  throwIfInterrupted();
  inner_->commit(error);
  if (!error && inner_->hasInexactTime() && onInexactTime_) onInexactTime_();
}

std::streamsize CheckedOutput::Buffer::xsputn(char const* from, std::streamsize count) {
  throwIfInterrupted();
  if (!inner_->write(from, count)) return 0;
  progress_->addBytes(static_cast<std::uint64_t>(count));
  return count;
}

CheckedOutput::Buffer::int_type CheckedOutput::Buffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
  char const c = traits_type::to_char_type(character);
  return xsputn(&c, 1) == 1 ? character : traits_type::eof();
}

int CheckedOutput::Buffer::sync() { return inner_->flush() ? 0 : -1; }

}  // namespace ztpkg
