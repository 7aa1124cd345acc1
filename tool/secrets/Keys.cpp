// SPDX-License-Identifier: Apache-2.0
#include "secrets/Keys.hpp"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "cli/Errors.hpp"
#include "cli/Process.hpp"
#include "disk/OpenFile.hpp"
#include "disk/Paths.hpp"

namespace ztpkg {
namespace {

constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kLongestFile = 2 * kKeyBytes + 2;  // digits and the end of a line

[[noreturn]] void throwCannotRead(std::u16string const& file) {
  boost::system::error_code const error(errno, boost::system::generic_category());
  throw Failure(diskReport("cannot-read", "cannot read", file, error));
}

// Straight into memory that is wiped: a stream would keep a buffer of its own.
void readInto(std::vector<unsigned char>& bytes, std::u16string const& file) {
  OpenFile const input(file, O_RDONLY);
  if (!input.isOpen()) throwCannotRead(file);
  bytes.resize(kLongestFile + 1);
  ssize_t const size = input.read(bytes.data(), bytes.size());
  if (size < 0) throwCannotRead(file);
  bytes.resize(static_cast<std::size_t>(size));
}

std::string_view withoutLineEnd(std::vector<unsigned char> const& bytes) {
  std::string_view text(reinterpret_cast<char const*>(bytes.data()), bytes.size());
  if (text.ends_with('\n')) text.remove_suffix(1);
  if (text.ends_with('\r')) text.remove_suffix(1);
  return text;
}

int valueOf(char digit) { return opc::hexValue(static_cast<unsigned char>(digit)); }

}  // namespace

Secret::~Secret() {
  if (!bytes_.empty()) explicit_bzero(bytes_.data(), bytes_.size());  // it takes no null pointer
}

std::vector<unsigned char> fromHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return {};
  std::vector<unsigned char> bytes;
  bytes.reserve(digits.size() / 2);  // growing would leave copies behind
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    int const high = valueOf(digits[i]), low = valueOf(digits[i + 1]);
    if (high < 0 || low < 0) {
      explicit_bzero(bytes.data(), bytes.size());
      return {};
    }
    bytes.push_back(static_cast<unsigned char>(high << 4 | low));
  }
  return bytes;
}

std::unique_ptr<Secret const> readKey(std::string const& file) {
  leaveNoCoreFile();
  std::u16string const name = fromArgument(file);
  Secret read;
  readInto(read.bytes(), name);
  std::string_view const text = withoutLineEnd(read.bytes());
  auto key = std::make_unique<Secret>();
  if (read.bytes().size() == kKeyBytes)
    key->bytes().assign(read.bytes().begin(), read.bytes().end());
  else if (text.size() == 2 * kKeyBytes)
    key->bytes() = fromHex(text);
  if (key->bytes().size() == kKeyBytes) return key;
  std::string const message = shown(name) + " holds no key, which is 32 bytes or 64 hexadecimal digits";
  throw Failure(Report{Exit::Key, "bad-key", message, name});
}

std::uint64_t contentSize(opc::model::Part const& part) {
  constexpr std::uint64_t kIVAndTag = 32;
  auto const type = part.getContentType();
  bool const isMessage = type.getParameterValue(u"encryption") == u"AES256-GCM" &&
                         type.getParameterValue(u"iv") == u"inline" && part.getSize() >= kIVAndTag;
  return part.getSize() - (isMessage ? kIVAndTag : 0);
}

}  // namespace ztpkg
