/**
 * @file analytics_bytes.h
 * @brief Analytics records as cameras send them: bodies, data frames and private messages.
 */
#ifndef ZELVANE_TESTS_SUPPORT_ANALYTICS_BYTES_H
#define ZELVANE_TESTS_SUPPORT_ANALYTICS_BYTES_H

#include <string>
#include <utility>
#include <vector>

#include "analytics/module_iva.h"
#include "made_bytes.h"

namespace support {

inline std::string Word(ULONG_32 ulWord) { return Be(ulWord, 4); }
inline std::string Half(ULONG_32 ulHalf) { return Be(ulHalf, 2); }

/** A data frame in segments of ulSegment bytes. */
inline std::string DataFrame(int lKind, const std::string &strBody, size_t ulSegment = 65535) {
    std::string strFrame;
    for (size_t i = 0; i == 0 || i < strBody.size(); i += ulSegment) {
        const std::string strPart = strBody.substr(i, ulSegment);
        strFrame +=
            Be(i == 0 ? static_cast<ULONG_32>(lKind) : 0x99, 1) + Half(static_cast<ULONG_32>(strPart.size())) + strPart;
    }
    return strFrame;
}

inline std::string HeadV2(ULONG_32 ulNum, ULONG_32 ulHoldTime, ULONG_32 ulEnable = 1) {
    return Word(7) + Word(ulEnable) + Half(ulNum) + Half(ulHoldTime);
}

/** A target; coordinates are left, top, right, bottom. */
struct Target {
    ULONG_32 id = 1, trigRule = 0;
    ULONG_32 box[4] = {10, 20, 30, 40};
    ULONG_32 colour = IVA_REPORT_COLOR_RED, alpha = 255;
    std::string attachment;

    std::string Bytes() const {
        return Word(id) + Word(trigRule) + Half(box[0]) + Half(box[1]) + Half(box[2]) + Half(box[3]) + Word(colour) +
               Word(alpha) + Word(500) + Word(static_cast<ULONG_32>(attachment.size())) + Word(3) + attachment;
    }
};

/** A version-2 rule. */
struct Rule {
    ULONG_32 id = 1, triggered = 0, type = IVA_REPORT_RULE_LINE, trig = IVA_REPORT_TRIG_NONE;
    std::vector<std::pair<ULONG_32, ULONG_32>> corners;
    ULONG_32 colour = IVA_REPORT_COLOR_GREEN, fill = IVA_REPORT_COLOR_NONE, alpha = 255, fillAlpha = 255;
    ULONG_32 count = ~0U; /**< as many as there are corners, if not set */

    std::string Bytes() const {
        std::string strRule = Word(id) + Word(triggered) + Word(type) + Word(trig);
        for (size_t i = 0; i < IVA_COORD_NUM_V2; ++i) {
            strRule += i < corners.size() ? Half(corners[i].first) + Half(corners[i].second) : Word(0);
        }
        const ULONG_32 ulCount = count != ~0U ? count : static_cast<ULONG_32>(corners.size());
        return strRule + Word(ulCount) + Word(colour) + Word(fill) + Word(alpha) + Word(fillAlpha) + Word(0) + Word(0);
    }
};

/** A version-1 rule record whose first rule is the one given; the others are off. */
inline std::string RulesV1(ULONG_32 ulType, ULONG_32 ulDirect, ULONG_32 ulColour,
                           const std::vector<std::pair<ULONG_32, ULONG_32>> &corners, ULONG_32 ulCount = ~0U) {
    std::string strBody(16, 0);
    strBody += Word(0) + Word(1) + Word(1) + Word(ulType) + std::string(36, 0) + Word(ulDirect);
    strBody += Word(ulCount != ~0U ? ulCount : static_cast<ULONG_32>(corners.size()));
    for (const auto &[ulX, ulY] : corners) {
        strBody += Word(ulX) + Word(ulY);
    }
    strBody.resize(16 + 116, 0);
    strBody += Word(ulColour);
    strBody.resize(1008, 0);
    return strBody;
}

/** A private SEI message of a subtype in a unit of its own, behind a start code. */
inline std::string SeiUnit(bool h265, UCHAR ucSubtype, const std::string &strBody) {
    std::string strRaw(1, static_cast<char>(ucSubtype));
    for (char cByte : strBody) {
        const size_t n = strRaw.size();
        if (static_cast<UCHAR>(cByte) <= 3 && n > 2 && strRaw[n - 1] == 0 && strRaw[n - 2] == 0) {
            strRaw += '\3';
        }
        strRaw += cByte;
    }
    return std::string("\0\0\0\1", 4) + (h265 ? "\x4E\x01" : "\x06") + "\5" + std::string(strRaw.size() / 255, '\xFF') +
           static_cast<char>(strRaw.size() % 255) + strRaw + '\x80';
}

template <class Item>
std::string ListV2(const std::vector<Item> &items, ULONG_32 ulHoldTime = 65535) {
    std::string strBody = HeadV2(static_cast<ULONG_32>(items.size()), ulHoldTime);
    for (const Item &item : items) {
        strBody += item.Bytes();
    }
    return strBody;
}

}  // namespace support

#endif
