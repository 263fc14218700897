#include "codec/zvrsa.h"

#include <gtest/gtest.h>

#include "support/protection.h"

namespace {

RSA_INFO_S BuiltIn() {
    const PLAYER_RSA_INFO_S key = support::BuiltInKey();
    RSA_INFO_S copy;
    memcpy(&copy, &key, sizeof copy);
    return copy;
}

std::string Hex(Span bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

}  // namespace

TEST(ZvRsa, OpensWhatWasSealedToTheKeyAndNothingElse) {
    RSA_INFO_S key = BuiltIn();
    for (const size_t length : {size_t{1}, size_t{4}, size_t{117}}) {
        const Bytes message(length, 0xAB);
        Bytes sealed = support::SealTo(support::BuiltInKey(), message), out(ZVRSA_MAX_PLAIN);
        ASSERT_EQ(sealed.size(), 128U);
        ASSERT_EQ(ZvRSA_Decrypt(&key, sealed.data(), out.data()), 0U);
        EXPECT_TRUE(std::equal(message.begin(), message.end(), out.begin()));
        for (const size_t at : {size_t{0}, size_t{64}, size_t{127}}) {
            sealed[at] ^= 0x40;
            EXPECT_EQ(ZvRSA_Decrypt(&key, sealed.data(), out.data()), 1U) << at;
            sealed[at] ^= 0x40;
        }
    }
    for (char &digit : key.cN) digit = static_cast<char>(tolower(digit));
    const Bytes sealed = support::SealTo(support::BuiltInKey(), Bytes{1});
    UCHAR out[ZVRSA_MAX_PLAIN];
    EXPECT_EQ(ZvRSA_Decrypt(&key, sealed.data(), out), 0U) << "digits in either case";
}

TEST(ZvRsa, AKeyThatIsNoneOpensNothing) {
    const Bytes sealed = support::SealTo(support::BuiltInKey(), Bytes{1, 2, 3, 4});
    UCHAR out[ZVRSA_MAX_PLAIN];
    void (*const spoil[])(RSA_INFO_S *) = {[](RSA_INFO_S *key) { key->unBit = 1016; },
                                           [](RSA_INFO_S *key) { key->unBit = 0xFFFFFFFF; },
                                           [](RSA_INFO_S *key) { key->unBit = 0; },
                                           [](RSA_INFO_S *key) { key->unPub = 0; },
                                           [](RSA_INFO_S *key) { key->cN[3] = 'G'; },
                                           [](RSA_INFO_S *key) { key->cP[0] = '\0'; },
                                           [](RSA_INFO_S *key) { key->cN[100] = '\0'; },
                                           [](RSA_INFO_S *key) { memset(key->cQ, '0', sizeof key->cQ); },
                                           [](RSA_INFO_S *key) { key->cQ[127] = '2'; },
                                           [](RSA_INFO_S *key) { std::swap(key->cDP[5], key->cDP[6]); },
                                           [](RSA_INFO_S *key) { memset(key, 'F', sizeof *key); }};
    for (size_t i = 0; i < std::size(spoil); ++i) {
        RSA_INFO_S key = BuiltIn();
        spoil[i](&key);
        EXPECT_EQ(ZvRSA_Decrypt(&key, sealed.data(), out), 1U) << i;
    }
    RSA_INFO_S key = BuiltIn();
    EXPECT_EQ(ZvRSA_Decrypt(nullptr, sealed.data(), out), 1U);
    EXPECT_EQ(ZvRSA_Decrypt(&key, nullptr, out), 1U);
    EXPECT_EQ(ZvRSA_Decrypt(&key, sealed.data(), nullptr), 1U);
}

TEST(ZvRsa, AFileKeyIsOneBlockWithPadding) {
    const struct {
        uint8_t padding;
        int bits;
        const char *password;
        ULONG_32 result;
    } rows[] = {{0x00, 256, "secret", 0}, {0x0C, 256, "secret", 0}, {0x01, 256, "secret", 1},
                {0x00, 128, "secret", 1}, {0x00, 256, "Secret", 1}, {0x00, -1, "secret", 1}};
    for (const auto &row : rows) {
        uint8_t block[16] = {9, 8, 7, 6};
        memset(block + 4, row.padding, 12);
        const Bytes sealed = Seal_Block("secret", std::span<const uint8_t, 16>(block));
        UCHAR out[4] = {};
        EXPECT_EQ(ZvRSA_Decrypt_Ecb(sealed.data(), row.password, row.bits, out), row.result);
        EXPECT_EQ(Hex(out), row.result == 0 ? "09080706" : "00000000");
    }
    uint8_t mixed[16] = {1, 2, 3, 4, 12, 12, 12, 12, 12, 12, 12, 12, 12, 12, 12, 0};
    UCHAR out[4];
    EXPECT_EQ(ZvRSA_Decrypt_Ecb(Seal_Block("", std::span<const uint8_t, 16>(mixed)).data(), "", 256, out), 1U);
    mixed[15] = 12;
    const std::string longer = std::string(32, 'p') + "cut off";
    const Bytes sealed = Seal_Block(std::string(32, 'p'), std::span<const uint8_t, 16>(mixed));
    EXPECT_EQ(ZvRSA_Decrypt_Ecb(sealed.data(), longer.c_str(), 256, out), 0U);
    EXPECT_EQ(ZvRSA_Decrypt_Ecb(nullptr, "", 256, out), 1U);
}

TEST(ZvRsa, Md5IsThatOfRfc1321) {
    UCHAR digest[ZVRSA_MD5_LEN];
    EXPECT_EQ(BP_MD5_Calc(nullptr, 0, digest), 0U);
    EXPECT_EQ(Hex(digest), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(BP_MD5_Calc(reinterpret_cast<const UCHAR *>("message digest"), 14, digest), 0U);
    EXPECT_EQ(Hex(digest), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_EQ(BP_MD5_Calc(nullptr, 1, digest), 1U);
}
