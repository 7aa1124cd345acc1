// SPDX-License-Identifier: Apache-2.0
#include "crypto/IVGenerators.hpp"

#include <string>

#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoProvider.hpp"
#include "crypto/DeterministicIVGenerator.hpp"
#include "crypto/RandomIVGenerator.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

std::size_t minimalBytes() { return foundation::crypto::CryptoEngine::getAESBlockSizeInBytes() / 2; }

std::shared_ptr<IVGenerator> createDeterministic(std::vector<unsigned char> const& fixedBytes) {
  if (fixedBytes.size() < minimalBytes())
    throw InvalidIVBytesSize("IV fixed portion must be at least " + std::to_string(minimalBytes()) + " bytes");
  return std::make_shared<DeterministicIVGenerator>(fixedBytes);
}

std::shared_ptr<IVGenerator> createRandom(std::vector<unsigned char> const& seed) {
  auto const provider = std::make_shared<foundation::crypto::cryptopp::CryptoProvider>();
  auto const generator = std::make_shared<RandomIVGenerator>(provider, seed);
  if (!seed.empty() && seed.size() < minimalBytes())
    throw InvalidIVBytesSize("IV seed must be at least " + std::to_string(minimalBytes()) +
                             " bytes when it is specified");
  return generator;
}

}  // namespace

IVGenerator::~IVGenerator() = default;

std::shared_ptr<IVGenerator> createIVGenerator(IVMode mode, std::vector<unsigned char> const& bytes) {
  return mode == IVMode::Random ? createRandom(bytes) : createDeterministic(bytes);
}

}  // namespace opc::ztservices
