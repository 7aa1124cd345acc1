// SPDX-License-Identifier: Apache-2.0
// Does the time for each file grow with their number, and what does an entry cost in memory? Packs, lists,
// extracts and deletes file systems of growing size, flat and deep, each step in a process of its own. The
// same tree written by plain calls ("write") tells what the disk and the kernel take for themselves. Sizes
// take turns, after one round that only warms the machine's memory; printed are medians: seconds,
// microseconds for each file (all, and those of the program itself), peak memory above that of an empty
// run, and the ratio of the largest to the smallest size.
//
//   bench_scale [DIRECTORY [COUNT...]]      (default: the temporary directory, 10000 and 100000)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "opc/Strings.hpp"
#include "opc/ztservices/FileSystem.hpp"

namespace {
namespace fs = std::filesystem;
using namespace opc;
using namespace opc::ztservices;

struct Figures {
  double seconds = 0;
  double userSeconds = 0;  // without the kernel's share, which is the disk's and memory's and varies
  double peakKiB = 0;
};

Figures measure(std::function<void()> const& step) {
  auto const start = std::chrono::steady_clock::now();
  pid_t const child = fork();
  if (child == 0) {
    try {
      step();
    } catch (std::exception const& error) {
      std::fprintf(stderr, "bench_scale: %s\n", error.what());
      _exit(1);
    }
    _exit(0);
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child || status != 0) throw Exception("a step failed");
  std::chrono::duration<double> const took = std::chrono::steady_clock::now() - start;
  double const user = static_cast<double>(usage.ru_utime.tv_sec) + static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
  return {took.count(), user, static_cast<double>(usage.ru_maxrss)};
}

void writeSmallFile(fs::path const& path, int number) {
  std::ofstream file(path);
  for (int i = 0; i < 10; ++i) file << "record=" << number + i << " value\n";
  if (!file.flush()) throw Exception("cannot write " + path.string());
}

void makeFlat(fs::path const& root, int count) {
  fs::create_directories(root / "all");
  for (int i = 0; i < count; ++i) writeSmallFile(root / "all" / ("item" + std::to_string(i) + ".txt"), i);
}

// Ten files to a folder, the folders nested by the decimal digits of their number below a chain of eight.
void makeDeep(fs::path const& root, int count) {
  fs::path const top = root / "all/b/c/d/e/f/g/h";
  for (int i = 0; i < count; ++i) {
    fs::path folder = top;
    for (char digit : std::to_string(1'000'000 + i / 10)) folder /= std::string(1, digit);  // one depth for all counts
    if (i % 10 == 0) fs::create_directories(folder);
    writeSmallFile(folder / ("item" + std::to_string(i) + ".txt"), i);
  }
}

struct Shape {
  char const* name;
  void (*make)(fs::path const& root, int count);
};

constexpr int kRounds = 3;

double median(std::vector<Figures> const& figures, double Figures::*figure) {
  std::vector<double> values;
  values.reserve(figures.size());
  for (Figures const& one : figures) values.push_back(one.*figure);
  std::ranges::nth_element(values, values.begin() + kRounds / 2);
  return values[kRounds / 2];
}

class Bench {
 public:
  explicit Bench(fs::path const& directory) : root_(directory / ("bench_scale-" + std::to_string(getpid()))) {
    fs::create_directories(root_);
    baseKiB_ = measure([] {
                 auto package = model::Package::createInMemory();
                 FileSystemManager files(*package);
               }).peakKiB;
  }
  ~Bench() {
    std::error_code ignored;  // nothing can be done about leftovers of a benchmark
    fs::remove_all(root_, ignored);
  }

  void run(Shape const& shape, std::vector<int> const& counts) {
    std::map<std::string, std::map<int, std::vector<Figures>>> measured;
    for (int round = 0; round <= kRounds; ++round)
      for (int count : counts)
        for (auto const& [step, figures] : runOnce(shape, count))
          if (round > 0) measured[step][count].push_back(figures);
    for (auto const& [step, byCount] : measured) print(shape.name, step, byCount);
  }

 private:
  std::vector<std::pair<std::string, Figures>> runOnce(Shape const& shape, int count) const {
    fs::path const source = root_ / shape.name / std::to_string(count), package = root_ / "package.ztp",
                   out = root_ / "out";
    auto const u16 = [](fs::path const& path) { return toString(path.string()); };
    std::vector<std::pair<std::string, Figures>> steps;
    steps.emplace_back("write", measure([&] { shape.make(source, count); }));
    steps.emplace_back("pack", measure([&] {
                         auto target = model::Package::create(u16(package), model::Existing::Replace);
                         FileSystemManager files(*target);
                         files.addAll(u16(source), TransformMode::None);
                         target->save();
                       }));
    fs::remove_all(source);
    steps.emplace_back("list", measure([&] {
                         auto read = model::Package::open(u16(package), model::AccessMode::ReadOnly);
                         FileSystemManager files(*read);
                         if (files.getAllLeafs().size() != static_cast<std::size_t>(count))
                           throw Exception("entries are missing");
                       }));
    steps.emplace_back("extract", measure([&] {
                         auto read = model::Package::open(u16(package), model::AccessMode::ReadOnly);
                         FileSystemManager(*read).extractAll(u16(out), RestoreMode::TimeAndPermissions,
                                                             TransformMode::None);
                       }));
    fs::remove_all(out);
    steps.emplace_back("delete", measure([&] {
                         auto edited = model::Package::open(u16(package), model::AccessMode::ReadWrite);
                         FileSystemManager files(*edited);
                         files.deleteFolder(files.getEntry(u"/all"));
                         edited->save();
                       }));
    return steps;
  }

  void print(char const* shape, std::string const& step, std::map<int, std::vector<Figures>> const& byCount) const {
    for (auto const& [count, figures] : byCount)
      std::printf("%-5s %-8s %8d files %8.3f s %7.2f us each (%6.2f us user) %6.0f bytes each\n", shape, step.c_str(),
                  count, median(figures, &Figures::seconds), median(figures, &Figures::seconds) * 1e6 / count,
                  median(figures, &Figures::userSeconds) * 1e6 / count,
                  std::max(0.0, median(figures, &Figures::peakKiB) - baseKiB_) * 1024 / count);
    auto const ratio = [&](double Figures::*figure) {
      return median(byCount.rbegin()->second, figure) / median(byCount.begin()->second, figure);
    };
    std::printf("%-5s %-8s %8d to %d files: ratio %.1f (%.1f user)\n", shape, step.c_str(), byCount.rbegin()->first,
                byCount.begin()->first, ratio(&Figures::seconds), ratio(&Figures::userSeconds));
    std::fflush(stdout);
  }

  fs::path root_;
  double baseKiB_ = 0;
};

}  // namespace

int main(int count, char** arguments) try {
  std::vector<std::string> const given(arguments + 1, arguments + count);
  std::vector<int> counts;
  for (std::size_t i = 1; i < given.size(); ++i) counts.push_back(std::stoi(given[i]));
  if (counts.empty()) counts = {10'000, 100'000};
  Bench bench(given.empty() ? fs::temp_directory_path() : fs::path(given[0]));
  bench.run({"flat", makeFlat}, counts);
  bench.run({"deep", makeDeep}, counts);
} catch (std::exception const& error) {
  std::fprintf(stderr, "bench_scale: %s\n", error.what());
  return 1;
}
