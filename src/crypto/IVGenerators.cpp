// SPDX-License-Identifier: Apache-2.0
#include "crypto/IVGenerators.hpp"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "crypto/CryptoEngine.hpp"
#include "crypto/CryptoErrors.hpp"
#include "crypto/CryptoRandom.hpp"
#include "opc/ztservices/Exceptions.hpp"

namespace opc::ztservices {
namespace {

using foundation::crypto::CryptoEngine;

// Two copies of one memory, as of a virtual machine, both have the vectors that were drawn before the copy was made.
constexpr std::size_t kDrawnAtOnce = 16;
constexpr std::size_t kEntropyBytes = 32;

std::array<unsigned char, kEntropyBytes> entropyOfSystem() {
  std::array<unsigned char, kEntropyBytes> bytes{};
  if (getentropy(bytes.data(), bytes.size()) != 0)
    throw foundation::crypto::CryptoError(std::string("Reading random bytes of the system failed: ") +
                                          std::strerror(errno));
  return bytes;
}

std::atomic<std::uint64_t> forks{0};

/// A child may have the process id of its parent, in another namespace, so that ids do not tell them apart.
std::uint64_t countForks() {
  static int const error = pthread_atfork(nullptr, nullptr, [] { ++forks; });
  if (error != 0) throw foundation::crypto::CryptoError("Noticing forks failed");
  return forks;
}

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

RandomIVGenerator::RandomIVGenerator(std::shared_ptr<foundation::crypto::interfaces::ICryptoProvider> provider,
                                     std::vector<unsigned char> const& seed)
    : ivSize_(static_cast<std::size_t>(CryptoEngine::getAESBlockSizeInBytes())),
      provider_(std::move(provider)),
      prng_(CryptoEngine(provider_).createDefaultCryptoPRNG(seed)) {}

std::vector<unsigned char> RandomIVGenerator::generate() {
  if (used_ == drawn_.size() || drawnBehind_ != countForks()) {
    provider_->mixIn(entropyOfSystem());
    drawn_ = prng_.generateByteArray(kDrawnAtOnce * ivSize_);
    used_ = 0;
    drawnBehind_ = countForks();
  }
  auto const begin = drawn_.begin() + static_cast<std::ptrdiff_t>(used_);
  used_ += ivSize_;
  return {begin, begin + static_cast<std::ptrdiff_t>(ivSize_)};
}

IVGenerator::~IVGenerator() = default;

std::shared_ptr<IVGenerator> createIVGenerator(IVMode mode, std::vector<unsigned char> const& bytes) {
  return mode == IVMode::Random ? createRandom(bytes) : createDeterministic(bytes);
}

}  // namespace opc::ztservices
