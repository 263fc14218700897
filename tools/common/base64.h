/** Base64 (RFC 4648), as session descriptions carry binary values. */
#ifndef TOOLS_BASE64_H
#define TOOLS_BASE64_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace tools {

/** Reads base64 up to its padding. @return false at a character that is none */
inline bool ReadBase64(std::string_view text, std::vector<uint8_t> *bytes) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    uint32_t held = 0;
    unsigned bits = 0;
    while (!text.empty() && text.back() == '=') text.remove_suffix(1);
    for (const char character : text) {
        const size_t digit = kDigits.find(character);
        if (digit == std::string_view::npos) return false;
        held = (held << 6 | static_cast<uint32_t>(digit)) & 0xFFFF;
        bits += 6;
        if (bits < 8) continue;
        bits -= 8;
        bytes->push_back(static_cast<uint8_t>(held >> bits));
    }
    return true;
}

}  // namespace tools

#endif
