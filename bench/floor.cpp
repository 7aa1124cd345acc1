// SPDX-License-Identifier: Apache-2.0
// How fast could packing and unpacking be at all? Does nothing but the calls that nobody can leave out: reading,
// deflating or encrypting, writing, and restoring mode and time under a temporary name. No package, no checks of names,
// no order, no bounded memory. Two threads take one file after the other, the largest first.
//
//   bench_floor pack TREE FILE [LEVEL]     (default: 6; 0 stores)
//   bench_floor unpack FILE TREE
//   bench_floor verify FILE
//   bench_floor seal TREE FILE             encrypts instead of deflating (AES-256-GCM)
//   bench_floor unseal FILE TREE
#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

constexpr unsigned kThreads = 2;
constexpr std::size_t kTagSize = 16;

/// What is done to the bytes of a file.
enum class Way { Deflate, Seal };

std::system_error failed(std::string const& what) { return {errno, std::generic_category(), what}; }

class File {
 public:
  File(int folder, std::string const& path, int flags)
      : path_(path), descriptor_(openat(folder, path.c_str(), flags, 0600)) {
    if (descriptor_ < 0) throw failed(path);
  }
  ~File() { close(descriptor_); }
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  int get() const { return descriptor_; }

  void read(std::uint64_t at, Bytes& to) const {
    if (pread(descriptor_, to.data(), to.size(), static_cast<off_t>(at)) != static_cast<ssize_t>(to.size()))
      throw failed(path_);
  }
  void write(std::uint64_t at, void const* data, std::size_t count) const {
    if (pwrite(descriptor_, data, count, static_cast<off_t>(at)) != static_cast<ssize_t>(count)) throw failed(path_);
  }

 private:
  std::string path_;
  int descriptor_;
};

/// A file of the tree, and where its bytes are in the packed file.
struct Item {
  std::uint64_t offset = 0;
  std::uint64_t stored = 0;
  std::uint64_t size = 0;
  std::uint64_t number = 0;  // of the file, which makes the IV
  std::uint32_t crc = 0;
  std::uint32_t mode = 0;
  timespec time{};
  std::array<unsigned char, kTagSize> tag{};
  std::uint32_t pathSize = 0;
};

struct Named {
  Item item;
  std::string path;
};

/// The work on one thread, with what it keeps from file to file.
class Worker {
 public:
  explicit Worker(int level)
      : level_(level),
        compressor_(libdeflate_alloc_compressor(level), libdeflate_free_compressor),
        decompressor_(libdeflate_alloc_decompressor(), libdeflate_free_decompressor),
        cipher_(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free) {}

  /// What does not shrink is stored as it is.
  Bytes const& deflate(Item& item, Bytes const& content) {
    item.crc = libdeflate_crc32(0, content.data(), content.size());
    if (level_ == 0 || content.empty()) return content;
    made_.resize(content.size() - 1);
    made_.resize(
        libdeflate_deflate_compress(compressor_.get(), content.data(), content.size(), made_.data(), made_.size()));
    return made_.empty() ? content : made_;
  }

  Bytes const& inflate(Item const& item, Bytes const& stored) {
    Bytes const& content = item.stored == item.size ? stored : inflated(item, stored);
    if (libdeflate_crc32(0, content.data(), content.size()) != item.crc) throw std::runtime_error("wrong CRC");
    return content;
  }

  Bytes const& seal(Item& item, Bytes const& content) {
    crypt(item, content, true);
    check(EVP_CIPHER_CTX_ctrl(cipher_.get(), EVP_CTRL_AEAD_GET_TAG, kTagSize, item.tag.data()));
    return made_;
  }

  Bytes const& unseal(Item& item, Bytes const& sealed) {
    crypt(item, sealed, false);
    return made_;
  }

 private:
  static void check(int result) {
    if (result != 1) throw std::runtime_error("OpenSSL failed");
  }

  Bytes const& inflated(Item const& item, Bytes const& stored) {
    made_.resize(item.size);
    if (libdeflate_deflate_decompress(decompressor_.get(), stored.data(), stored.size(), made_.data(), made_.size(),
                                      nullptr) != LIBDEFLATE_SUCCESS)
      throw std::runtime_error("not deflated");
    return made_;
  }

  void crypt(Item& item, Bytes const& from, bool encrypts) {
    std::array<unsigned char, 32> const key{1};
    std::array<unsigned char, 12> iv{};
    std::memcpy(iv.data(), &item.number, sizeof item.number);
    int count = 0;
    made_.resize(from.size());
    check(EVP_CipherInit_ex(cipher_.get(), hasKey_ ? nullptr : EVP_aes_256_gcm(), nullptr,
                            hasKey_ ? nullptr : key.data(), iv.data(), encrypts ? 1 : 0));
    hasKey_ = true;
    check(EVP_CipherUpdate(cipher_.get(), made_.data(), &count, from.data(), static_cast<int>(from.size())));
    if (!encrypts) check(EVP_CIPHER_CTX_ctrl(cipher_.get(), EVP_CTRL_AEAD_SET_TAG, kTagSize, item.tag.data()));
    check(EVP_CipherFinal_ex(cipher_.get(), made_.data() + count, &count));
  }

  int level_;
  std::unique_ptr<libdeflate_compressor, void (*)(libdeflate_compressor*)> compressor_;
  std::unique_ptr<libdeflate_decompressor, void (*)(libdeflate_decompressor*)> decompressor_;
  std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> cipher_;
  bool hasKey_ = false;
  Bytes made_{};
};

/// Each thread takes the next item until there are no more. Rethrows the first failure.
void forEach(std::vector<Named>& items, int level, std::function<void(Worker&, Named&)> const& work) {
  std::atomic<std::size_t> next{0};
  std::array<std::exception_ptr, kThreads> failures{};
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (auto& failure : failures)
    threads.emplace_back([&] {
      try {
        Worker worker(level);
        for (std::size_t i = next++; i < items.size(); i = next++) work(worker, items[i]);
      } catch (...) {
        failure = std::current_exception();
      }
    });
  for (auto& thread : threads) thread.join();
  for (auto const& failure : failures)
    if (failure) std::rethrow_exception(failure);
}

std::vector<Named> filesOf(std::string const& tree) {
  std::vector<Named> items;
  for (auto const& entry : fs::recursive_directory_iterator(tree))
    if (entry.is_regular_file() && !entry.is_symlink()) items.push_back({{}, entry.path().string()});
  return items;
}

void pack(std::string const& tree, std::string const& target, Way way, int level) {
  File const file(AT_FDCWD, target, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
  std::vector<Named> items = filesOf(tree);
  std::atomic<std::uint64_t> end{sizeof(std::uint64_t)}, number{0};
  forEach(items, level, [&](Worker& worker, Named& named) {
    File const source(AT_FDCWD, named.path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (fstat(source.get(), &status) != 0) throw failed(named.path);
    Bytes content(static_cast<std::size_t>(status.st_size));
    source.read(0, content);
    Item& item = named.item;
    item.size = content.size();
    item.number = number++;
    item.mode = status.st_mode & 07777u;
    item.time = status.st_mtim;
    Bytes const& stored = way == Way::Seal ? worker.seal(item, content) : worker.deflate(item, content);
    item.stored = stored.size();
    item.offset = end.fetch_add(item.stored);
    file.write(item.offset, stored.data(), stored.size());
  });
  std::sort(items.begin(), items.end(), [](Named const& a, Named const& b) { return a.item.size > b.item.size; });
  Bytes directory;
  for (Named& named : items) {
    std::string const path = named.path.substr(tree.size() + 1);
    named.item.pathSize = static_cast<std::uint32_t>(path.size());
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&named.item);
    directory.insert(directory.end(), bytes, bytes + sizeof named.item);
    directory.insert(directory.end(), path.begin(), path.end());
  }
  std::uint64_t const begin = end;
  file.write(begin, directory.data(), directory.size());
  file.write(0, &begin, sizeof begin);
  if (fsync(file.get()) != 0) throw failed(target);
}

std::vector<Named> directoryOf(File const& file) {
  Bytes head(sizeof(std::uint64_t));
  file.read(0, head);
  std::uint64_t begin = 0;
  std::memcpy(&begin, head.data(), sizeof begin);
  struct stat status {};
  fstat(file.get(), &status);
  Bytes bytes(static_cast<std::size_t>(status.st_size) - begin);
  file.read(begin, bytes);
  std::vector<Named> items;
  for (std::size_t at = 0; at < bytes.size();) {
    Item item;
    std::memcpy(&item, &bytes[at], sizeof item);
    at += sizeof item;
    items.push_back({item, std::string(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                       bytes.begin() + static_cast<std::ptrdiff_t>(at + item.pathSize))});
    at += item.pathSize;
  }
  return items;
}

void restore(int folder, Named const& named, Bytes const& content) {
  std::string const temporary = named.path + ".~" + std::to_string(named.item.number);
  File const file(folder, temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC);
  file.write(0, content.data(), content.size());
  std::array<timespec, 2> const times{named.item.time, named.item.time};
  if (futimens(file.get(), times.data()) != 0 || fchmod(file.get(), named.item.mode) != 0) throw failed(named.path);
  if (renameat(folder, temporary.c_str(), folder, named.path.c_str()) != 0) throw failed(named.path);
}

void unpack(std::string const& source, std::string const& tree, Way way) {
  File const file(AT_FDCWD, source, O_RDONLY | O_CLOEXEC);
  std::vector<Named> items = directoryOf(file);
  std::string last;
  for (Named const& named : items) {
    std::string folder = (fs::path(tree) / named.path).parent_path().string();
    if (folder != last) fs::create_directories(last = std::move(folder));
  }
  File const root(AT_FDCWD, tree, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  forEach(items, 1, [&](Worker& worker, Named& named) {
    Bytes stored(named.item.stored);
    file.read(named.item.offset, stored);
    restore(root.get(), named,
            way == Way::Seal ? worker.unseal(named.item, stored) : worker.inflate(named.item, stored));
  });
}

void verify(std::string const& source) {
  File const file(AT_FDCWD, source, O_RDONLY | O_CLOEXEC);
  std::vector<Named> items = directoryOf(file);
  forEach(items, 1, [&](Worker& worker, Named& named) {
    Bytes stored(named.item.stored);
    file.read(named.item.offset, stored);
    worker.inflate(named.item, stored);
  });
}

/// False where the arguments are no command.
bool perform(std::vector<std::string> const& words) {
  std::string const command = words.empty() ? std::string() : words[0];
  if (command == "verify" && words.size() == 2) {
    verify(words[1]);
    return true;
  }
  if (words.size() < 3 || words.size() > 4) return false;
  if (command == "pack") pack(words[1], words[2], Way::Deflate, words.size() > 3 ? std::stoi(words[3]) : 6);
  if (command == "seal") pack(words[1], words[2], Way::Seal, 1);
  if (command == "unpack" || command == "unseal")
    unpack(words[1], words[2], command == "unpack" ? Way::Deflate : Way::Seal);
  return command == "pack" || command == "seal" || command == "unpack" || command == "unseal";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (perform({argv + 1, argv + argc})) return EXIT_SUCCESS;
    std::fputs("usage: bench_floor pack|unpack|verify|seal|unseal ...\n", stderr);
  } catch (std::exception const& e) {
    std::fprintf(stderr, "bench_floor: %s\n", e.what());
  }
  return EXIT_FAILURE;
}
