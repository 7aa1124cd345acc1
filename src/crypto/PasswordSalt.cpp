// SPDX-License-Identifier: Apache-2.0
#include "crypto/PasswordSalt.hpp"

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "opc/Strings.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::ScryptCost;

constexpr std::string_view kPrefix = "$scrypt$";
constexpr std::uint64_t kMostMemory = 1ULL << 30;
constexpr double kMostSeconds = 60;
constexpr std::uint64_t kModestWork = 1ULL << 24;  // a few seconds on any machine: not worth a measurement
constexpr ScryptCost kSample = {14, 8, 1};

[[noreturn]] void throwUnknown(std::u16string const& salt) {
  throw InvalidCipherData("Unknown derivation of a key from a password: " +
                          toUDEString(escapeForDisplay(salt.substr(0, salt.rfind(u'$')))));
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

/// Takes `name` and a number from the front of the text.
bool takeNumber(std::string_view& text, std::string_view name, unsigned& number) {
  if (!takePrefix(text, name) || text.starts_with('0')) return false;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

double secondsOfSample() {
  auto const begin = std::chrono::steady_clock::now();
  foundation::crypto::scrypt({}, {}, kSample, 1);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

}  // namespace

std::u16string saltWithCost(ScryptCost const& cost, std::u16string const& digits) {
  return toString(std::string(kPrefix) + "ln=" + std::to_string(cost.logN) + ",r=" + std::to_string(cost.blockSize) +
                  ",p=" + std::to_string(cost.parallelism) + "$") +
         digits;
}

std::optional<ScryptCost> costOfSalt(std::u16string const& salt) {
  if (!salt.starts_with(u'$')) return std::nullopt;
  std::string const text = toUTF8String(salt);
  std::string_view rest(text);
  ScryptCost cost{};
  bool const isScrypt = takePrefix(rest, kPrefix) && takeNumber(rest, "ln=", cost.logN) &&
                        takeNumber(rest, ",r=", cost.blockSize) && takeNumber(rest, ",p=", cost.parallelism) &&
                        rest.starts_with('$');
  if (!isScrypt || !cost.isPossible()) throwUnknown(salt);
  return cost;
}

std::string describeExcess(ScryptCost const& cost) {
  constexpr unsigned kMiB = 20;
  if ((128ULL * cost.blockSize) << cost.logN > kMostMemory || cost.memory() > 2 * kMostMemory)
    return "deriving the key from the password takes " + std::to_string(cost.memory() >> kMiB) +
           " MiB of memory, and no more than " + std::to_string(kMostMemory >> kMiB) + " are allowed";
  if (cost.work() <= kModestWork) return {};
  double const seconds = secondsOfSample() * (static_cast<double>(cost.work()) / static_cast<double>(kSample.work()));
  if (seconds <= kMostSeconds) return {};
  return "deriving the key from the password takes about " + std::to_string(static_cast<std::uint64_t>(seconds)) +
         " seconds, and no more than 60 are allowed";
}

}  // namespace opc::ztservices
