// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "opc/Strings.hpp"
#include "package/ModelSamples.hpp"
#include "support/BoundedRun.hpp"

/// Texts made so that the standard library's hash, which has no secret, is the same for all of them.
namespace opc::model {
namespace {

constexpr int kTexts = 50'000;

// Of MurmurHash64A, as libstdc++ uses it.
constexpr std::uint64_t kFactor = 0xC6A4A7935BD1E995, kInverse = 0x5F7A0EA7E59B19BD, kSeed = 0xC70F6907;
static_assert(kFactor * kInverse == 1);

std::uint64_t shiftMix(std::uint64_t v) { return v ^ (v >> 47); }
std::uint64_t mix(std::uint64_t block) { return shiftMix(block * kFactor) * kFactor; }
std::uint64_t unmix(std::uint64_t mixed) { return shiftMix(mixed * kInverse) * kInverse; }

std::u16string textOf(std::uint64_t block) {
  std::u16string text(4, u'\0');
  std::memcpy(text.data(), &block, sizeof block);
  return text;
}

bool isWord(std::u16string const& text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c >= 0x3100 && c < 0xA000; });
}

/// The second block of each takes back what the first one does to the hash.
std::vector<std::u16string> collidingTexts() {
  std::vector<std::u16string> texts;
  for (std::uint64_t i = 0; texts.size() < kTexts; ++i) {
    std::uint64_t const first = 0x4E00'4E00'4E00'4E00 + ((i & 0xFFF) | (i >> 12 & 0xFFF) << 16);
    std::uint64_t const state = (kSeed ^ (16 * kFactor) ^ mix(first)) * kFactor;
    auto const second = textOf(unmix(state ^ 0x0123'4567'89AB'CDEF));
    if (isWord(second)) texts.push_back(textOf(first) + second);
  }
  return texts;
}

void expectQuickToOpen(samples::Bytes const& bytes) {
  auto const step = [&] { return samples::open(bytes)->hasPart(PartName(u"/_rels/.rels")) ? 0 : 1; };
  EXPECT_EQ(zt_test::runBounded(step), 0);
}

TEST(CollidingTexts, AreWhatTheySay) {
  auto const texts = collidingTexts();
  std::hash<std::u16string_view> const hash;
  for (auto const& text : texts)
    if (hash(text) != hash(texts.front())) GTEST_SKIP() << "not for this standard library";
}

TEST(CollidingTexts, CostNoMoreAsRelationshipIds) {
  std::string children;
  for (auto const& text : collidingTexts()) children += samples::relationship(toUTF8String(text), "a");
  expectQuickToOpen(samples::packageOf({{"_rels/.rels", samples::relationships(children)}}));
}

TEST(CollidingTexts, CostNoMoreAsRelationshipTypes) {
  std::string children;
  for (auto const& text : collidingTexts())
    children += "<Relationship Id=\"r" + std::to_string(children.size()) + "\" Type=\"" + toUTF8String(text) +
                "\" Target=\"a\"/>";
  expectQuickToOpen(samples::packageOf({{"_rels/.rels", samples::relationships(children)}}));
}

TEST(CollidingTexts, CostNoMoreAsContentTypes) {
  std::string children;
  for (auto const& text : collidingTexts())
    children +=
        "<Default Extension=\"x" + std::to_string(children.size()) + "\" ContentType=\"" + toUTF8String(text) + "\"/>";
  expectQuickToOpen(samples::packageOf({{"_rels/.rels", samples::relationships("")}}, children));
}

}  // namespace
}  // namespace opc::model
