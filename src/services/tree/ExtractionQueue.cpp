// SPDX-License-Identifier: Apache-2.0
#include "services/tree/ExtractionQueue.hpp"

#include <algorithm>
#include <boost/system/error_code.hpp>
#include <ios>

#include "opc/Streams.hpp"
#include "services/tree/EncryptedContent.hpp"
#include "services/tree/Messages.hpp"

namespace opc::ztservices {
namespace {

using boost::system::error_code;

// A batch is worth waking a thread, and its open files are few. Batches count as many bytes as they may have, so that
// no more than 256 files are open.
constexpr std::size_t kFilesOfBatch = 16;
constexpr std::uint64_t kBytesOfBatch = 1u << 20;
constexpr std::size_t kShareOfBatch = TaskQueue::kBudget / 16;

constexpr std::uint64_t kLongCopy = 1u << 20;
constexpr std::uint64_t kLongContent = 8u << 20;  // which the package may hold in chunks

/// Throws what commit() reports, by the step that failed.
[[noreturn]] void throwCouldNotWrite(std::u16string const& path, FileOutputStream const& file, error_code error) {
  if (!error) error = make_error_code(boost::system::errc::io_error);
  switch (file.getFailedStep()) {
    case FileOutputStream::Step::Time:
      throw CouldNotSetLastModifiedTime(messages::withPathAndError(messages::kCouldNotSetTime, path, error), error);
    case FileOutputStream::Step::Permissions:
      throw CouldNotSetPermissions(messages::withPathAndError(messages::kCouldNotSetPermissions, path, error), error);
    default:
      throw CouldNotWriteFile(messages::withPathAndError(messages::kCouldNotWriteFile, path, error), error);
  }
}

}  // namespace

std::unique_ptr<IContentSource> FileContent::open(SharedDecryptor const& decryptor) const {
  if (transformMode != TransformMode::Transform) return std::make_unique<PartContentSource>(content.part);
  return decrypted(content, decryptor);
}

void FileTransfer::open(SharedDecryptor const& decryptor, std::size_t threads) {
  model::Part const& part = content_.content.part;
  bool const isStored = content_.transformMode != TransformMode::Transform;
  bool const isPlain = isStored || !isMarkedEncrypted(part.getContentType());
  if (!isStored && isPlain) throwIfMarkedOtherwise(content_.content);
  if (threads > 0 && isPlain && part.getSize() > kLongContent) {
    chunks_ = part.getInputStreamAt(0, threads);
  } else {
    source_ = content_.open(decryptor);
    source_->getInputStream();
  }
}

void FileTransfer::write() {
  file_ = createDestination();
  copy(chunks_ ? *chunks_ : source_->getInputStream());
  file_->prepare();
  chunks_.reset();
  source_.reset();
}

void FileTransfer::commit() {
  error_code error;
  file_->commit(error);
  if (error) throwCouldNotWrite(path_, *file_, error);
  file_.reset();
}

/// The stream sets time and permissions where the entry has them and they are to be restored.
std::unique_ptr<FileOutputStream> FileTransfer::createDestination() {
  constexpr auto kMode = std::ios::out | std::ios::binary;
  error_code error;
  auto file = restoreMode_ == RestoreMode::TimeAndPermissions
                  ? ops_->createForRestoring(path_, entry_.getPermissions(), entry_.getLastModifiedTime(), error)
                  : ops_->createOutputStream(path_, kMode, error);
  if (error || !file) throw CouldNotCreateFile(messages::withPath(messages::kCouldNotCreateFile, path_));
  return file;
}

/// A short content is copied without a look at the watch, which would take longer.
void FileTransfer::copyTo(OutputStream& to, InputStream& from) {
  if (!watch_) return StreamHelper::copyStreamToStream(from, to);
  watch_->check();
  std::uint64_t const size = decryptedSize(content_.content);
  if (size > kLongCopy || content_.content.deflatedFrom == kUnknownSize) {
    WatchedInput watched(from, *watch_);
    StreamHelper::copyStreamToStream(watched, to);
  } else {
    StreamHelper::copyStreamToStream(from, to);
    watch_->addBytes(size);
  }
}

/// Exceptions of the input pass unchanged; those of the output carry the code that commit() reports.
void FileTransfer::copy(InputStream& from) {
  try {
    StdOStreamAdaptor adaptor(*file_);
    copyTo(adaptor, from);
    adaptor.close();
  } catch (std::exception const&) {
    if (!file_->fail()) throw;
    error_code error;
    file_->commit(error);
    throwCouldNotWrite(path_, *file_, error);
  }
}

/// Steps that follow one another.
class ExtractionQueue::Batch final : public TaskQueue::Task {
 public:
  Batch(ExtractionQueue& queue, std::vector<Step> steps) : queue_(queue), steps_(std::move(steps)) {}

  void run() override {
    for (Step& step : steps_)
      if (step.transfer) prepare(step);
  }

  void deliver() override {
    for (Step& step : steps_) queue_.extract_(step);
  }

 private:
  void prepare(Step& step) noexcept {
    if (opens(step) && queue_.rules_.writesAhead && step.transfer) step.isWritten = writes(step);
  }

  /// A fault of the content is kept: some are printed when they are found, and are to be printed once.
  bool opens(Step& step) noexcept try {
    step.transfer->open(queue_.rules_.decryptor);
    return true;
  } catch (Exception const&) {
    step.failure = std::current_exception();
    return false;
  } catch (...) {
    step.transfer.reset();
    return false;
  }

  static bool writes(Step& step) noexcept try {
    step.transfer->write();
    return true;
  } catch (...) {
    step.transfer.reset();
    return false;
  }

  ExtractionQueue& queue_;
  std::vector<Step> steps_;
};

ExtractionQueue::ExtractionQueue(Rules rules, std::function<void(Step&)> extract)
    : rules_(std::move(rules)), extract_(std::move(extract)) {}

ExtractionQueue::~ExtractionQueue() = default;

void ExtractionQueue::add(Step step) {
  if (rules_.threads == 0) return extract_(step);
  size_ += step.size;
  collected_.push_back(std::move(step));
  if (collected_.size() == kFilesOfBatch || size_ >= kBytesOfBatch) submit();
}

/// The threads start once there is a batch.
void ExtractionQueue::submit() {
  if (!std::exchange(hasThreads_, true)) queue_.setThreads(rules_.threads);
  std::size_t const share = std::max(kShareOfBatch, static_cast<std::size_t>(std::exchange(size_, 0)));
  queue_.add(std::make_unique<Batch>(*this, std::exchange(collected_, {})), share);
}

void ExtractionQueue::finish() {
  if (hasThreads_ && !collected_.empty()) submit();
  queue_.deliverAll();
  for (Step& step : std::exchange(collected_, {})) {
    step.transfer.reset();
    extract_(step);
  }
}

}  // namespace opc::ztservices
