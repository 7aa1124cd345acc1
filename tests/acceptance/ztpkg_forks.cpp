// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

int ztpkgMain(int argc, char** argv);
/// Only ztpkg_failing has it.
[[gnu::weak]] int ztpkgMainWithFault(std::string const& fault, int argc, char** argv);

// ztpkg for tests that run it a thousand times: starting a sanitized program takes longer than what it is to do.
// Command lines run one after the other in this process, or in a fork of it where the memory is to be limited or a call
// is to fail; forks.py is the other side.
namespace {

using Fields = std::vector<std::string>;

[[noreturn]] void fail(char const* what) {
  std::perror(what);
  std::_Exit(127);
}

int opened(char const* path, int mode) {
  int const file = open(path, mode | O_CLOEXEC, 0600);
  if (file == -1) fail(path);
  return file;
}

void redirect(int descriptor, int file) {
  if (dup2(file, descriptor) == -1) fail("dup2");
  close(file);
}

/// A copy of a standard descriptor that commands do not see.
std::FILE* kept(int descriptor, char const* mode) {
  int const copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
  std::FILE* const file = copy == -1 ? nullptr : fdopen(copy, mode);
  if (file == nullptr) fail("fdopen");
  return file;
}

/// A request is a line with a number of bytes, and so many bytes: fields, each of which ends with a zero.
bool readRequest(std::FILE* requests, Fields& fields) {
  std::size_t size = 0;
  if (std::fscanf(requests, "%zu", &size) != 1 || std::getc(requests) != '\n') return false;
  std::string bytes(size, '\0');
  if (std::fread(bytes.data(), 1, size, requests) != size) return false;
  fields.clear();
  for (std::size_t at = 0; at < size; at += fields.back().size() + 1) fields.emplace_back(bytes.c_str() + at);
  return true;
}

rlim_t mostMemory(Fields const& fields) { return std::stoull(fields[1]); }
std::string const& fault(Fields const& fields) { return fields[2]; }

/// The fields: the directory, the greatest address space or 0, the fault or nothing, the files of both outputs, and the
/// command line.
int run(Fields& fields) {
  redirect(STDIN_FILENO, opened("/dev/null", O_RDONLY));
  redirect(STDOUT_FILENO, opened(fields[3].c_str(), O_WRONLY | O_CREAT | O_TRUNC));
  redirect(STDERR_FILENO, opened(fields[4].c_str(), O_WRONLY | O_CREAT | O_TRUNC));
  if (chdir(fields[0].c_str()) != 0) fail(fields[0].c_str());
  std::vector<char*> arguments;
  for (std::size_t i = 5; i < fields.size(); ++i) arguments.push_back(fields[i].data());
  arguments.push_back(nullptr);
  auto const count = static_cast<int>(arguments.size()) - 1;
  return fault(fields).empty() ? ztpkgMain(count, arguments.data())
                               : ztpkgMainWithFault(fault(fields), count, arguments.data());
}

/// Runs a command as if the streams had never been used. Some commands give up rights of their thread, which goes with
/// them.
int runHere(Fields& fields) {
  auto* const output = std::cout.rdbuf();
  std::cin.clear();
  int code = 0;
  std::thread([&] { code = run(fields); }).join();
  std::cout.rdbuf(output);  // a command that prints JSON takes it away
  std::cout.clear();
  std::cout.flush();
  std::cerr.clear();
  return code;
}

int runInFork(Fields& fields) {
  pid_t const child = fork();
  if (child == 0) {
    rlimit const limit{mostMemory(fields), mostMemory(fields)};
    if (limit.rlim_cur != 0 && setrlimit(RLIMIT_AS, &limit) != 0) fail("setrlimit");
    std::exit(run(fields));
  }
  int status = 0;
  if (child == -1 || waitpid(child, &status, 0) == -1) fail("fork");
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

int main() {
  std::FILE* const requests = kept(STDIN_FILENO, "r");
  std::FILE* const answers = kept(STDOUT_FILENO, "w");
  int const messages = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  for (Fields fields; readRequest(requests, fields);) {
    int const code = mostMemory(fields) == 0 && fault(fields).empty() ? runHere(fields) : runInFork(fields);
    std::fprintf(answers, "%d\n", code);
    std::fflush(answers);
  }
  if (messages == -1) fail("fcntl");
  redirect(STDERR_FILENO, messages);  // where a sanitizer says what it found
  std::fclose(requests);
  std::fclose(answers);
  return 0;
}
