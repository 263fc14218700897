/** Cuts text from outside into fields. Nothing is copied. */
#ifndef TOOLS_TEXT_FIELDS_H
#define TOOLS_TEXT_FIELDS_H

#include <algorithm>
#include <charconv>
#include <string_view>

namespace tools {

/** Takes what stands before a separator off the text, and the separator. */
inline std::string_view TakeField(std::string_view *text, char separator) {
    const size_t at = std::min(text->find(separator), text->size());
    const std::string_view field = text->substr(0, at);
    text->remove_prefix(std::min(at + 1, text->size()));
    return field;
}

/** Without blanks at both ends. */
inline std::string_view Trim(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && blank(text.front())) text.remove_prefix(1);
    while (!text.empty() && blank(text.back())) text.remove_suffix(1);
    return text;
}

/** Whether two words are the same but for the case of ASCII letters. */
inline bool SameWord(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

/** Reads a decimal number at the beginning of the text. @return false if none stands there, or one above `most` */
inline bool LeadingNumber(std::string_view text, uint32_t most, uint32_t *number) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most) return false;
    *number = value;
    return true;
}

}  // namespace tools

#endif
