// SPDX-License-Identifier: Apache-2.0
// generate DIR VERSION DATE: writes the completions and manual pages of ztpkg below DIR, as they are installed.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "cli/CommandLine.hpp"
#include "cli/shell/BashCompletion.hpp"
#include "cli/shell/FishCompletion.hpp"
#include "cli/shell/ManPages.hpp"
#include "cli/shell/ZshCompletion.hpp"

namespace {

void write(std::filesystem::path const& path, std::string const& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

void generate(std::filesystem::path const& root, ztpkg::shell::Edition const& edition) {
  ztpkg::CommandDescription const tool = ztpkg::describeCommandLine();
  write(root / "bash-completion/completions/ztpkg", ztpkg::shell::bashCompletion(tool));
  write(root / "zsh/site-functions/_ztpkg", ztpkg::shell::zshCompletion(tool));
  write(root / "fish/vendor_completions.d/ztpkg.fish", ztpkg::shell::fishCompletion(tool));
  for (auto const& [name, page] : ztpkg::shell::manPages(tool, edition)) write(root / "man/man1" / name, page);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc != 4) throw std::runtime_error("usage: generate DIR VERSION DATE");
    generate(argv[1], {argv[2], argv[3]});
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "generate: " << error.what() << '\n';
    return 1;
  }
}
