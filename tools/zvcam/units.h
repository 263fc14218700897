/** What those who change pictures need to know of their units (ITU-T H.264, 7.3.1; H.265, 7.3.1.1). */
#ifndef ZVCAM_UNITS_H
#define ZVCAM_UNITS_H

#include <vector>

#include "common/access_units.h"

namespace zvcam {

inline bool IsSlice(tools::Bytes unit, bool h265) {
    const int type = h265 ? tools::UnitTypeH265(unit) : tools::UnitTypeH264(unit);
    return h265 ? type < 32 : type >= 1 && type <= 5;
}

/** Delimiters and parameter sets, which stand in front of messages. */
inline bool IsHead(tools::Bytes unit, bool h265) {
    const int type = h265 ? tools::UnitTypeH265(unit) : tools::UnitTypeH264(unit);
    return h265 ? type >= 32 && type <= 35 : type >= 7 && type <= 9;
}

/** The header of a unit with messages. */
inline std::vector<uint8_t> SeiHead(bool h265) {
    return h265 ? std::vector<uint8_t>{0x4E, 0x01} : std::vector<uint8_t>{0x06};
}

/** Appends bytes with emulation prevention, counted from the first of them. */
inline void AppendEscaped(tools::Bytes plain, std::vector<uint8_t> *to) {
    int zeros = 0;
    for (const uint8_t byte : plain) {
        if (zeros >= 2 && byte <= 3) {
            to->push_back(3);
            zeros = 0;
        }
        to->push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
}

}  // namespace zvcam

#endif
