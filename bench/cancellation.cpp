// SPDX-License-Identifier: Apache-2.0
// How long after a stop request does an operation end? Each operation is stopped at points that are spread over its
// time, on the same tree: text of 8 MiB and less in each file, one file of 32 MiB, and 2,000 small files. Printed are
// the time of the whole operation, the median and the longest time from the request to the end, and the most processor
// time that the process takes meanwhile, which does not depend on what else the machine does. All in milliseconds.
//
//   bench_cancellation [DIRECTORY [STOPS]]      (default: the temporary directory, 20)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "opc/Progress.hpp"
#include "opc/ztservices/FileSystem.hpp"
#include "opc/ztservices/Rekey.hpp"
#include "opc/ztservices/Verification.hpp"

namespace {

namespace fs = std::filesystem;
using namespace opc;
using namespace opc::ztservices;
using model::AccessMode;
using model::CompressionLevel;
using model::Existing;
using model::Package;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::chrono::milliseconds::period>;
using Bytes = std::vector<unsigned char>;

Bytes const kKey(32, 7);
Bytes const kOtherKey(32, 8);

/// Lines of words, which deflate takes long for.
std::string textOf(std::size_t size) {
  std::string text;
  std::uint32_t state = 1;
  while (text.size() < size) {
    state = state * 1'664'525 + 1'013'904'223;
    text += std::to_string(state >> (8 + state % 16)) + (state % 9 == 0 ? "\n" : " ");
  }
  text.resize(size);
  return text;
}

void write(fs::path const& path, std::string const& text, int times = 1) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  for (int i = 0; i < times; ++i) file << text;
  if (!file.flush()) throw Exception("cannot write " + path.string());
}

void makeTree(fs::path const& root) {
  std::string const whole = textOf(std::size_t{8} << 20);
  for (int i = 0; i < 2; ++i) write(root / "whole" / std::to_string(i), whole);
  write(root / "long", whole, 4);
  for (int i = 0; i < 2'000; ++i) write(root / "small" / std::to_string(i), "number " + std::to_string(i));
}

/// Of the process, in milliseconds.
double processorTime() {
  timespec time{};
  if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) != 0) throw Exception("no clock");
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// From the request to the end of the operation.
struct Latency {
  double passed = 0, worked = 0;
};

/// The work that is measured, made ready.
using Work = std::function<void(Monitor const&)>;
using Prepare = std::function<Work()>;

struct Storing {
  char const* name;
  bool isEncrypted;
  Compression compression;
  CompressionLevel level;
  unsigned threads;
};

class Bench {
 public:
  Bench(fs::path const& directory, int stops)
      : root_(directory / ("bench_cancellation-" + std::to_string(getpid()))), stops_(stops) {
    makeTree(root_ / "tree");
  }
  ~Bench() {
    std::error_code ignored;  // nothing can be done about leftovers of a benchmark
    fs::remove_all(root_, ignored);
  }
  Bench(Bench const&) = delete;
  Bench& operator=(Bench const&) = delete;

  void run() {
    std::printf("%-44s %9s %9s %9s %9s\n", "operation", "whole", "median", "longest", "processor");
    for (Storing const& storing : kStorings) measureStoring(storing);
    measureEntries();
  }

 private:
  static constexpr Storing kStorings[] = {
      {"plain", false, Compression::None, CompressionLevel::Default, 0},
      {"plain, 2 threads", false, Compression::None, CompressionLevel::Default, 2},
      {"plain, small", false, Compression::None, CompressionLevel::Small, 0},
      {"encrypted", true, Compression::None, CompressionLevel::Default, 0},
      {"compressed and encrypted", true, Compression::Deflate, CompressionLevel::Default, 0},
      {"compressed and encrypted, 2 threads", true, Compression::Deflate, CompressionLevel::Default, 2},
      {"compressed and encrypted, small", true, Compression::Deflate, CompressionLevel::Small, 0},
  };

  std::unique_ptr<FileSystemManager> manage(Package& package, Storing const& storing) const {
    package.setCompressionLevel(storing.level);
    package.setCompressionThreads(storing.threads);
    auto files = std::make_unique<FileSystemManager>(package);
    if (!storing.isEncrypted) return files;
    files->enableDecryption(kKey);
    if (!package.isReadOnly()) files->enableEncryption(kKey, IVMode::Random, {}, storing.compression);
    return files;
  }

  void measureStoring(Storing const& storing) {
    fs::path const path = root_ / "package", tree = root_ / "tree";
    auto const add = [=, this]() -> Work {
      std::shared_ptr<Package> const package = Package::create(path, Existing::Replace);
      std::shared_ptr<FileSystemManager> const files = manage(*package, storing);
      return [=](Monitor const& monitor) {
        package->setMonitor(monitor);
        files->addAll(tree);
      };
    };
    auto const save = [=, this]() -> Work {
      std::shared_ptr<Package> const package = Package::create(path, Existing::Replace);
      std::shared_ptr<FileSystemManager> const files = manage(*package, storing);
      files->addAll(tree);
      return [=](Monitor const& monitor) {
        package->setMonitor(monitor);
        package->save();
        static_cast<void>(files);
      };
    };
    measure("add", storing, add);
    measure("save", storing, save);
    save()({});
    measure("extract", storing, [=, this]() -> Work {
      std::shared_ptr<Package> const package = Package::open(path, AccessMode::ReadOnly);
      std::shared_ptr<FileSystemManager> const files = manage(*package, storing);
      files->setExtractionThreads(storing.threads);
      fs::remove_all(root_ / "out");
      return [=, this](Monitor const& monitor) {
        package->setMonitor(monitor);
        files->extractAll(root_ / "out");
      };
    });
    measure("verify", storing, [=]() -> Work {
      return [=](Monitor const& monitor) {
        verifyPackage(path.string(),
                      {.key = storing.isEncrypted ? &kKey : nullptr, .threads = storing.threads, .monitor = monitor});
      };
    });
    measure("change the key", storing, [=, this]() -> Work {
      fs::remove(root_ / "other");
      return [=, this](Monitor const& monitor) {
        rekeyPackage(path, root_ / "other",
                     {.oldKey = storing.isEncrypted ? &kKey : nullptr,
                      .newKey = &kOtherKey,
                      .compression = storing.compression,
                      .threads = storing.threads,
                      .monitor = monitor});
      };
    });
  }

  /// What is done for a manifest of many entries.
  void measureEntries() {
    constexpr int kEntries = 300'000;
    fs::path const path = root_ / "entries";
    Storing const storing{"300,000 entries", true, Compression::Deflate, CompressionLevel::Default, 0};
    auto const save = [=, this]() -> Work {
      std::shared_ptr<Package> const package = Package::create(path, Existing::Replace);
      std::shared_ptr<FileSystemManager> const files = manage(*package, storing);
      for (int i = 0; i < kEntries; ++i) files->createFolder("/" + std::to_string(i));
      return [=](Monitor const& monitor) {
        package->setMonitor(monitor);
        package->save();
        static_cast<void>(files);
      };
    };
    measure("save", storing, save);
    save()({});
    measure("add one to", storing, [=, this]() -> Work {
      std::shared_ptr<Package> const package = Package::open(path, AccessMode::ReadWrite);
      std::shared_ptr<FileSystemManager> const files = manage(*package, storing);
      return [=](Monitor const& monitor) {
        package->setMonitor(monitor);
        files->addFile(Bytes(10), "/new");
      };
    });
    measure("verify", storing, [=]() -> Work {
      return [=](Monitor const& monitor) { verifyPackage(path.string(), {.key = &kKey, .monitor = monitor}); };
    });
  }

  void measure(char const* operation, Storing const& storing, Prepare const& prepare) const {
    auto const start = [&] {
      Work const work = prepare();
      auto const begin = Clock::now();
      work({});
      return Milliseconds(Clock::now() - begin);
    };
    Milliseconds const whole = start();
    std::vector<Latency> latencies;
    for (int i = 0; i < stops_; ++i) {
      if (auto const latency = stopAfter(whole * (i + 0.5) / stops_, prepare())) latencies.push_back(*latency);
    }
    if (latencies.empty()) latencies.push_back({});
    std::ranges::sort(latencies, {}, &Latency::passed);
    std::printf("%-44s %9.0f %9.1f %9.1f %9.1f\n", (std::string(operation) + ", " + storing.name).c_str(),
                whole.count(), latencies[latencies.size() / 2].passed, latencies.back().passed,
                std::ranges::max(latencies, {}, &Latency::worked).worked);
    std::fflush(stdout);
  }

  /// Nothing where the operation had ended before.
  static std::optional<Latency> stopAfter(Milliseconds wait, Work const& work) {
    std::stop_source stop;
    Clock::time_point requested;
    double worked = 0;
    std::jthread const requesting([&] {
      std::this_thread::sleep_for(wait);
      requested = Clock::now();
      worked = processorTime();
      stop.request_stop();
    });
    try {
      work({.stop = stop.get_token()});
      return std::nullopt;
    } catch (Cancelled const&) {
      return Latency{Milliseconds(Clock::now() - requested).count(), processorTime() - worked};
    }
  }

  fs::path root_;
  int stops_;
};

}  // namespace

int main(int count, char** arguments) {
  try {
    Bench(count > 1 ? fs::path(arguments[1]) : fs::temp_directory_path(), count > 2 ? std::stoi(arguments[2]) : 20)
        .run();
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "bench_cancellation: %s\n", error.what());
    return 1;
  }
}
