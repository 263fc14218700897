// Bytes that tests make, and damage.
#ifndef ZELVANE_TESTS_SUPPORT_MADE_BYTES_H
#define ZELVANE_TESTS_SUPPORT_MADE_BYTES_H

#include <cstdint>
#include <string>

/** A number in so many bytes, the highest first. */
inline std::string Be(uint64_t ulValue, int iBytes) {
    std::string strBytes;
    for (int i = iBytes - 1; i >= 0; --i) {
        strBytes.push_back(static_cast<char>(ulValue >> 8 * i));
    }
    return strBytes;
}

/** Hands over every prefix, then every copy with one byte set to values that lengths and flags trip over. */
template <class Try>
void TryDamaged(const std::string &strWhole, Try pfnTry) {
    for (size_t i = 0; i <= strWhole.size(); ++i) {
        pfnTry(strWhole.substr(0, i));
    }
    std::string strDamaged = strWhole;
    for (size_t i = 0; i < strWhole.size(); strDamaged[i] = strWhole[i], ++i) {
        for (int iValue : {0x00, 0x01, 0x03, 0x7F, 0x80, 0xB7, 0xB8, 0xFE, 0xFF}) {
            strDamaged[i] = static_cast<char>(iValue);
            pfnTry(strDamaged);
        }
    }
}

#endif
