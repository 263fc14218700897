// The walk through a record and the making of frames, said again as plainly as can be: what the parser is held against.
#ifndef ZELVANE_TESTS_FILE_KRDF_MODEL_H
#define ZELVANE_TESTS_FILE_KRDF_MODEL_H

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "support/media.h"

namespace krdf {

constexpr unsigned kIndex = 271, kEnd = 274, kRead = 265, kSize = 3, kFileEnd = 263, kSpell = 280;

inline uint32_t Word(const uint8_t *at) { return at[0] | at[1] << 8 | at[2] << 16 | uint32_t{at[3]} << 24; }

inline int64_t Time(const uint8_t *at) {
    const uint32_t first = Word(at);
    tm date = {};
    date.tm_year = static_cast<int>(first & 4095) - 1900;
    date.tm_mon = static_cast<int>(first >> 12 & 15) - 1;
    date.tm_mday = static_cast<int>(first >> 16 & 31);
    date.tm_hour = static_cast<int>(first >> 21 & 31);
    date.tm_min = static_cast<int>(first >> 26);
    date.tm_sec = at[4] & 63;
    return timegm(&date);
}

class Model {
 public:
    explicit Model(int file) : m_file(file) {}

    unsigned Open() {
        m_pos = 0x4000;
        if (!Get(16) || Word(m_got) <= 1) return kIndex;
        m_units = std::min(Word(m_got) - 1, 8190U);
        if (!Get(8)) return kIndex;
        m_begin = Time(m_got);
        m_unit = m_units;
        if (!EnterUnit()) return kIndex;
        m_pos += 16 * uint64_t{m_entries - 1};
        if (!Get(16)) return kIndex;
        total = std::clamp<int64_t>(Time(m_got) - m_begin, INT32_MIN, INT32_MAX);
        if (total <= 0) return kIndex;
        m_unit = 1;
        m_pos = Info();
        if (!Get(16)) return kRead;
        if (Word(m_got + 4) <= 1) return kIndex;
        m_entries = std::min(Word(m_got + 4) - 1, 16384U);
        m_entry = 1;
        m_entryPos = Info() + 16;
        unsigned result = Load();
        for (unsigned unit = 1; result == kIndex && unit <= m_units; ++unit) {
            m_unit = unit;
            if (const unsigned entered = EnterUnitCode(); entered != 0) return kRead;
            for (m_entry = unit == 1 ? 2 : 1; result == kIndex && m_entry <= m_entries; ++m_entry) {
                m_entryPos = Info() + 16 * uint64_t{m_entry};
                result = Load();
                if (result == 0) break;
            }
        }
        return result == 0 ? 0 : kRead;
    }

    /** The time is that of the current group. */
    int64_t PlayTime() const { return std::clamp<int64_t>(m_time - m_begin, INT32_MIN, INT32_MAX); }

    void Jump(int64_t seconds) {
        m_jump = seconds;
        m_end = m_head = false;
    }

    unsigned Frame(int type, std::string *data, unsigned *kind, uint64_t *stamp) {
        if (type == 1) Next();
        if (m_jump >= 0 && CarryJump() == 0) m_jump = -1;
        if (m_jump < 0 && PlayTime() >= total) return kFileEnd;
        const unsigned result = Spell(type != 0);
        *data = std::string(m_frame, 0, m_length);
        *kind = m_kind;
        *stamp = m_video ? m_videoStamp : m_audioStamp;
        m_length = m_audioLength = 0;
        return result;
    }

    int64_t total = 0;

 private:
    bool Get(size_t count) {
        if (pread(m_file, m_got, count, static_cast<off_t>(m_pos)) != static_cast<ssize_t>(count)) return false;
        m_pos += count;
        return true;
    }
    uint64_t Info() const { return ((m_unit - 1) << 28) + 0x14000ULL; }
    unsigned EnterUnitCode() {
        m_pos = Info();
        if (!Get(16)) return kRead;
        if (Word(m_got + 4) < 2) return kIndex;
        m_entries = std::min(Word(m_got + 4) - 1, 16384U);
        return 0;
    }
    bool EnterUnit() { return EnterUnitCode() == 0; }

    unsigned Load() {
        m_pos = m_entryPos;
        if (!Get(16)) return kRead;
        m_time = Time(m_got);
        const uint32_t second = Word(m_got + 4);
        m_most = (second >> 8 & 1023) * 16384;
        m_pos = m_infoOfEntry() + (second >> 18) * 16384ULL;
        if (!Get(8)) return kRead;
        if (Word(m_got) != 0x2006 || Word(m_got + 4) > m_most) return kIndex;
        m_size = Word(m_got + 4);
        m_done = 8;
        if (!Get(24)) return kRead;
        std::memcpy(m_headBytes, m_got, 24);
        if (Word(m_got) != 0x1357) return kIndex;
        m_pos -= 24;
        if (m_destroyed) m_head = false;
        m_destroyed = false;
        return 0;
    }
    uint64_t m_infoOfEntry() const { return m_entryPos / 0x10000000 * 0x10000000 + 0x14000; }

    unsigned Next() {
        if (++m_entry <= m_entries) {
            m_entryPos += 16;
            return Load();
        }
        if (++m_unit > m_units) {
            --m_unit;
            --m_entry;
            m_end = true;
            return kEnd;
        }
        if (const unsigned result = EnterUnitCode(); result != 0) return result;
        m_entry = 1;
        m_entryPos = Info() + 16;
        return Load();
    }

    unsigned CarryJump() {
        if (m_jump > total) return 275;
        const auto find = [&](uint32_t most, size_t size) {
            for (uint32_t n = 1; n <= most; ++n) {
                if (!Get(size)) return 0U;
                if (Time(m_got) > m_begin + m_jump) return std::max(1U, n - 1);
            }
            return most;
        };
        m_pos = 0x4010;
        const uint32_t unit = find(m_units, 8);
        if (unit == 0) return kRead;
        m_unit = unit;
        m_pos = Info();
        if (!Get(16)) return kRead;
        m_entries = std::min(Word(m_got + 4) - 1, 16384U);
        if (Word(m_got + 4) <= 1) return m_entries = 0, kIndex;
        const uint32_t entry = find(m_entries, 16);
        if (entry == 0) return kRead;
        m_entry = entry;
        m_entryPos = Info() + 16 * uint64_t{entry};
        if (const unsigned result = Load(); result != 0) return result;
        m_end = m_broken = false;
        return 0;
    }

    /** The next packet into m_packet; *size is what it says. */
    unsigned Packet(uint32_t *size, int *damagedKind) {
        if (m_end) return kEnd;
        if (m_jump >= 0) {
            if (CarryJump() != 0) return kRead;
            m_jump = -1;
        }
        if (m_destroyed) {
            const unsigned result = Next();
            m_destroyed = m_head = false;
            if (result == kIndex) {
                m_destroyed = true;
                *size = 0;
                return 0;
            }
            if (result != 0) return result;
        }
        if (!m_head) {
            if (!Get(24)) return kRead;
            std::memcpy(m_headBytes, m_got, 24);
            m_done += 24;
            if (Word(m_got) != 0x1357) {
                m_destroyed = true;
                *damagedKind = (m_headBytes[12] & 1) != 0 ? 1 : 2;
                return 0;
            }
            m_head = true;
        }
        const uint32_t length = m_headBytes[18] | m_headBytes[19] << 8;
        if (length + 20 > 1500) return kSize;
        std::memcpy(m_packet, m_headBytes + 4, 20);
        if (!Get(length)) return kRead;
        std::memcpy(m_packet + 20, m_got, length);
        *size = length + 20;
        m_done += length;
        if (!Get(4)) return kRead;
        m_done += 4;
        if (Word(m_got) != 0x1358) {
            m_destroyed = true;
            return 0;
        }
        if (m_done + 4 < m_size) {
            m_head = false;
            return 0;
        }
        const unsigned result = Next();
        if (result == 0) m_head = false;
        if (result == kIndex) m_destroyed = true;
        return result == kIndex ? 0 : result;
    }

    unsigned Spell(bool onlyVideo) {
        std::memset(m_packet, 0, sizeof(m_packet));
        for (unsigned failures = 0;;) {
            uint32_t size = 1500;
            int damagedKind = 0;
            const bool failed = Packet(&size, &damagedKind) != 0;
            if (failed && ++failures == 10) return kFileEnd;
            if (damagedKind == 1 && onlyVideo) continue;
            if (size < 20) return kSpell;
            bool whole = false;
            if (!Take(size - 20, &whole)) return kSpell;
            if (whole && !(failed && m_broken)) return m_broken = failed, 0;
        }
    }

    bool Take(uint32_t size, bool *whole) {
        const uint8_t flags = m_packet[8];
        const uint32_t number = Word(m_packet + 16);
        if ((flags & 1) != 0) {
            if (!m_seen) return true;
            m_audioLength += size;
            m_frame.replace(0, 1500, std::string(1500, '\0'));
            m_frame.replace(0, size, reinterpret_cast<const char *>(m_packet + 20), size);
            if (m_sounds++ == 0) m_audioStamp = m_videoStamp;
            if ((flags & 0x80) == 0) return true;
            const unsigned coding = m_packet[13] & 7;
            if (coding == 1 || coding == 2) m_audioStamp += m_audioLength * 1000 / 8000;
            if (coding == 4) m_audioStamp += 1024000 / 8000;
            std::fill(m_frame.begin() + std::max(1500U, size), m_frame.begin() + std::max({1500U, size, m_audioLength}),
                      '\0');
            m_length = m_audioLength;
            m_video = false;
            *whole = true;
            return true;
        }
        m_kind = flags >> 2 & 3;
        if (m_kind == 0 && (flags & 2) != 0 && !m_ended) m_length = 0;
        if (!m_based) m_base = m_number = number;
        m_based = true;
        m_number = std::max(m_number, number);
        m_ended = (flags & 0x80) != 0;
        m_frame.replace(m_length, size, reinterpret_cast<const char *>(m_packet + 20), size);
        m_length += size;
        if (!m_ended) return true;
        m_video = m_seen = *whole = true;
        if (m_length == 0) return false;
        m_sounds = 0;
        if (const unsigned rate = m_packet[9] & 31; rate != 0) {
            m_videoStamp = uint64_t{1000 / rate} * (m_number - m_base) * 90;
        }
        return true;
    }

    const int m_file;
    uint64_t m_pos = 0, m_entryPos = 0;
    uint8_t m_got[2048] = {}, m_headBytes[24] = {}, m_packet[1500] = {};
    uint32_t m_unit = 0, m_units = 0, m_entry = 0, m_entries = 0, m_most = 0, m_size = 0, m_done = 0;
    int64_t m_begin = 0, m_time = 0, m_jump = -1;
    bool m_head = false, m_destroyed = false, m_end = false;
    std::string m_frame = std::string(1 << 18, '\0');
    uint32_t m_length = 0, m_audioLength = 0, m_kind = 0, m_base = 0, m_number = 0, m_sounds = 0;
    uint64_t m_videoStamp = 0, m_audioStamp = 0;
    bool m_video = false, m_seen = false, m_based = false, m_ended = false, m_broken = false;
};

}  // namespace krdf

#endif
