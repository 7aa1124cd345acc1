// SPDX-License-Identifier: Apache-2.0
// What does saving cost beside a plain copy of the file with fsync, and does memory stay bounded? Prints times of
// alternating runs and their medians, and the peak memory of a process that writes and reads one large part.
//
//   bench_saving large DIRECTORY GIB zeros|noise [THREADS]   one part of so many GiB in and out
//   bench_saving add DIRECTORY PARTS KIB [RUNS]              one part added to so many of so many KiB each
//   bench_saving threads DIRECTORY MIB                       MIB of text in one part, and in parts of 100 KiB
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "opc/Exception.hpp"
#include "opc/Strings.hpp"
#include "opc/model/Package.hpp"

namespace {
namespace fs = std::filesystem;
using namespace opc;
using namespace opc::model;

double seconds(std::function<void()> const& step) {
  auto const start = std::chrono::steady_clock::now();
  step();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Of this process, in user and system mode: what does not depend on the disk and on what else runs.
double processorSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  auto const of = [](timeval const& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
  return of(usage.ru_utime) + of(usage.ru_stime);
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.at(values.size() / 2);
}

std::u16string u16(fs::path const& path) { return toString(path.string()); }

/// Bytes that do not shrink, or text that does.
class Source {
 public:
  explicit Source(bool isNoise) : isNoise_(isNoise) {}

  void fill(std::vector<unsigned char>& bytes) {
    if (isNoise_)
      for (auto& byte : bytes) byte = static_cast<unsigned char>(next() >> 32);
    else
      for (auto& byte : bytes) byte = static_cast<unsigned char>("the quick brown fox "[(next() >> 40) % 20]);
  }

 private:
  std::uint64_t next() { return state_ = state_ * 6364136223846793005u + 1442695040888963407u; }

  bool isNoise_;
  std::uint64_t state_ = 1;
};

Part newPart(Package& package, std::u16string const& name) {
  return package.createPart(PartName(name), ContentType(u"application/octet-stream"),
                            StandardPartInfo(CompressionType::Content));
}

void writeLarge(fs::path const& path, std::uint64_t size, bool isNoise, unsigned threads) {
  auto const package = Package::create(u16(path), Existing::Replace);
  package->setCompressionThreads(threads);
  auto const stream = newPart(*package, u"/large").getOutputStream();
  std::vector<unsigned char> block(1u << 20);
  if (isNoise) Source(true).fill(block);
  for (std::uint64_t done = 0; done < size; done += block.size()) {
    if (isNoise) block[(done >> 20) % block.size()] ^= 1;  // no two alike
    stream->write(block.data(), block.size());
  }
  stream->close();
  package->save();
}

void readLarge(fs::path const& path, std::uint64_t size) {
  auto const package = Package::open(u16(path), AccessMode::ReadOnly);
  auto const stream = package->getPart(PartName(u"/large")).getInputStream();
  std::vector<unsigned char> block(1u << 20);
  std::uint64_t total = 0;
  while (!stream->isEnd()) total += stream->read(block.data(), block.size());
  if (total != size) throw Exception("the part has another size");
}

/// In a process of its own, so that its memory is its own.
void report(char const* what, std::function<void()> const& step) {
  std::fflush(stdout);
  pid_t const child = fork();
  if (child == 0) {
    try {
      step();
    } catch (std::exception const& error) {
      std::fprintf(stderr, "bench_saving: %s\n", error.what());
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  double const took = seconds([&] {
    if (wait4(child, &status, 0, &usage) != child || status != 0) throw Exception("a step failed");
  });
  std::printf("%-8s %8.2f s %8.1f MiB peak\n", what, took, static_cast<double>(usage.ru_maxrss) / 1024);
}

void large(fs::path const& directory, std::uint64_t gib, bool isNoise, unsigned threads) {
  fs::path const path = directory / "large.opc";
  report("write", [&] { writeLarge(path, gib << 30, isNoise, threads); });
  std::printf("%-8s %8.1f MiB\n", "package", static_cast<double>(fs::file_size(path)) / (1 << 20));
  report("read", [&] { readLarge(path, gib << 30); });
}

void check(bool done) {
  if (!done) throw Exception("a plain copy failed");
}

void copyAndSync(fs::path const& from, fs::path const& to) {
  int const in = open(from.c_str(), O_RDONLY), out = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  check(in >= 0 && out >= 0);
  ssize_t copied = 1;
  while (copied > 0) copied = copy_file_range(in, nullptr, out, nullptr, 1u << 30, 0);
  check(copied == 0 && fsync(out) == 0);
  check(close(out) == 0 && close(in) == 0);
}

void writeMany(fs::path const& path, int parts, std::size_t size) {
  auto const package = Package::create(u16(path), Existing::Replace);
  std::vector<unsigned char> bytes(size);
  Source source(true);
  for (int i = 0; i < parts; ++i) {
    source.fill(bytes);
    auto const stream =
        newPart(*package, u"/d" + toString(std::to_string(i / 1000)) + u"/p" + toString(std::to_string(i)) + u".bin")
            .getOutputStream();
    stream->write(bytes.data(), bytes.size());
    stream->close();
  }
  package->save();
}

void add(fs::path const& directory, int parts, std::size_t size, int runs) {
  fs::path const path = directory / "many.opc", copy = directory / "copy.opc", work = directory / "work.opc";
  writeMany(path, parts, size);
  std::vector<double> copies, additions, saves, copyWork, openWork, saveWork;
  for (int run = 0; run < runs; ++run) {
    copyAndSync(path, work);
    // Both find memory that another file has just given back: on a virtual machine any other is slow at first.
    copyAndSync(path, copy);
    fs::remove(copy);
    double const begin = processorSeconds();
    copies.push_back(seconds([&] { copyAndSync(path, copy); }));
    copyWork.push_back(processorSeconds() - begin);
    fs::remove(copy);
    double save = 0;
    double const opening = processorSeconds();
    additions.push_back(seconds([&] {
      auto const package = Package::open(u16(work), AccessMode::ReadWrite);
      newPart(*package, u"/added.bin").getOutputStream()->write("added", 5);
      double const saving = processorSeconds();
      openWork.push_back(saving - opening);
      save = seconds([&] { package->save(); });
      saveWork.push_back(processorSeconds() - saving);
    }));
    saves.push_back(save);
    fs::remove(work);
    std::printf("copy %.3f s, open and add and save %.3f s (save %.3f s)\n", copies.back(), additions.back(), save);
  }
  double const a = median(additions), c = median(copies);
  std::printf("medians: copy %.3f s, add %.3f s (save %.3f s): %.2f times, %.3f s more\n", c, a, median(saves), a / c,
              a - c);
  std::printf("processor time: copy %.3f s, open and add %.3f s, save %.3f s\n", median(copyWork), median(openWork),
              median(saveWork));
}

void threads(fs::path const& directory, std::size_t mib) {
  std::vector<unsigned char> text(100u << 10);
  for (unsigned const count : {0u, 1u, 2u, 4u}) {
    double const one = seconds([&] {
      auto const package = Package::create(u16(directory / "one.opc"), Existing::Replace);
      package->setCompressionThreads(count);
      Source source(false);
      auto const stream = newPart(*package, u"/one").getOutputStream();
      for (std::size_t done = 0; done < mib << 20; done += text.size()) {
        source.fill(text);
        stream->write(text.data(), text.size());
      }
      stream->close();
      package->save();
    });
    double const many = seconds([&] {
      auto const package = Package::create(u16(directory / "parts.opc"), Existing::Replace);
      package->setCompressionThreads(count);
      Source source(false);
      for (std::size_t done = 0; done < mib << 20; done += text.size()) {
        source.fill(text);
        auto const stream = newPart(*package, u"/p" + toString(std::to_string(done))).getOutputStream();
        stream->write(text.data(), text.size());
        stream->close();
      }
      package->save();
    });
    std::printf("%u threads: one part %.2f s, many parts %.2f s\n", count, one, many);
  }
}

}  // namespace

int main(int count, char** arguments) try {
  std::vector<std::string> const given(arguments + 1, arguments + count);
  if (given.size() < 3) throw Exception("see the head of bench/saving.cpp");
  fs::path const directory = fs::path(given[1]) / ("bench_saving-" + std::to_string(getpid()));
  fs::create_directories(directory);
  auto const number = [&](std::size_t i, int other) { return given.size() > i ? std::stoi(given[i]) : other; };
  if (given[0] == "large")
    large(directory, static_cast<std::uint64_t>(number(2, 8)), given.size() > 3 && given[3] == "noise",
          static_cast<unsigned>(number(4, 0)));
  else if (given[0] == "threads")
    threads(directory, static_cast<std::size_t>(number(2, 100)));
  else
    add(directory, number(2, 100'000), static_cast<std::size_t>(number(3, 1)) << 10, number(4, 5));
  fs::remove_all(directory);
} catch (std::exception const& error) {
  std::fprintf(stderr, "bench_saving: %s\n", error.what());
  return 1;
}
