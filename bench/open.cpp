// SPDX-License-Identifier: Apache-2.0
// What does opening a package cost for each part and each relationship, in time and memory, and does it grow
// with their number? How much memory does the reading of one very large part take? Every step runs in a
// process of its own; memory is the peak above that of an empty run.
//
//   bench_open [DIRECTORY [GIBIBYTES]]      (default: the temporary directory, and a part of 8 GiB; 0: none)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/model/Package.hpp"

namespace {
namespace fs = std::filesystem;
using namespace opc;
using namespace opc::model;

constexpr int kRuns = 5;  // of which the fastest counts

/// Of the step alone, without starting its process.
struct Times {
  double seconds = 1e9;
  double ofProcessor = 1e9;  // without what other programs take on a busy machine
};

struct Figures {
  Times times;
  long peakKiB = 0;
};

double processorSeconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

Times timesOf(std::function<void()> const& step) {
  auto const start = std::chrono::steady_clock::now();
  double const processorStart = processorSeconds();
  step();
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          processorSeconds() - processorStart};
}

Figures measureOnce(std::function<void()> const& step) {
  int ends[2];
  if (pipe(ends) != 0) throw Exception("no pipe");
  pid_t const child = fork();
  if (child == 0) {
    try {
      Times const took = timesOf(step);
      _exit(write(ends[1], &took, sizeof took) == sizeof took ? 0 : 1);
    } catch (std::exception const& error) {
      std::fprintf(stderr, "bench_open: %s\n", error.what());
      _exit(1);
    }
  }
  close(ends[1]);
  Figures figures;
  bool const told = read(ends[0], &figures.times, sizeof figures.times) == sizeof figures.times;
  close(ends[0]);
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0 || !told) throw Exception("a step failed");
  figures.peakKiB = usage.ru_maxrss;
  return figures;
}

Figures measure(std::function<void()> const& step, int runs) {
  Figures best;
  for (int i = 0; i < runs; ++i) {
    Figures const figures = measureOnce(step);
    best.times.seconds = std::min(best.times.seconds, figures.times.seconds);
    best.times.ofProcessor = std::min(best.times.ofProcessor, figures.times.ofProcessor);
    best.peakKiB = std::max(best.peakKiB, figures.peakKiB);
  }
  return best;
}

class Bench {
 public:
  explicit Bench(fs::path const& directory) : root_(directory / ("bench_open-" + std::to_string(getpid()))) {
    fs::create_directories(root_);
    make([](Package& package) { addPart(package, 0, "x"); });
    baseKiB_ = measure([this] { open(); }, kRuns).peakKiB;
  }
  ~Bench() {
    std::error_code ignored;  // nothing can be done about leftovers of a benchmark
    fs::remove_all(root_, ignored);
  }

  void openParts(int count) {
    make([count](Package& package) {
      for (int i = 0; i < count; ++i) addPart(package, i, "x");
    });
    print("part", count, measure([this] { open(); }, kRuns));
  }

  void openRelationships(int count) {
    make([count](Package& package) {
      for (int i = 0; i < count; ++i)
        package.createInternalRelationship(u"http://schemas.example/part", URI(u"folder/part.xml"), u"");
    });
    print("relationship", count, measure([this] { open(); }, kRuns));
  }

  void readLargePart(std::uint64_t gibibytes) {
    make([gibibytes](Package& package) {
      Part const part = package.createPart(PartName(u"/large.bin"), ContentType(u"application/x-large"),
                                           StandardPartInfo(CompressionType::Content));
      std::vector<char> const mebibyte(1 << 20, 'x');
      auto const output = part.getOutputStream();
      for (std::uint64_t i = 0; i < gibibytes << 10; ++i) output->write(mebibyte.data(), mebibyte.size());
      output->close();
    });
    Figures const figures = measure([this, gibibytes] { readLarge(gibibytes << 30); }, 1);
    std::printf("read a part of %llu GiB: %.1f s (%.1f s of processor), %ld KiB in all\n",
                static_cast<unsigned long long>(gibibytes), figures.times.seconds, figures.times.ofProcessor,
                figures.peakKiB);
  }

 private:
  static void addPart(Package& package, int number, std::string const& text) {
    Part const part = package.createPart(PartName(toString("/folder/part" + std::to_string(number) + ".xml")),
                                         ContentType(u"application/xml"), StandardPartInfo(CompressionType::Markup));
    auto const output = part.getOutputStream();
    output->write(text.data(), text.size());
    output->close();
  }

  // Not in this process, whose memory every later step would begin with.
  void make(std::function<void(Package&)> const& fill) const {
    measureOnce([&] {
      auto const package = Package::create(toString(path().string()), Existing::Replace);
      fill(*package);
      package->save();
    });
  }

  void open() const { Package::open(toString(path().string()), AccessMode::ReadOnly); }

  void readLarge(std::uint64_t size) const {
    auto const package = Package::open(toString(path().string()), AccessMode::ReadOnly);
    auto const input = package->getPart(PartName(u"/large.bin")).getInputStream();
    std::vector<char> buffer(64 << 10);
    std::uint64_t total = 0;
    while (!input->isEnd()) total += input->read(buffer.data(), buffer.size());
    if (total != size) throw Exception("bytes are missing");
  }

  void print(char const* what, int count, Figures const& figures) const {
    std::printf("open %8d %-13s %7.4f s (%7.4f s of processor, %5.2f us each) %6.0f bytes each\n", count, what,
                figures.times.seconds, figures.times.ofProcessor, figures.times.ofProcessor * 1e6 / count,
                static_cast<double>(figures.peakKiB - baseKiB_) * 1024 / count);
    std::fflush(stdout);
  }

  fs::path path() const { return root_ / "package.opc"; }

  fs::path root_;
  long baseKiB_ = 0;
};

}  // namespace

int main(int count, char** arguments) try {
  std::vector<std::string> const given(arguments + 1, arguments + count);
  Bench bench(given.empty() ? fs::temp_directory_path() : fs::path(given[0]));
  for (int const parts : {25'000, 50'000, 100'000, 200'000}) bench.openParts(parts);
  for (int const relationships : {5'000, 10'000, 20'000, 40'000}) bench.openRelationships(relationships);
  std::uint64_t const gibibytes = given.size() > 1 ? std::stoull(given[1]) : 8;
  if (gibibytes > 0) bench.readLargePart(gibibytes);
} catch (std::exception const& error) {
  std::fprintf(stderr, "bench_open: %s\n", error.what());
  return 1;
}
