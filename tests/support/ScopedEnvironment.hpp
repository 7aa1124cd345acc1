// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace zt_test {

/// Sets variables of the environment (an absent value unsets) and puts back what was there.
class ScopedEnvironment {
 public:
  explicit ScopedEnvironment(std::map<std::string, std::optional<std::string>> const& variables) {
    for (auto const& [name, value] : variables) {
      char const* const before = std::getenv(name.c_str());
      before_[name] = before ? std::optional<std::string>(before) : std::nullopt;
      set(name, value);
    }
  }
  ~ScopedEnvironment() {
    for (auto const& [name, value] : before_) set(name, value);
  }
  ScopedEnvironment(ScopedEnvironment const&) = delete;
  ScopedEnvironment& operator=(ScopedEnvironment const&) = delete;

 private:
  static void set(std::string const& name, std::optional<std::string> const& value) {
    if (value)
      setenv(name.c_str(), value->c_str(), 1);
    else
      unsetenv(name.c_str());
  }

  std::map<std::string, std::optional<std::string>> before_;
};

/// The user's locale is `name` and nothing else has a say in it.
class ScopedLocale : public ScopedEnvironment {
 public:
  explicit ScopedLocale(std::string const& name)
      : ScopedEnvironment({{"LC_ALL", name}, {"LC_CTYPE", std::nullopt}, {"LANG", std::nullopt}}) {}
};

}  // namespace zt_test
