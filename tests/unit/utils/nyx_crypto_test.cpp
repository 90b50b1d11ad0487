#include "utils/nyx_crypto.h"

#include <gtest/gtest.h>

using namespace nyx;

TEST(Crypto, hmac_of_known_vectors)
{
    const Crypto crypto;
    EXPECT_EQ(crypto.hmac("what do ya want for nothing?", "Jefe", 0),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(crypto.hmac("", "", 0),
              "b613679a0814d9ec772f95d778c35fc5ff1697c493715653c6c712144292c5ad");
    EXPECT_EQ(crypto.hmac("data", "key", 1), "");
}
