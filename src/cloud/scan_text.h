/**
 * @file scan_text.h
 * @brief The conversions of scanf on a piece of text, each with the bounds that scanf lacks.
 *
 * A playlist and a response are whatever scanf's patterns accept in them, so each step here does what one conversion
 * does: numbers and words skip blanks and line ends, numbers take a sign and saturate, a set matches at least one
 * character. A step that fails moves nothing that the caller may rely on.
 */
#ifndef ZELVANE_CLOUD_SCAN_TEXT_H
#define ZELVANE_CLOUD_SCAN_TEXT_H

#include <climits>
#include <string_view>

#include "player_public.h"

class CTextScan {
 public:
    /** Of a text without a NUL in it. */
    explicit CTextScan(std::string_view strText) : m_strRest(strText) {}

    std::string_view Rest() const { return m_strRest; }

    /** These very characters. */
    bool Literal(std::string_view strWanted) {
        return m_strRest.substr(0, strWanted.size()) == strWanted && Skip(strWanted.size());
    }
    /** A blank in a pattern: any number of them. */
    bool Blanks() {
        size_t ulLen = 0;
        while (ulLen < m_strRest.size() && IsBlank(m_strRest[ulLen])) {
            ulLen++;
        }
        return Skip(ulLen);
    }
    /** %c */
    bool AnyOne() { return !m_strRest.empty() && Skip(1); }
    /** %[^set]; the piece is optional. */
    bool Except(std::string_view strSet, std::string_view *pstrPiece = nullptr) {
        return Piece(m_strRest.find_first_of(strSet), pstrPiece);
    }
    /** %s */
    bool Word(std::string_view *pstrPiece = nullptr) {
        Blanks();
        return Piece(m_strRest.find_first_of(" \t\n\v\f\r"), pstrPiece);
    }
    /** %ld: saturates at the ends of a long. */
    bool Number(LONG *plValue) {
        Blanks();
        size_t ulAt = 0;
        const bool bMinus = !m_strRest.empty() && m_strRest[0] == '-';
        if (!m_strRest.empty() && (bMinus || m_strRest[0] == '+')) {
            ulAt = 1;
        }
        const size_t ulFirst = ulAt;
        LONG lValue = 0; /* negative, since there is one number more on that side */
        for (; ulAt < m_strRest.size() && m_strRest[ulAt] >= '0' && m_strRest[ulAt] <= '9'; ulAt++) {
            const LONG lDigit = m_strRest[ulAt] - '0';
            lValue = lValue < (LONG_MIN + lDigit) / 10 ? LONG_MIN : lValue * 10 - lDigit;
        }
        if (ulAt == ulFirst) {
            return false;
        }
        *plValue = bMinus ? lValue : (lValue == LONG_MIN ? LONG_MAX : -lValue);
        return Skip(ulAt);
    }
    /** %d: a long of which the low half is kept. */
    bool Int(LONG_32 *plValue) {
        LONG lValue = 0;
        if (!Number(&lValue)) {
            return false;
        }
        *plValue = static_cast<LONG_32>(static_cast<ULONG_32>(lValue));
        return true;
    }

 private:
    static bool IsBlank(CHAR c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    bool Skip(size_t ulLen) {
        m_strRest.remove_prefix(ulLen);
        return true;
    }
    bool Piece(size_t ulEnd, std::string_view *pstrPiece) {
        const std::string_view strPiece = m_strRest.substr(0, ulEnd);
        if (strPiece.empty()) {
            return false;
        }
        if (pstrPiece != nullptr) {
            *pstrPiece = strPiece;
        }
        return Skip(strPiece.size());
    }

    std::string_view m_strRest;
};

#endif
