// SPDX-License-Identifier: Apache-2.0
#include "cli/Completion.hpp"

#include <algorithm>
#include <cstddef>
#include <set>

namespace ztpkg {
namespace {

bool isLong(std::string const& word) { return word.starts_with("--"); }

std::string lineOf(std::string const& word, std::string const& purpose) {
  return word + (purpose.empty() ? "" : "\t" + purpose) + "\n";
}

/// The command line before the cursor.
class Line {
 public:
  explicit Line(CommandDescription const& top) : command_(&top) {}

  void take(std::string const& word) {
    if (awaiting_)
      awaiting_ = nullptr;
    else if (!isEnded_ && word == "--")
      isEnded_ = true;
    else if (!isEnded_ && word.size() > 1 && word.front() == '-')
      takeOptions(word);
    else if (command_ && !command_->commands.empty())
      command_ = command_->find(word);
    else
      given_.push_back(word);
  }

  /// What fits in the place of the last word.
  std::string answer(std::string const& word) const {
    if (!command_) return "words\n";
    if (awaiting_) return valuesOf(*awaiting_->value, "");
    std::size_t const sign = word.find('=');
    if (!isEnded_ && isLong(word) && sign != word.npos) {
      OptionDescription const* const option = find(word.substr(0, sign));
      return option && option->value ? valuesOf(*option->value, word.substr(0, sign + 1)) : "words\n";
    }
    if (!isEnded_ && word.starts_with('-')) return options();
    if (!command_->commands.empty()) return commands();
    ArgumentDescription const* const argument = nextArgument();
    return argument ? valuesOf(argument->value, "") : "words\n";
  }

 private:
  OptionDescription const* find(std::string const& name) const {
    auto const isNamed = [&](OptionDescription const& option) {
      return std::ranges::find(option.names, name) != option.names.end();
    };
    auto const found = std::ranges::find_if(command_->options, isNamed);
    return found == command_->options.end() ? nullptr : &*found;
  }

  /// One long option, or short ones, of which the last may take its value from the next word.
  void takeOptions(std::string const& word) {
    if (!command_) return;
    std::size_t const sign = word.find('=');
    if (isLong(word)) return takeOption(word.substr(0, sign), sign == word.npos);
    for (std::size_t i = 1; i < word.size(); ++i) {
      std::string const name{'-', word[i]};
      takeOption(name, i + 1 == word.size());
      if (OptionDescription const* const option = find(name); option && option->value) return;
    }
  }

  void takeOption(std::string const& name, bool isLast) {
    OptionDescription const* const option = find(name);
    if (!option) return;
    if (!option->isRepeatable) used_.insert(option);
    if (option->value && isLast) awaiting_ = option;
  }

  ArgumentDescription const* nextArgument() const {
    auto const& arguments = command_->arguments;
    if (given_.size() < arguments.size()) return &arguments[given_.size()];
    return !arguments.empty() && arguments.back().isRepeatable ? &arguments.back() : nullptr;
  }

  std::string options() const {
    std::string text = "words\n";
    for (OptionDescription const& option : command_->options)
      if (!used_.contains(&option))
        for (std::string const& name : option.names) text += lineOf(name, option.purpose);
    return text;
  }

  std::string commands() const {
    std::string text = "words\n";
    for (CommandDescription const& below : command_->commands)
      for (std::string const& word : below.words()) text += lineOf(word, below.purpose);
    return text;
  }

  /// `prefix` is the option that the value is joined to: "--level=".
  std::string valuesOf(ValueDescription const& value, std::string const& prefix) const {
    std::string const joint = prefix.empty() ? "" : "=";
    switch (value.kind) {
      case ValueKind::File:
      case ValueKind::Package:
        return "files" + joint + "\n";
      case ValueKind::Directory:
        return "directories" + joint + "\n";
      case ValueKind::PathInPackage:
        return pathsOf(joint);
      case ValueKind::Word:
      case ValueKind::Assignment:
      case ValueKind::Text:
        break;
    }
    std::string const end = value.kind == ValueKind::Assignment ? "=" : "";
    std::string text = "words\n";
    for (WordDescription const& word : value.words) text += lineOf(prefix + word.text + end, word.purpose);
    return text;
  }

  std::string pathsOf(std::string const& joint) const {
    auto const& arguments = command_->arguments;
    for (std::size_t i = 0; i < std::min(given_.size(), arguments.size()); ++i)
      if (arguments[i].value.kind == ValueKind::Package) return "paths" + joint + " " + given_[i] + "\n";
    return "words\n";
  }

  CommandDescription const* command_;            // null behind a word that names no command
  OptionDescription const* awaiting_ = nullptr;  // the option whose value is the next word
  bool isEnded_ = false;                         // by "--"
  std::vector<std::string> given_;               // arguments
  std::set<OptionDescription const*> used_;      // options that cannot be given again
};

}  // namespace

std::string completionsOf(CommandDescription const& top, std::vector<std::string> const& words) {
  if (words.empty()) return "words\n";
  Line line(top);
  std::for_each(words.begin(), words.end() - 1, [&](std::string const& word) { line.take(word); });
  return line.answer(words.back());
}

}  // namespace ztpkg
