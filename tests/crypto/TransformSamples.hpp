// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "samples/BytesSource.hpp"
#include "support/CryptoAnswers.hpp"
#include "support/TestSupport.hpp"

namespace crypto_test {

using opc::model::ContentType;
using opc::ztservices::samples::BytesSource;
using zt_test::Bytes;
using zt_test::sampleContent;

inline Bytes const kKey = sampleContent(32);

inline std::unique_ptr<BytesSource> sourceOf(Bytes bytes, std::u16string const& type = u"text/plain") {
  return std::make_unique<BytesSource>(std::move(bytes), ContentType(type));
}

inline Bytes readAll(opc::ztservices::IContentSource& source) {
  return zt_test::bytesOf(zt_test::readAll(source.getInputStream()));
}

inline Bytes front(Bytes const& bytes, std::size_t count) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}
inline Bytes behind(Bytes const& bytes, std::size_t count) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(count), bytes.end()};
}

/// What the transform writes to standard output while it refuses these bytes.
template <typename Transform>
std::string lineOfRefusal(Transform& transform, Bytes const& in) {
  Bytes out;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(transform.transformData(in, out));
  EXPECT_TRUE(out.empty());
  return testing::internal::GetCapturedStdout();
}

constexpr char kDamaged[] = "The key is wrong or the content is damaged";

}  // namespace crypto_test
