// SPDX-License-Identifier: Apache-2.0
#include "support/CryptoAnswers.hpp"

#include <cstddef>
#include <sstream>
#include <stdexcept>

#include "support/TestSupport.hpp"

namespace zt_test {

namespace {

std::vector<std::vector<std::string>> rowsOf(std::string const& kind, char const* file) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream lines(readFile(data() / "crypto" / file));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string field;
    std::getline(fields, field, '\t');
    if (field != kind) continue;
    rows.emplace_back();
    while (std::getline(fields, field, '\t')) rows.back().push_back(field);
  }
  if (rows.empty()) throw std::runtime_error(std::string(file) + " has nothing about " + kind);
  return rows;
}

}  // namespace

std::vector<std::vector<std::string>> knownAnswers(std::string const& kind) {
  return rowsOf(kind, "known-answers.tsv");
}

std::vector<std::vector<std::string>> publishedVectors(std::string const& kind) {
  return rowsOf(kind, "published-vectors.tsv");
}

Bytes sampleContent(std::size_t length) {
  Bytes bytes(length);
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<unsigned char>(7 * i + i / 251);
  return bytes;
}

Bytes fromHex(std::string const& digits) {
  if (digits.size() % 2 != 0) throw std::runtime_error("half a byte: " + digits);
  Bytes bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2)
    bytes.push_back(static_cast<unsigned char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
  return bytes;
}

}  // namespace zt_test
