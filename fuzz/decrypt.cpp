// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzTarget.hpp"
#include "crypto/CipherTransforms.hpp"
#include "crypto/CryptoAdapters.hpp"
#include "opc/model/Exceptions.hpp"
#include "opc/ztservices/Transforms.hpp"
#include "samples/BytesSource.hpp"

/// A content type in the first line, and encrypted content: nothing comes out but what was encrypted with the key.
namespace zt_fuzz {
namespace {

using namespace opc::ztservices;
using opc::model::ContentType;
using samples::BytesSource;

constexpr std::size_t kBlock = 16;
Bytes const kKey(32, 0x5A);

/// The same initialization vector at every call.
class OneIV final : public IVGenerator {
 public:
  explicit OneIV(Bytes iv) : iv_(std::move(iv)) {}
  Bytes generate() override { return iv_; }

 private:
  Bytes iv_;
};

Bytes contentOf(IContentSource& source) { return readAll(source.getInputStream()); }

Bytes ivOf(Bytes const& content) { return {content.begin(), content.begin() + kBlock}; }

std::string algorithmOf(ContentType const& type) {
  std::u16string const value = type.getParameterValue(u"encryption");
  return {value.begin(), value.end()};
}

Bytes encryptedInline(Bytes const& plain, Bytes const& iv, ContentType const& type) {
  EncryptionWithInlineIVTransform transform(std::make_unique<BytesSource>(plain, type),
                                            std::make_shared<CryptoEncryptor>(kKey), "AES256-GCM",
                                            std::make_shared<OneIV>(iv));
  return contentOf(transform);
}

void runInline(ContentType const& type, Bytes const& content) {
  DecryptionWithInlineIVTransform transform(std::make_unique<BytesSource>(content, type),
                                            std::make_shared<CryptoDecryptor>(kKey), algorithmOf(type));
  Bytes plain;
  if (!isAccepted<CouldNotTransformContentData>([&] { plain = contentOf(transform); })) return;
  require(content.size() == plain.size() + 2 * kBlock, "a message is its initialization vector, content and tag");
  require(encryptedInline(plain, ivOf(content), type) == content, "only what was encrypted is decrypted");
  isAccepted<CouldNotTransformContentType>([&] {
    require(!transform.getContentType().hasParameter(u"encryption"), "decrypted content is no longer marked");
  });
}

void runPlain(ContentType const& type, Bytes const& content) {
  if (content.size() < kBlock) return;
  Bytes const iv = ivOf(content), message(content.begin() + kBlock, content.end());
  AESDecryptionTransform transform(std::make_unique<BytesSource>(message, type), kKey, iv);
  Bytes plain;
  if (!isAccepted<CouldNotTransformContentData>([&] { plain = contentOf(transform); })) return;
  AESEncryptionTransform back(std::make_unique<BytesSource>(plain, type), kKey, iv);
  require(contentOf(back) == message, "only what was encrypted is decrypted");
}

void run(Bytes const& input) {
  auto const [line, rest] = lineAndRest(input);
  std::u16string const text(line.begin(), line.end());
  std::unique_ptr<ContentType> type;
  if (!isAccepted<opc::model::InvalidContentType>([&] { type = std::make_unique<ContentType>(text); })) return;
  Quiet const quiet;
  runInline(*type, bytesOf(rest));
  runPlain(*type, bytesOf(rest));
}

std::vector<Bytes> seeds() {
  std::vector<Bytes> all;
  for (char const* const plain : {"", "secret", "longer than one block of the cipher"}) {
    Bytes seed = bytesOf("text/plain;encryption=AES256-GCM;iv=inline\n");
    Bytes const content = encryptedInline(bytesOf(plain), Bytes(kBlock, 3), ContentType(u"text/plain"));
    seed.insert(seed.end(), content.begin(), content.end());
    all.push_back(seed);
  }
  return all;
}

Registration const registration("decrypt", run, seeds);

}  // namespace
}  // namespace zt_fuzz
