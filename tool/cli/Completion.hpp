// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "cli/Description.hpp"

/// Completion of command lines: ztpkg __complete [WORD...]
///
/// The scripts for bash, zsh and fish (tool/cli/shell) pass the words that follow "ztpkg", without their quotes, up
/// to the cursor; the last word is the one to complete and may be empty. The answer is a list of lines. The first
/// line names what fits:
///
///   words          the lines that follow: a word, and after a tab what it means, where there is something to say;
///                  none of them where nothing fits. A word that ends in "=" goes on. The shell keeps those that
///                  match what was typed
///   files          files
///   directories    directories
///   paths PACKAGE  paths in that package, which the shell lists
///
/// After files, directories and paths an equals sign ("files=") says that the value stands behind the equals sign of
/// an option ("--key-file=k"). No file and no package is opened.
namespace ztpkg {

inline constexpr char kCompletionCommand[] = "__complete";

/// The answer. It is empty words for a command line that no command understands.
std::string completionsOf(CommandDescription const& top, std::vector<std::string> const& words);

}  // namespace ztpkg
