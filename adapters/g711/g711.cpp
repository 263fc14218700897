#include "codec/g711.h"

#include <array>
#include <cstring>

// ITU-T G.711: both laws code a sample as a sign, a chord of three bits and four bits of mantissa.
namespace {

constexpr int SIGN_BIT = 0x80;
constexpr int MU_BIAS = 0x84;   // 33, in the upper 14 bits of a 16-bit sample
constexpr int MU_CLIP = 32635;  // largest magnitude that the bias leaves in 15 bits
constexpr int A_INVERT = 0x55;  // A-law turns every other bit over

constexpr int16_t MuToLinear(int lCode) {
    lCode = ~lCode & 0xFF;
    const int lMagnitude = ((((lCode & 0x0F) << 3) + MU_BIAS) << ((lCode >> 4) & 7)) - MU_BIAS;
    return static_cast<int16_t>((lCode & SIGN_BIT) != 0 ? -lMagnitude : lMagnitude);
}

constexpr int16_t AToLinear(int lCode) {
    lCode ^= A_INVERT;
    const int lChord = (lCode >> 4) & 7;
    int lMagnitude = ((lCode & 0x0F) << 4) + 8;
    if (lChord != 0) {
        lMagnitude = (lMagnitude + 0x100) << (lChord - 1);
    }
    return static_cast<int16_t>((lCode & SIGN_BIT) != 0 ? lMagnitude : -lMagnitude);
}

// Number of the chord that a magnitude lies in, where chord 0 holds what is below lFirstEnd.
constexpr int Chord(int lMagnitude, int lFirstEnd) {
    int lChord = 0;
    while (lChord < 7 && lMagnitude >= (lFirstEnd << lChord)) {
        lChord++;
    }
    return lChord;
}

constexpr uint8_t LinearToMu(int lSample) {
    const int lSign = lSample < 0 ? 0 : SIGN_BIT;
    int lMagnitude = lSample < 0 ? -lSample : lSample;
    lMagnitude = (lMagnitude > MU_CLIP ? MU_CLIP : lMagnitude) + MU_BIAS;
    const int lChord = Chord(lMagnitude, 0x100);
    return static_cast<uint8_t>((~((lChord << 4) | ((lMagnitude >> (lChord + 3)) & 0x0F)) & 0x7F) | lSign);
}

constexpr uint8_t LinearToA(int lSample) {
    // Negative samples lose one first, so that the two halves of the scale mirror each other.
    const int lSign = lSample < 0 ? 0 : SIGN_BIT;
    const int lMagnitude = lSample < 0 ? -lSample - 1 : lSample;
    const int lChord = Chord(lMagnitude, 0x100);
    const int lShift = lChord == 0 ? 4 : lChord + 3;
    return static_cast<uint8_t>(((lChord << 4) | ((lMagnitude >> lShift) & 0x0F) | lSign) ^ A_INVERT);
}

using LINEAR_TABLE = std::array<int16_t, 256>;

constexpr LINEAR_TABLE MakeTable(int16_t (*pfnLinear)(int)) {
    LINEAR_TABLE oTable{};
    for (int i = 0; i < 256; i++) {
        oTable[i] = pfnLinear(i);
    }
    return oTable;
}

constexpr LINEAR_TABLE A_LAW = MakeTable(AToLinear);
constexpr LINEAR_TABLE MU_LAW = MakeTable(MuToLinear);

}  // namespace

LONG_32 G711Decoder(const UCHAR *pucInput, ULONG_32 ulInputLen, UCHAR *pucOutput, ULONG_32 *pulOutputLen,
                    LONG_32 lLaw) {
    if (pucInput == nullptr || pucOutput == nullptr || pulOutputLen == nullptr || ulInputLen > UINT32_MAX / 2) {
        return -1;
    }
    const LINEAR_TABLE &oTable = lLaw == G711_LAW_MU ? MU_LAW : A_LAW;
    for (ULONG_32 i = 0; i < ulInputLen; i++) {
        std::memcpy(pucOutput + 2 * static_cast<size_t>(i), &oTable[pucInput[i]], 2);
    }
    *pulOutputLen = ulInputLen * 2;
    return 0;
}

LONG_32 G711Encoder(const UCHAR *pucInput, ULONG_32 ulInputLen, UCHAR *pucOutput, ULONG_32 *pulOutputLen,
                    LONG_32 lLaw) {
    if (pucInput == nullptr || pucOutput == nullptr || pulOutputLen == nullptr) {
        return -1;
    }
    uint8_t (*const pfnCode)(int) = lLaw == G711_LAW_MU ? LinearToMu : LinearToA;
    const ULONG_32 ulSamples = ulInputLen / 2;
    for (ULONG_32 i = 0; i < ulSamples; i++) {
        int16_t sSample;
        std::memcpy(&sSample, pucInput + 2 * static_cast<size_t>(i), 2);
        pucOutput[i] = pfnCode(sSample);
    }
    *pulOutputLen = ulSamples;
    return 0;
}
