// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

int ztpkgMain(int argc, char** argv);

// ztpkg for tests that run it a thousand times: starting a sanitized program takes longer than what it is to do. Each
// command line runs in a fork of this process, which has started already; forks.py is the other side.
namespace {

using Fields = std::vector<std::string>;

/// A request is a line with a number of bytes, and so many bytes: fields, each of which ends with a zero.
bool readRequest(Fields& fields) {
  std::size_t size = 0;
  if (std::scanf("%zu", &size) != 1 || std::getchar() != '\n') return false;
  std::string bytes(size, '\0');
  if (std::fread(bytes.data(), 1, size, stdin) != size) return false;
  fields.clear();
  for (std::size_t at = 0; at < size; at += fields.back().size() + 1) fields.emplace_back(bytes.c_str() + at);
  return true;
}

void redirect(int descriptor, char const* path, int mode) {
  int const file = open(path, mode, 0600);
  if (file == -1 || dup2(file, descriptor) == -1) std::_Exit(127);
  if (file != descriptor) close(file);
}

/// The fields: the directory, the greatest address space or 0, the files of both outputs, and the command line.
[[noreturn]] void runHere(Fields& fields) {
  rlim_t const most = std::stoull(fields[1]);
  rlimit const limit{most, most};
  redirect(0, "/dev/null", O_RDONLY);
  redirect(1, fields[2].c_str(), O_WRONLY | O_CREAT | O_TRUNC);
  redirect(2, fields[3].c_str(), O_WRONLY | O_CREAT | O_TRUNC);
  if (chdir(fields[0].c_str()) != 0 || (most > 0 && setrlimit(RLIMIT_AS, &limit) != 0)) std::_Exit(127);
  std::vector<char*> arguments;
  for (std::size_t i = 4; i < fields.size(); ++i) arguments.push_back(fields[i].data());
  arguments.push_back(nullptr);
  std::exit(ztpkgMain(static_cast<int>(arguments.size()) - 1, arguments.data()));
}

void answer(int number) {
  std::printf("%d\n", number);
  std::fflush(stdout);
}

}  // namespace

int main() {
  for (Fields fields; readRequest(fields);) {
    pid_t const child = fork();
    if (child == 0) runHere(fields);
    answer(child);  // so that what takes too long can be killed
    int status = 0;
    if (child == -1 || waitpid(child, &status, 0) == -1) return 1;
    answer(status);
  }
  return 0;
}
