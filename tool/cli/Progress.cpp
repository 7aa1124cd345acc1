// SPDX-License-Identifier: Apache-2.0
#include "cli/Progress.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <iostream>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "cli/Amounts.hpp"
#include "cli/Process.hpp"

namespace ztpkg {
namespace {

constexpr std::chrono::milliseconds kPatience{1000}, kInterval{100};
constexpr std::size_t kUsualColumns = 80, kWidestBar = 40, kNarrowestBar = 8;

std::size_t terminalColumns() {
  winsize size{};
  bool const known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : kUsualColumns;
}

// Of bytes where there are any: files differ in size.
double fractionOf(Amount const& done, Amount const& total) {
  auto const share = [](std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0.0 : std::min(1.0, static_cast<double>(part) / static_cast<double>(whole));
  };
  return total.bytes > 0 ? share(done.bytes, total.bytes) : share(done.files, total.files);
}

std::string barOf(double fraction, std::size_t width) {
  auto const filled = static_cast<std::size_t>(fraction * static_cast<double>(width));
  return "[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] ";
}

std::vector<std::string> detailsOf(Amount const& done, Amount const& total, std::chrono::duration<double> elapsed,
                                   double fraction) {
  double const seconds = std::max(elapsed.count(), 1e-3);
  std::vector<std::string> details{
      sizeText(done.bytes) + " of " + sizeText(total.bytes), counted(done.files, "file"),
      sizeText(static_cast<std::uint64_t>(static_cast<double>(done.bytes) / seconds)) + "/s"};
  if (fraction > 0) details.push_back(clockText(elapsed * (1 - fraction) / fraction) + " left");
  return details;
}

}  // namespace

std::string progressLine(Amount const& done, Amount const& total, std::chrono::duration<double> elapsed,
                         std::size_t columns) {
  double const fraction = fractionOf(done, total);
  std::string const percent = std::to_string(static_cast<int>(fraction * 100)) + "% ";
  std::string text;
  for (std::string const& detail : detailsOf(done, total, elapsed, fraction)) {
    std::string longer = text;
    longer.append(text.empty() ? "" : ", ").append(detail);
    if (percent.size() + longer.size() >= columns) break;
    text = std::move(longer);
  }
  std::size_t const used = percent.size() + text.size() + 4;  // with the bar's brackets and one column left free
  std::size_t const bar = columns > used ? std::min(columns - used, kWidestBar) : 0;
  std::string const line = percent + (bar < kNarrowestBar ? "" : barOf(fraction, bar)) + text;
  return line.substr(0, columns > 0 ? columns - 1 : 0);
}

/// The line of one command. An operation that begins anew begins its time and its totals.
class Progress::Bar {
 public:
  void show(opc::Progress const& at) {
    std::unique_lock const lock(line_, std::try_to_lock);
    if (!lock || isOver_) return;
    if (at.files < last_.files || at.bytes < last_.bytes) begin_ = Clock::now();
    last_ = {at.files, at.bytes};
    if (Clock::now() < due_) return;
    due_ = Clock::now() + kInterval;
    hasLine_ = true;
    std::cerr << '\r' << progressLine(last_, {at.allFiles, at.allBytes}, Clock::now() - begin_, terminalColumns())
              << "\x1b[K" << std::flush;
  }

  void finish() {
    std::lock_guard const lock(line_);
    if (hasLine_) std::cerr << "\r\x1b[K" << std::flush;
    hasLine_ = false;
    isOver_ = true;
  }

 private:
  std::mutex line_;  // held by the thread that shows it
  Clock::time_point begin_ = Clock::now(), due_ = begin_ + kPatience;
  Amount last_;
  bool hasLine_ = false, isOver_ = false;
};

Progress::Progress(bool isWanted) : bar_(isWanted && isatty(STDERR_FILENO) == 1 ? std::make_shared<Bar>() : nullptr) {}

Progress::~Progress() { finish(); }

opc::Monitor Progress::monitor() {
  if (!bar_) return {};
  isWatched_ = true;
  return {.report = [bar = bar_](opc::Progress const& at) {
    bar->show(at);
    return pendingSignal() == 0;
  }};
}

void Progress::watch(opc::model::Package& package) {
  if (bar_) package.setMonitor(monitor());
}

void Progress::expect(Amount const& total) { total_ = total; }

void Progress::finish() {
  if (bar_) bar_->finish();
}

void Progress::addFile() {
  ++files_;
  showOwnWork();
}

void Progress::addBytes(std::uint64_t count) {
  bytes_ += count;
  showOwnWork();
}

void Progress::showOwnWork() {
  if (bar_ && !isWatched_)
    bar_->show({.files = files_, .bytes = bytes_, .allFiles = total_.files, .allBytes = total_.bytes});
}

}  // namespace ztpkg
