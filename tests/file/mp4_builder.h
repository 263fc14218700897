// MP4 files written box by box, so that each test can lie in exactly one place.
#ifndef ZELVANE_TESTS_FILE_MP4_BUILDER_H
#define ZELVANE_TESTS_FILE_MP4_BUILDER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mp4 {

inline std::string U16(uint32_t v) { return {static_cast<char>(v >> 8), static_cast<char>(v)}; }
inline std::string U32(uint32_t v) { return U16(v >> 16) + U16(v & 0xFFFF); }
inline std::string Zeros(size_t n) { return std::string(n, '\0'); }

/** A box whose size is told apart from what it holds, if wanted. */
inline std::string Box(const std::string &type, const std::string &body, std::optional<uint32_t> size = {}) {
    return U32(size.value_or(static_cast<uint32_t>(body.size() + 8))) + type + body;
}

inline std::string Table(const std::vector<uint32_t> &words) {
    std::string text;
    for (uint32_t word : words) {
        text += U32(word);
    }
    return text;
}

/** H.264 unit or the like behind its length of four bytes. */
inline std::string Unit(const std::string &bytes) { return U32(static_cast<uint32_t>(bytes.size())) + bytes; }
inline std::string StartCode(const std::string &bytes) { return std::string("\0\0\0\1", 4) + bytes; }

inline std::string AvcC(const std::string &sps, const std::string &pps) {
    return Box("avcC", std::string("\1\x64\0\x1F\xFF\xE1", 6) + U16(static_cast<uint32_t>(sps.size())) + sps + "\1" +
                           U16(static_cast<uint32_t>(pps.size())) + pps);
}

/** Configuration of H.265 with a length size and one set of each of these types. */
inline std::string HvcC(unsigned lengthSize, const std::vector<std::pair<char, std::string>> &sets) {
    std::string body =
        std::string("\1") + Zeros(20) + static_cast<char>(0xFC | (lengthSize - 1)) + static_cast<char>(sets.size());
    for (const auto &[type, set] : sets) {
        body += type + U16(1) + U16(static_cast<uint32_t>(set.size())) + set;
    }
    return Box("hvcC", body);
}

inline std::string VisualEntry(const std::string &type, const std::string &inner) {
    return Box(type, Zeros(6) + U16(1) + Zeros(16) + U16(64) + U16(48) + Zeros(50) + inner);
}

/** Audio entry of an object type, with the two bytes of its audio configuration. */
inline std::string AudioEntry(uint8_t objectType, const std::string &config) {
    const std::string specific = "\5" + std::string(1, static_cast<char>(config.size())) + config;
    std::string decoder = std::string(1, static_cast<char>(objectType)) + "\x15" + Zeros(11) + specific;
    decoder = "\4" + std::string(1, static_cast<char>(decoder.size())) + decoder;
    const std::string es = std::string("\3\x80\x80", 3) + static_cast<char>(3 + decoder.size()) + Zeros(3) + decoder;
    return Box("mp4a", Zeros(28) + Box("esds", Zeros(4) + es));
}

/** One track. Everything that a field leaves out is as an honest writer would have it. */
struct Track {
    std::string handler = "vide";
    std::string entry = VisualEntry("avc1", AvcC("\x67SPS", "\x68PP"));
    std::vector<uint32_t> sizes;
    std::vector<uint32_t> chunks;
    std::optional<std::vector<uint32_t>> sync;
    std::vector<uint32_t> map;  // "stsc", three words an entry
    uint32_t constantSize = 0;
    uint32_t timescale = 25;
    std::optional<uint32_t> duration;
    bool largeOffsets = false;  // "co64"
    uint32_t id = 0;
    std::optional<uint32_t> sizeCount, chunkCount, syncCount, entryCount;

    uint32_t Samples() const { return sizeCount.value_or(static_cast<uint32_t>(sizes.size())); }
    std::string Stbl() const {
        std::string text = Box("stsd", Zeros(4) + U32(entryCount.value_or(1)) + entry);
        text += Box("stts", Zeros(4) + U32(1) + U32(Samples()) + U32(1));
        if (sync) {
            text += Box("stss", Zeros(4) + U32(syncCount.value_or(static_cast<uint32_t>(sync->size()))) + Table(*sync));
        }
        if (!map.empty()) {
            text += Box("stsc", Zeros(4) + U32(static_cast<uint32_t>(map.size() / 3)) + Table(map));
        }
        text += Box("stsz", Zeros(4) + U32(constantSize) + U32(Samples()) + Table(sizes));
        if (largeOffsets) {
            std::string offsets;
            for (uint32_t chunk : chunks) {
                offsets += U32(0) + U32(chunk);
            }
            return Box("stbl", text + Box("co64", Zeros(4) + U32(static_cast<uint32_t>(chunks.size())) + offsets));
        }
        text += Box("stco", Zeros(4) + U32(chunkCount.value_or(static_cast<uint32_t>(chunks.size()))) + Table(chunks));
        return Box("stbl", text);
    }
    std::string Make() const {
        const std::string mdhd = Zeros(12) + U32(timescale) + U32(duration.value_or(Samples())) + Zeros(4);
        const std::string hdlr = Zeros(8) + handler + Zeros(13);
        const std::string tkhd = id != 0 ? Box("tkhd", Zeros(12) + U32(id) + Zeros(68)) : "";
        return Box("trak", tkhd + Box("mdia", Box("mdhd", mdhd) + Box("hdlr", hdlr) + Box("minf", Stbl())));
    }
};

inline std::string Mvhd(uint32_t timescale, uint32_t duration) {
    return Box("mvhd", Zeros(12) + U32(timescale) + U32(duration) + Zeros(80));
}

inline std::string Ftyp() { return Box("ftyp", "isom" + Zeros(4)); }

/** Where the media data of a file made by File() begin. */
constexpr uint32_t DATA = 24;

/** "ftyp", the media data, "moov" with these tracks. */
inline std::string File(const std::string &data, const std::vector<Track> &tracks, uint32_t timescale = 1000,
                        uint32_t duration = 5000) {
    std::string moov = Mvhd(timescale, duration);
    for (const Track &track : tracks) {
        moov += track.Make();
    }
    return Ftyp() + Box("mdat", data) + Box("moov", moov);
}

/** "ftyp", "moov" with a track of one chunk, and this box of the media data; the chunk begins `skip` bytes into it. */
inline std::string MoovInFront(Track track, const std::string &mdat, uint32_t skip = 0) {
    const auto front = [&track] { return Ftyp() + Box("moov", Mvhd(1, 1) + track.Make()); };
    track.chunks = {0};
    track.chunks = {static_cast<uint32_t>(front().size()) + 8 + skip};
    return front() + mdat;
}

}  // namespace mp4

#endif
