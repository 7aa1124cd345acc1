// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "crypto/CryptoInterfaces.hpp"
#include "io/TaskQueue.hpp"
#include "io/Watch.hpp"
#include "opc/FileSystemOps.hpp"
#include "opc/model/Part.hpp"
#include "opc/ztservices/ContentSources.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "services/tree/EncryptedContent.hpp"

namespace opc::ztservices {

using SharedDecryptor = std::shared_ptr<IDecryptor>;

/// The stored content of a file, and how it is read.
struct FileContent {
  NamedContent content;
  TransformMode transformMode;

  /// Throws as FileSystemManager::getFileContentSource().
  std::unique_ptr<IContentSource> open(SharedDecryptor const& decryptor) const;
};

/// A file on its way from a package to the disk. Its steps come in this order, on one thread or another, and throw what
/// FileSystemManager::extractAll() throws.
class FileTransfer {
 public:
  /// Operations and watch are borrowed; `path` is the one on the disk. Without a watch nothing is counted.
  FileTransfer(FileContent content, FileSystemOps& ops, std::u16string path, FileSystemEntry entry,
               RestoreMode restoreMode, Watch* watch = nullptr)
      : content_(std::move(content)),
        ops_(&ops),
        path_(std::move(path)),
        entry_(std::move(entry)),
        restoreMode_(restoreMode),
        watch_(watch) {}

  /// Content that cannot be read or does not authenticate is found here, and leaves an existing file unchanged. With
  /// `threads`, a long content is inflated on that many.
  void open(SharedDecryptor const& decryptor, std::size_t threads = 0);
  /// Nothing appears under the path, where the operations write under a temporary name.
  void write();
  void commit();

 private:
  std::unique_ptr<FileOutputStream> createDestination();
  void copy(InputStream& from);
  void copyTo(OutputStream& to, InputStream& from);

  FileContent content_;
  FileSystemOps* ops_;
  std::u16string path_;
  FileSystemEntry entry_;
  RestoreMode restoreMode_;
  Watch* watch_;
  std::unique_ptr<IContentSource> source_;
  std::unique_ptr<InputStream> chunks_;     // of a long content, instead of the source
  std::unique_ptr<FileOutputStream> file_;  // null until it is written
};

/// Extracts entries in the order in which they are added, one after the other. On threads it opens, and writes where it
/// may, the files whose turn is still to come; so the outcome is that of one thread. What fails ahead of its turn for
/// another reason than its content is done again in its turn.
class ExtractionQueue {
 public:
  struct Step {
    FileSystemEntry entry;
    std::unique_ptr<FileTransfer> transfer{};  // null for what is to be done in its turn
    std::uint64_t size = 0;                    // of the content
    std::exception_ptr failure{};              // of its content, ahead of its turn
    bool isWritten = false;                    // ahead of its turn
  };
  struct Rules {
    std::size_t threads;  // none: every step is done at once, in its turn
    bool writesAhead;
    SharedDecryptor decryptor;
  };

  /// `extract` is called for each step in its turn.
  ExtractionQueue(Rules rules, std::function<void(Step&)> extract);
  ~ExtractionQueue();
  ExtractionQueue(ExtractionQueue const&) = delete;
  ExtractionQueue& operator=(ExtractionQueue const&) = delete;

  /// Whether a file of that size may be prepared ahead of its turn.
  bool takesAhead(std::uint64_t size) const { return rules_.threads > 0 && size <= kMostAhead; }
  /// May throw what `extract` throws for an earlier step.
  void add(Step step);
  void finish();

 private:
  class Batch;

  static constexpr std::uint64_t kMostAhead = 8u << 20;

  void submit();

  Rules rules_;
  std::function<void(Step&)> extract_;
  std::vector<Step> collected_;  // for the next batch
  std::uint64_t size_ = 0;       // of their contents
  bool hasThreads_ = false;
  TaskQueue queue_;  // last, so that it ends before what its tasks use
};

}  // namespace opc::ztservices
