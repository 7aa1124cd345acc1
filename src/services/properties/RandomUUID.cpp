// SPDX-License-Identifier: Apache-2.0
#include "services/properties/RandomUUID.hpp"

#include <boost/uuid/random_generator.hpp>
#include <cstdint>
#include <cstring>
#include <limits>

namespace opc::ztservices {
namespace {

/// Adapts the generator to the standard library: 64 uniformly distributed bits at a time.
class RandomWords {
 public:
  using result_type = std::uint64_t;

  explicit RandomWords(foundation::crypto::interfaces::ICryptoPRNG& generator) : generator_(generator) {}

  static constexpr result_type min() { return 0; }
  static constexpr result_type max() { return std::numeric_limits<result_type>::max(); }

  result_type operator()() {
    result_type word = 0;
    std::memcpy(&word, generator_.generateByteArray(sizeof word).data(), sizeof word);
    return word;
  }

 private:
  foundation::crypto::interfaces::ICryptoPRNG& generator_;
};

}  // namespace

boost::uuids::uuid makeRandomUUID(foundation::crypto::interfaces::ICryptoPRNG& generator) {
  RandomWords words(generator);
  return boost::uuids::basic_random_generator<RandomWords>(words)();
}

}  // namespace opc::ztservices
