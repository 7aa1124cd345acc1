// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "FuzzTarget.hpp"

/// Writes the seeds of every target into a folder for each: write_seeds DIRECTORY
int main(int argc, char** argv) try {
  if (argc != 2) {
    std::cerr << "usage: write_seeds DIRECTORY\n";
    return 2;
  }
  for (zt_fuzz::Target const& target : zt_fuzz::targets()) {
    std::filesystem::path const folder = std::filesystem::path(argv[1]) / target.name;
    std::filesystem::create_directories(folder);
    std::size_t number = 0;
    for (zt_fuzz::Bytes const& seed : target.seeds()) {
      std::ofstream file(folder / ("seed" + std::to_string(number++)), std::ios::binary);
      file.exceptions(std::ios::badbit | std::ios::failbit);
      file << zt_fuzz::textOf(seed);
    }
  }
  return 0;
} catch (std::exception const& error) {
  std::cerr << "write_seeds: " << error.what() << '\n';
  return 1;
}
