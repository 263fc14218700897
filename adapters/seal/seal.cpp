#include "seal/seal.h"

#include <wolfssl/options.h>
// The library's own options come first.
#include <wolfssl/wolfcrypt/aes.h>
#include <wolfssl/wolfcrypt/random.h>
#include <wolfssl/wolfcrypt/rsa.h>

#include <algorithm>

namespace {

constexpr size_t KEY_LEN = 32;

word32 Size(std::span<const uint8_t> bytes) { return static_cast<word32>(bytes.size()); }

}  // namespace

std::vector<uint8_t> Seal_Rsa(std::span<const uint8_t> modulus, std::span<const uint8_t> exponent,
                              std::span<const uint8_t> message) {
    WC_RNG rng;
    RsaKey key;
    if (wc_InitRng(&rng) != 0) return {};
    std::vector<uint8_t> sealed(modulus.size());
    int length = wc_InitRsaKey(&key, nullptr);
    if (length == 0) {
        length = wc_RsaPublicKeyDecodeRaw(modulus.data(), Size(modulus), exponent.data(), Size(exponent), &key);
        if (length == 0) {
            length = wc_RsaPublicEncrypt(message.data(), Size(message), sealed.data(), Size(sealed), &key, &rng);
        }
        wc_FreeRsaKey(&key);
    }
    wc_FreeRng(&rng);
    sealed.resize(static_cast<size_t>(std::max(length, 0)));
    return sealed;
}

std::vector<uint8_t> Seal_Block(const std::string &password, std::span<const uint8_t, 16> block) {
    uint8_t key[KEY_LEN] = {};
    std::copy_n(password.begin(), std::min(password.size(), KEY_LEN), key);
    Aes aes;
    if (wc_AesInit(&aes, nullptr, INVALID_DEVID) != 0) return {};
    std::vector<uint8_t> sealed(block.size());
    const bool done = wc_AesSetKey(&aes, key, KEY_LEN, nullptr, AES_ENCRYPTION) == 0 &&
                      wc_AesEcbEncrypt(&aes, sealed.data(), block.data(), Size(block)) == 0;
    wc_AesFree(&aes);
    return done ? sealed : std::vector<uint8_t>();
}
