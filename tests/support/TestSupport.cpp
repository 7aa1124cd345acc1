// SPDX-License-Identifier: Apache-2.0
#include "support/TestSupport.hpp"

#include <sys/wait.h>

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "opc/Strings.hpp"

namespace zt_test {
namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string name = (fs::temp_directory_path() / "ztservices-test-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary directory");
  path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;  // a test may have made it unreadable
  for (auto i = fs::recursive_directory_iterator(path_, fs::directory_options::skip_permission_denied, ignored);
       i != fs::recursive_directory_iterator(); i.increment(ignored))
    if (i->is_directory(ignored) && !i->is_symlink(ignored)) fs::permissions(i->path(), fs::perms::owner_all, ignored);
  fs::remove_all(path_, ignored);
}

std::u16string TemporaryDirectory::u16(std::string const& name) const {
  return opc::toString((name.empty() ? path_ : path_ / name).string());
}

fs::path corpus() { return fs::is_directory(ZT_CORPUS) ? fs::path(ZT_CORPUS) : fs::path(); }

fs::path data() { return ZT_TEST_DATA; }

std::string readFile(fs::path const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  std::string all;
  std::error_code unknown;
  if (auto const size = fs::file_size(path, unknown); !unknown) all.reserve(static_cast<std::size_t>(size));
  for (std::array<char, 65536> piece{}; file; all.append(piece.data(), static_cast<std::size_t>(file.gcount())))
    file.read(piece.data(), piece.size());
  return all;
}

void writeFile(fs::path const& path, std::string const& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

std::vector<unsigned char> bytesOf(std::string const& text) { return {text.begin(), text.end()}; }

std::string textOf(std::vector<unsigned char> const& bytes) { return {bytes.begin(), bytes.end()}; }

std::string readAll(opc::InputStream& stream, std::size_t step) {
  std::string all, piece(step, '\0');
  while (!stream.isEnd()) all.append(piece.data(), stream.read(piece.data(), step));
  return all;
}

Outcome run(std::string const& command) {
  std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::string output;
  std::array<char, 4096> buffer{};
  while (std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) output.append(buffer.data(), count);
  int const status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output};
}

bool haveProgram(std::string const& name) { return run("command -v " + name).exitCode == 0; }

void FailingOutput::write(void const*, std::size_t) {
  if (++writes_ == failAt_) throw opc::StreamError("write " + std::to_string(failAt_) + " fails");
}

void FailingOutput::close() {
  if (failAt_ == 0) throw opc::StreamError("close fails");
}

}  // namespace zt_test
