// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <string>

#include "crypto/CryptoErrors.hpp"
#include "support/TestSupport.hpp"

namespace foundation::crypto::detail {
namespace {

TEST(CryptoErrors, LetsSuccessPass) { EXPECT_NO_THROW(check(1, "Testing")); }

TEST(CryptoErrors, NamesTheOperationAndTheReason) {
  ERR_clear_error();
  ERR_raise(ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM);
  try {
    check(0, "Testing");
    ADD_FAILURE() << "nothing was thrown";
  } catch (CryptoError const& error) {
    EXPECT_TRUE(std::string(error.what()).starts_with("Testing failed: error:")) << error.what();
    EXPECT_NE(std::string(error.what()).find("unsupported algorithm"), std::string::npos) << error.what();
    EXPECT_FALSE(error.getErrorCode());
  }
}

TEST(CryptoErrors, SaysSoWhereThereIsNoReason) {
  ERR_clear_error();
  EXPECT_THROW_MESSAGE(check(0, "Testing"), CryptoError, "Testing failed: no reason given");
}

TEST(CryptoErrors, TakesANegativeResultForAFailure) {
  ERR_clear_error();
  EXPECT_THROW_MESSAGE(check(-2, "Testing"), CryptoError, "Testing failed: no reason given");
}

TEST(CryptoErrors, LeavesTheQueueEmpty) {
  ERR_raise(ERR_LIB_EVP, EVP_R_UNSUPPORTED_ALGORITHM);
  ERR_raise(ERR_LIB_EVP, EVP_R_INVALID_KEY);
  EXPECT_THROW(check(0, "Testing"), CryptoError);
  EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(CryptoErrors, IsAnExceptionOfTheLibrary) { EXPECT_THROW(check(0, "Testing"), opc::Exception); }

}  // namespace
}  // namespace foundation::crypto::detail
