#include "key_der.h"

#include <cstring>

namespace {

using BYTES = std::vector<uint8_t>;

constexpr uint8_t TAG_INTEGER = 0x02;
constexpr uint8_t TAG_SEQUENCE = 0x30;

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char cUpper = static_cast<char>(c & ~0x20);
    return cUpper >= 'A' && cUpper <= 'F' ? cUpper - 'A' + 10 : -1;
}

/** The number in a text field, highest byte first, without zeros in front; empty for zero and for what is no number. */
BYTES ReadHex(const char *pcText, size_t ulField) {
    size_t ulDigits = strnlen(pcText, ulField);
    for (; ulDigits > 0 && *pcText == '0'; --ulDigits) {
        ++pcText;
    }
    BYTES oNumber((ulDigits + 1) / 2);
    for (size_t i = 0; i < ulDigits; ++i) {
        const int iValue = HexValue(pcText[i]);
        if (iValue < 0) {
            return {};
        }
        uint8_t &ucByte = oNumber[(ulDigits % 2 + i) / 2];
        ucByte = static_cast<uint8_t>(ucByte << 4 | iValue);
    }
    return oNumber;
}

BYTES ReadWord(ULONG_32 ulValue) {
    BYTES oNumber;
    for (int iShift = 24; iShift >= 0; iShift -= 8) {
        const uint8_t ucByte = static_cast<uint8_t>(ulValue >> iShift);
        if (!oNumber.empty() || ucByte != 0) {
            oNumber.push_back(ucByte);
        }
    }
    return oNumber;
}

void AppendHead(BYTES &oDer, uint8_t ucTag, size_t ulLen) {
    oDer.push_back(ucTag);
    if (ulLen >= 0x100) {
        oDer.insert(oDer.end(), {0x82, static_cast<uint8_t>(ulLen >> 8)});
    } else if (ulLen >= 0x80) {
        oDer.push_back(0x81);
    }
    oDer.push_back(static_cast<uint8_t>(ulLen));
}

/** A DER integer is signed: a highest bit gets a zero byte in front. */
void AppendInteger(BYTES &oDer, const BYTES &oNumber) {
    const bool bPad = oNumber.empty() || (oNumber[0] & 0x80) != 0;
    AppendHead(oDer, TAG_INTEGER, oNumber.size() + bPad);
    if (bPad) {
        oDer.push_back(0);
    }
    oDer.insert(oDer.end(), oNumber.begin(), oNumber.end());
}

/** All odd: anything else is no RSA key, and modular arithmetic stands on it. */
bool IsOdd(const BYTES &oNumber) { return !oNumber.empty() && (oNumber.back() & 1) != 0; }

}  // namespace

std::vector<uint8_t> KeyDer_Write(const RSA_INFO_S &stKey) {
    const BYTES aoNumbers[] = {ReadHex(stKey.cN, sizeof(stKey.cN)),     ReadWord(stKey.unPub),
                               ReadHex(stKey.cPri, sizeof(stKey.cPri)), ReadHex(stKey.cP, sizeof(stKey.cP)),
                               ReadHex(stKey.cQ, sizeof(stKey.cQ)),     ReadHex(stKey.cDP, sizeof(stKey.cDP)),
                               ReadHex(stKey.cDQ, sizeof(stKey.cDQ)),   ReadHex(stKey.cQP, sizeof(stKey.cQP))};
    const BYTES &oModulus = aoNumbers[0];
    if (oModulus.size() * 8 != stKey.unBit || !IsOdd(oModulus) || !IsOdd(aoNumbers[3]) || !IsOdd(aoNumbers[4])) {
        return {};
    }
    BYTES oBody;
    AppendInteger(oBody, {});
    for (const BYTES &oNumber : aoNumbers) {
        if (oNumber.empty()) {
            return {};
        }
        AppendInteger(oBody, oNumber);
    }
    BYTES oDer;
    AppendHead(oDer, TAG_SEQUENCE, oBody.size());
    oDer.insert(oDer.end(), oBody.begin(), oBody.end());
    return oDer;
}
