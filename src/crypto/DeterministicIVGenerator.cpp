// SPDX-License-Identifier: Apache-2.0
#include "crypto/DeterministicIVGenerator.hpp"

namespace opc::ztservices {

DeterministicIVGenerator::DeterministicIVGenerator(std::vector<unsigned char> const& fixedBytes)
    : fixedPortion_(fixedBytes.begin(), fixedBytes.begin() + kFixedBytes) {}

std::vector<unsigned char> DeterministicIVGenerator::generate() {
  std::vector<unsigned char> iv = fixedPortion_;
  for (unsigned shift = 0; shift < 64; shift += 8) iv.push_back(static_cast<unsigned char>(counter_ >> shift));
  bool const feedback = counter_ & 1;
  counter_ >>= 1;
  if (feedback) counter_ ^= kFeedbackMask;
  return iv;
}

}  // namespace opc::ztservices
