// What tests of scrambled streams share: keys, messages, pictures as a camera scrambles them.
#ifndef ZELVANE_TESTS_SUPPORT_PROTECTION_H
#define ZELVANE_TESTS_SUPPORT_PROTECTION_H

#include <string>

#include "seal/seal.h"
#include "support/media.h"
#include "zelvane_modules.h"

namespace support {

inline Bytes FromHex(const char *digits) {
    Bytes bytes;
    for (; digits[0] != '\0' && digits[1] != '\0'; digits += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(digits, 2), nullptr, 16)));
    }
    return bytes;
}

/** The library's built-in key, whose private half the tests know by this. */
inline PLAYER_RSA_INFO_S BuiltInKey() {
    PLAYER_RSA_INFO_S key = {};
    Player_GetRsaKey(&key);
    return key;
}

/** A message encrypted to a key. */
inline Bytes SealTo(const PLAYER_RSA_INFO_S &key, Span message) {
    const uint8_t exponent[] = {1, 0, 1};
    return Seal_Rsa(FromHex(std::string(key.cN, strnlen(key.cN, sizeof key.cN)).c_str()), exponent, message);
}

}  // namespace support

#endif
