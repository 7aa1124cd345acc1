// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "opc/model/Exceptions.hpp"
#include "opc/model/Package.hpp"
#include "opc/ztservices/Verification.hpp"
#include "support/TestSupport.hpp"

namespace opc::ztservices {
namespace {

using model::Package;

model::Part addPart(Package& package, std::string const& content) {
  model::Part part = package.createPart(model::PartName(u"/a.bin"), model::ContentType(u"application/octet-stream"),
                                        model::StandardPartInfo(model::CompressionType::Content));
  auto const out = part.getOutputStream();
  out->write(content.data(), content.size());
  out->close();
  return part;
}

// Digests by Python's hashlib.
TEST(DigestPart, IsTheSha256OfTheBytesInLowerCase) {
  auto const package = Package::createInMemory();
  EXPECT_EQ(digestPart(addPart(*package, "abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(DigestPart, TakesAnEmptyPart) {
  auto const package = Package::createInMemory();
  EXPECT_EQ(digestPart(addPart(*package, "")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(DigestPart, ReadsAPartThatIsLongerThanOneStep) {
  auto const package = Package::createInMemory();
  EXPECT_EQ(digestPart(addPart(*package, std::string(1'000'000, 'a'))),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(DigestPart, IsTheSameAfterASave) {
  auto const package = Package::createInMemory();
  std::string const before = digestPart(addPart(*package, "abcabcabc"));
  auto const again = Package::openInMemory(package->saveToBytes(), model::AccessMode::ReadOnly);
  EXPECT_EQ(digestPart(again->getPart(model::PartName(u"/a.bin"))), before);
}

TEST(DigestPart, ThrowsForAPartThatIsGone) {
  auto const package = Package::createInMemory();
  model::Part const part = addPart(*package, "abc");
  package->deletePart(part.getName());
  EXPECT_THROW(digestPart(part), model::PartNotFound);
}

TEST(DigestPart, ThrowsForAPartWhoseBytesAreDamaged) {
  auto const package = Package::createInMemory();
  std::string const content = "#content that is short and so is stored or deflated, but changed after that#";
  addPart(*package, content);
  std::vector<unsigned char> bytes = package->saveToBytes();
  bool threw = false;
  for (std::size_t at = 0; at < bytes.size() && !threw; ++at) {  // some byte of the file is the part's own
    std::vector<unsigned char> changed = bytes;
    changed[at] ^= 0x20;
    try {
      auto const damaged = Package::openInMemory(changed, model::AccessMode::ReadOnly);
      digestPart(damaged->getPart(model::PartName(u"/a.bin")));
    } catch (model::InvalidItem const&) {
      threw = true;
    } catch (Exception const&) {  // a byte of something else: the package does not open, or lost the part
    }
  }
  EXPECT_TRUE(threw);
}

}  // namespace
}  // namespace opc::ztservices
