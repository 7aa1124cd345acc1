// SPDX-License-Identifier: Apache-2.0
#include "FuzzTarget.hpp"

#include <algorithm>
#include <cstddef>
#include <iostream>

namespace zt_fuzz {

void require(bool isKept, char const* promise) {
  if (!isKept) throw BrokenPromise(promise);
}

std::vector<Target>& targets() {
  static std::vector<Target> all;
  return all;
}

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

std::string textOf(Bytes const& bytes) { return {bytes.begin(), bytes.end()}; }

std::u16string unitsOf(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i)
    units[i] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                     static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
  return units;
}

std::pair<std::string, std::string> lineAndRest(Bytes const& input) {
  std::string const text = textOf(input);
  std::size_t const end = std::min(text.find('\n'), text.size());
  return {text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

Bytes readAll(opc::InputStream& input) {
  Bytes bytes;
  opc::ByteArrayOutAdaptor output(bytes);
  opc::StreamHelper::copyStreamToStream(input, output);
  return bytes;
}

Quiet::Quiet() : buffer_(std::cout.rdbuf(nullptr)) {}

Quiet::~Quiet() {
  std::cout.rdbuf(buffer_);
  std::cout.clear();
}

}  // namespace zt_fuzz
