// Bytes that tests make, and damage.
#ifndef ZELVANE_TESTS_SUPPORT_MADE_BYTES_H
#define ZELVANE_TESTS_SUPPORT_MADE_BYTES_H

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

/** A number in so many bytes, the highest first. */
inline std::string Be(uint64_t ulValue, int iBytes) {
    std::string strBytes;
    for (int i = iBytes - 1; i >= 0; --i) {
        strBytes.push_back(static_cast<char>(ulValue >> 8 * i));
    }
    return strBytes;
}

/** A sine wave of this many radians a sample. */
inline std::vector<int16_t> Tone(size_t ulSamples, double dStep) {
    std::vector<int16_t> asTone(ulSamples);
    for (size_t i = 0; i < ulSamples; ++i) {
        asTone[i] = static_cast<int16_t>(10000 * std::sin(static_cast<double>(i) * dStep));
    }
    return asTone;
}

/** Writes the bits of codec headers. */
class BitWriter {
 public:
    BitWriter &Bits(uint64_t ulValue, int iCount) {
        for (int i = iCount - 1; i >= 0; --i, ++m_ulBits) {
            oBytes.resize(m_ulBits / 8 + 1);
            oBytes[m_ulBits / 8] |= static_cast<char>((ulValue >> i & 1) << (7 - m_ulBits % 8));
        }
        return *this;
    }
    /** An unsigned Exp-Golomb code. */
    BitWriter &Ue(uint32_t uiValue) {
        int iZeros = 63 - __builtin_clzll(uint64_t{uiValue} + 1);
        return Bits(0, iZeros).Bits(uint64_t{uiValue} + 1, iZeros + 1);
    }
    /** Bits so far. */
    size_t Count() const { return m_ulBits; }
    std::string oBytes;

 private:
    size_t m_ulBits = 0;
};

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
