#include "common/json_text.h"

#include <cstdint>
#include <cstdio>

namespace tools {
namespace {

/** The bytes that may begin a character, how many it has, and what its second byte may be: RFC 3629, 4. */
struct Row {
    uint8_t first, last;
    uint8_t length;
    uint8_t second_least, second_most;
};
const Row kRows[] = {{0x00, 0x7F, 1, 0, 0},       {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
                     {0xE1, 0xEC, 3, 0x80, 0xBF}, {0xED, 0xED, 3, 0x80, 0x9F}, {0xEE, 0xEF, 3, 0x80, 0xBF},
                     {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF}, {0xF4, 0xF4, 4, 0x80, 0x8F}};

/** Bytes of the character at a place; 0 if there is none. */
size_t Utf8Length(const std::string &text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[at + i]); };
    for (const Row &row : kRows) {
        if (byte(0) < row.first || byte(0) > row.last) continue;
        if (row.length > text.size() - at) return 0;
        for (size_t i = 1; i < row.length; ++i) {
            const uint8_t least = i == 1 ? row.second_least : 0x80, most = i == 1 ? row.second_most : 0xBF;
            if (byte(i) < least || byte(i) > most) return 0;
        }
        return row.length;
    }
    return 0;
}

}  // namespace

std::string JsonText(const std::string &text) {
    std::string out = "\"";
    for (size_t at = 0; at < text.size();) {
        const size_t length = Utf8Length(text, at);
        const unsigned char c = static_cast<unsigned char>(text[at]);
        if (length == 0) {
            out += "\\ufffd";
        } else if (c < 0x20 || c == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
            out += escaped;
        } else {
            if (c == '"' || c == '\\') out += '\\';
            out.append(text, at, length);
        }
        at += length > 0 ? length : 1;
    }
    return out + '"';
}

}  // namespace tools
