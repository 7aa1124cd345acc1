// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "cli/Description.hpp"

/// Completion of command lines: ztpkg __complete [WORD...]
///
/// The scripts for bash, zsh and fish (tool/cli/shell) pass the words that follow "ztpkg", without their quotes, up
/// to the cursor; the last word is the one to complete and may be empty. The answer is a list of lines. The first
/// line names the kind of word that fits:
///
///   words          one of the following lines, each a word and perhaps, after a tab, its purpose. No line follows
///                  if nothing fits. A word that ends in "=" is unfinished. The shell keeps the words that begin
///                  with the typed text
///   files          files
///   directories    directories
///   paths PACKAGE  paths in that package, which the shell lists
///
/// After files, directories and paths an equals sign ("files=") says that the value stands behind the equals sign of
/// an option ("--key-file=k"). No file and no package is opened.
namespace ztpkg {

inline constexpr char kCompletionCommand[] = "__complete";

/// The answer: "words" alone for a command line that no command understands.
std::string completionsOf(CommandDescription const& top, std::vector<std::string> const& words);

}  // namespace ztpkg
