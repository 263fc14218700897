// AVI files made by hand, chunk by chunk.
#ifndef ZELVANE_TESTS_FILE_AVI_BUILDER_H
#define ZELVANE_TESTS_FILE_AVI_BUILDER_H

#include <cstdint>
#include <string>
#include <vector>

namespace avi {

inline std::string Le(uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text.push_back(static_cast<char>(value >> 8 * i));
    }
    return text;
}
inline std::string U32(uint64_t value) { return Le(value, 4); }
inline std::string U16(uint64_t value) { return Le(value, 2); }
inline std::string Zeros(size_t count) { return std::string(count, '\0'); }

inline std::string Chunk(const std::string &id, const std::string &data) {
    return id + U32(data.size()) + data + Zeros(data.size() % 2);
}
inline std::string List(const std::string &kind, const std::string &content) { return Chunk("LIST", kind + content); }
inline std::string Riff(const std::string &content) { return Chunk("RIFF", "AVI " + content); }

inline std::string Video(const std::string &handler = "avc1", uint32_t rate = 25, uint32_t scale = 1) {
    return List("strl", Chunk("strh", "vids" + handler + Zeros(12) + U32(scale) + U32(rate) + Zeros(28)) +
                            Chunk("strf", U32(40) + U32(320) + U32(180) + U16(1) + U16(24) + handler + Zeros(20)));
}
inline std::string Sound(uint16_t format = 80) {
    return List("strl", Chunk("strh", "auds" + Zeros(52)) +
                            Chunk("strf", U16(format) + U16(1) + U32(44100) + U32(8000) + U16(1) + U16(16)));
}
inline std::string Headers(const std::string &streams) { return List("hdrl", Chunk("avih", Zeros(56)) + streams); }

/** The chunks of a file, and its index. */
struct Movie {
    std::string data;  /**< behind "movi" */
    std::string index; /**< places as from the word "movi" */

    void Add(const std::string &id, const std::string &content, uint32_t flags = 0) {
        index += id + U32(flags) + U32(data.size() + 4) + U32(content.size());
        data += Chunk(id, content);
    }
    /** A file of one video stream, and more if given. @param places added to those in the index */
    std::string File(const std::string &streams = Video(), bool withIndex = true, int64_t places = 0) const {
        std::string moved = index;
        for (size_t at = 8; at < moved.size(); at += 16) {
            const uint32_t place = static_cast<uint8_t>(moved[at]) | static_cast<uint8_t>(moved[at + 1]) << 8 |
                                   static_cast<uint8_t>(moved[at + 2]) << 16;
            moved.replace(at, 4, U32(static_cast<uint64_t>(place + places)));
        }
        return Riff(Headers(streams) + List("movi", data) + (withIndex ? Chunk("idx1", moved) : ""));
    }
    /** Place of the word "movi" in such a file. */
    static int64_t Start(const std::string &streams = Video()) {
        return static_cast<int64_t>(12 + Headers(streams).size() + 8);
    }
};

}  // namespace avi

#endif
