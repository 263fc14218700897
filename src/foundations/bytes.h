/**
 * @file bytes.h
 * @brief The one reader for bytes from outside: by bytes and by bits, never past the end.
 *
 * A failed read gives 0 and fails the reader for good, so a parser reads a group of fields and asks once, at the end
 * or before it loops or allocates by what it read. A reader refers to the bytes and does not own them; it is a value,
 * cheap to copy, and belongs to one thread.
 *
 *     bytes::Reader stReader(pucData, ulSize);
 *     ULONG_32 ulSize = stReader.U32Be();
 *     ULONG_32 ulType = stReader.U32Be();
 *     bytes::Reader stBody = stReader.Sub(ulSize);
 *     if (!stReader.Ok()) return PLAYER_ERR_FAILED;
 */
#ifndef ZELVANE_FOUNDATIONS_BYTES_H
#define ZELVANE_FOUNDATIONS_BYTES_H

#include <cstddef>
#include <cstring>

#include "player_public.h"

namespace bytes {

/* Loads for loops that have checked their length already: so many bytes lie at pucAt. */

inline USHORT Be16(const UCHAR *pucAt) { return static_cast<USHORT>(pucAt[0] << 8 | pucAt[1]); }
inline ULONG_32 Be32(const UCHAR *pucAt) { return ULONG_32{Be16(pucAt)} << 16 | Be16(pucAt + 2); }
inline USHORT Le16(const UCHAR *pucAt) { return static_cast<USHORT>(pucAt[1] << 8 | pucAt[0]); }

/** Reads whole bytes. */
class Reader {
 public:
    Reader() = default;
    /** Over ulSize bytes; null counts as none. */
    Reader(const void *pData, size_t ulSize)
        : m_pucData(static_cast<const UCHAR *>(pData)), m_ulSize(pData != nullptr ? ulSize : 0) {}

    /** False once a read went past the end. */
    bool Ok() const { return m_bOk; }
    /** Fails the reader, for values that make no sense. */
    void Fail() { m_bOk = false; }
    /** Bytes read so far. */
    size_t Pos() const { return m_ulPos; }
    /** Bytes of the whole. */
    size_t Size() const { return m_ulSize; }
    /** Bytes left; 0 once failed. */
    size_t Left() const { return m_bOk ? m_ulSize - m_ulPos : 0; }

    /** Takes ulCount bytes: a pointer to them, or null. */
    const UCHAR *Take(size_t ulCount) {
        size_t ulFrom = m_ulPos;
        return Skip(ulCount) && m_pucData != nullptr ? m_pucData + ulFrom : nullptr;
    }
    /** Looks at ulCount bytes, ulOffset ahead: a pointer, or null. Neither moves nor fails. */
    const UCHAR *Peek(size_t ulCount, size_t ulOffset = 0) const {
        size_t ulLeft = Left();
        if (m_pucData == nullptr || ulOffset > ulLeft || ulCount > ulLeft - ulOffset) {
            return nullptr;
        }
        return m_pucData + m_ulPos + ulOffset;
    }
    /** Looks at one byte, ulOffset ahead: 0 to 255, or -1. */
    LONG_32 PeekU8(size_t ulOffset = 0) const {
        const UCHAR *pucAt = Peek(1, ulOffset);
        return pucAt != nullptr ? *pucAt : -1;
    }
    /** Whether these bytes come next. */
    bool Match(const void *pBytes, size_t ulCount) const {
        const UCHAR *pucAt = Peek(ulCount);
        return pucAt != nullptr && memcmp(pucAt, pBytes, ulCount) == 0;
    }

    /** Moves on. */
    bool Skip(size_t ulCount) {
        if (!m_bOk || ulCount > m_ulSize - m_ulPos) {
            m_bOk = false;
            return false;
        }
        m_ulPos += ulCount;
        return true;
    }
    /** Moves to a place counted from the start; the end is allowed. */
    bool Seek(size_t ulPos) {
        if (!m_bOk || ulPos > m_ulSize) {
            m_bOk = false;
            return false;
        }
        m_ulPos = ulPos;
        return true;
    }
    /** Takes ulCount bytes out as a reader of their own (a nested box); both fail if they are not there. */
    Reader Sub(size_t ulCount) {
        const UCHAR *pucAt = Take(ulCount);
        Reader stSub(pucAt, pucAt != nullptr ? ulCount : 0);
        stSub.m_bOk = m_bOk;
        return stSub;
    }
    /** Takes ulCount bytes into a buffer of the caller; untouched on failure. */
    bool Copy(void *pTo, size_t ulCount) {
        const UCHAR *pucAt = Take(ulCount);
        if (pucAt != nullptr && ulCount != 0) {
            memcpy(pTo, pucAt, ulCount);
        }
        return m_bOk;
    }

    UCHAR U8() { return static_cast<UCHAR>(Be<1>()); }
    USHORT U16Be() { return static_cast<USHORT>(Be<2>()); }
    ULONG_32 U24Be() { return static_cast<ULONG_32>(Be<3>()); }
    ULONG_32 U32Be() { return static_cast<ULONG_32>(Be<4>()); }
    DULONG U64Be() { return Be<8>(); }
    USHORT U16Le() { return static_cast<USHORT>(Le<2>()); }
    ULONG_32 U24Le() { return static_cast<ULONG_32>(Le<3>()); }
    ULONG_32 U32Le() { return static_cast<ULONG_32>(Le<4>()); }
    DULONG U64Le() { return Le<8>(); }

 private:
    template <size_t N>
    DULONG Be() {
        const UCHAR *pucAt = Take(N);
        if (pucAt == nullptr) {
            return 0;
        }
        DULONG dulValue = 0;
        for (size_t i = 0; i < N; ++i) {
            dulValue = dulValue << 8 | pucAt[i];
        }
        return dulValue;
    }
    template <size_t N>
    DULONG Le() {
        const UCHAR *pucAt = Take(N);
        if (pucAt == nullptr) {
            return 0;
        }
        DULONG dulValue = 0;
        for (size_t i = N; i > 0; --i) {
            dulValue = dulValue << 8 | pucAt[i - 1];
        }
        return dulValue;
    }

    const UCHAR *m_pucData = nullptr;
    size_t m_ulSize = 0;
    size_t m_ulPos = 0;  // never above m_ulSize
    bool m_bOk = true;
};

/** What a bit reader does with the 03 of 00 00 03 (ITU-T H.264 7.3.1, H.265 7.3.1.1). */
enum class Emulation {
    kKeep,  /**< an ordinary byte */
    kRemove /**< emulation prevention: left out */
};

/** Reads bits, most significant first. Once more is asked than is there it is dry: every read gives 0. */
class BitReader {
 public:
    /** Over ulSize bytes; null counts as none. */
    BitReader(const void *pData, size_t ulSize, Emulation enEmulation = Emulation::kKeep)
        : m_pucData(static_cast<const UCHAR *>(pData)),
          m_ulSize(pData != nullptr ? ulSize : 0),
          m_bRemove(enEmulation == Emulation::kRemove) {}

    /** True once a read went past the end or met a code that is too long; loops stop by it. */
    bool Dry() const { return m_bDry; }
    /** Bits read so far, without removed bytes. */
    DULONG BitPos() const { return m_dulBitPos; }

    /** Reads 0 to 32 bits; more makes it dry. */
    ULONG_32 Bits(ULONG_32 ulCount) {
        if (!Fill(ulCount)) {
            return 0;
        }
        m_ulCached -= ulCount;
        m_dulBitPos += ulCount;
        DULONG dulMask = (DULONG{1} << ulCount) - 1;
        return static_cast<ULONG_32>(m_dulCache >> m_ulCached & dulMask);
    }
    /** Reads one bit. */
    ULONG_32 Bit() { return Bits(1); }
    /** Looks at 0 to 32 bits without moving; 0 without going dry if they are not there. */
    ULONG_32 PeekBits(ULONG_32 ulCount) const {
        BitReader stAhead = *this;
        return stAhead.Bits(ulCount);
    }
    /** Moves on by any number of bits. */
    void Skip(DULONG dulCount) {
        while (dulCount > 32 && !m_bDry) {
            Bits(32);
            dulCount -= 32;
        }
        if (!m_bDry) {
            Bits(static_cast<ULONG_32>(dulCount));
        }
    }
    /** Moves on to the next whole byte. */
    void Align() { Bits(static_cast<ULONG_32>((8 - m_dulBitPos % 8) % 8)); }

    /** Unsigned Exp-Golomb code (ITU-T H.264 9.1); more than 31 leading zeros make it dry. */
    ULONG_32 Ue() {
        ULONG_32 ulZeros = 0;
        while (Bit() == 0) {
            if (m_bDry || ++ulZeros > 31) {
                m_bDry = true;
                return 0;
            }
        }
        ULONG_32 ulRest = Bits(ulZeros);
        return m_bDry ? 0 : (ULONG_32{1} << ulZeros) - 1 + ulRest;
    }
    /** Signed Exp-Golomb code (ITU-T H.264 9.1.1). */
    LONG_32 Se() {
        ULONG_32 ulCode = Ue();
        LONG_32 lHalf = static_cast<LONG_32>(ulCode / 2);
        return (ulCode & 1) != 0 ? lHalf + 1 : -lHalf;
    }

 private:
    /** Gets at least ulCount bits into the cache. */
    bool Fill(ULONG_32 ulCount) {
        while (!m_bDry && ulCount <= 32 && m_ulCached < ulCount && NextByte()) {
        }
        m_bDry = m_bDry || ulCount > 32 || m_ulCached < ulCount;
        return !m_bDry;
    }
    bool NextByte() {
        if (m_ulPos == m_ulSize) {
            return false;
        }
        UCHAR ucByte = m_pucData[m_ulPos++];
        if (m_bRemove && m_ulZeros >= 2 && ucByte == 3) {
            m_ulZeros = 0;
            return true;
        }
        m_ulZeros = ucByte == 0 ? m_ulZeros + 1 : 0;
        m_dulCache = m_dulCache << 8 | ucByte;
        m_ulCached += 8;
        return true;
    }

    const UCHAR *m_pucData;
    size_t m_ulSize;
    size_t m_ulPos = 0;       // next byte to fetch
    DULONG m_dulCache = 0;    // its low m_ulCached bits are not read yet
    ULONG_32 m_ulCached = 0;  // at most 39
    size_t m_ulZeros = 0;     // zero bytes right before m_ulPos
    DULONG m_dulBitPos = 0;
    bool m_bRemove;
    bool m_bDry = false;
};

}  // namespace bytes

#endif
