#include "common/sdp.h"

#include "common/base64.h"
#include "common/text_fields.h"

namespace tools {
namespace {

/** The codings that the library takes. Those with a payload number of their own need no "rtpmap". */
struct CodingRow {
    const char *name;  ///< of the encoding
    bool video;
    Coding coding;
    int payload;  ///< fixed number, or -1
    uint32_t clock;
    const char *shown;
};
constexpr CodingRow kCodings[] = {
    {"H264", true, Coding::kH264, -1, 90000, "H.264"},
    {"H265", true, Coding::kH265, -1, 90000, "H.265"},
    {"JPEG", true, Coding::kJpeg, 26, 90000, "JPEG"},
    {"PCMU", false, Coding::kG711U, 0, 8000, "G.711 mu-law"},
    {"PCMA", false, Coding::kG711A, 8, 8000, "G.711 A-law"},
    {"MPEG4-GENERIC", false, Coding::kAac, -1, 0, "AAC"},
};

constexpr uint32_t kMaxClock = 1000000;

/** Text that may stand in a request and on a terminal. */
bool IsPlain(std::string_view text) {
    return text.size() <= 1024 && std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

void SetCoding(const CodingRow &row, SdpTrack *track) {
    track->coding = row.coding;
    track->name = row.name;
    if (track->clock == 0) track->clock = row.clock;
}

/** "m=video 0 RTP/AVP 96 97": the first format counts. */
bool ReadMedia(std::string_view text, SdpTrack *track) {
    const std::string_view kind = TakeField(&text, ' ');
    track->video = kind == "video";
    TakeField(&text, ' ');  // port
    const std::string_view transport = TakeField(&text, ' ');
    uint32_t payload = 0;
    if ((!track->video && kind != "audio") || !transport.starts_with("RTP/") || !LeadingNumber(text, 127, &payload)) {
        return false;
    }
    track->payload = static_cast<uint8_t>(payload);
    track->name = "payload type " + std::to_string(payload);
    for (const CodingRow &row : kCodings) {
        if (row.payload == static_cast<int>(payload) && row.video == track->video) SetCoding(row, track);
    }
    return true;
}

/** Reads the payload number that begins "rtpmap" and "fmtp", and whether it is the track's. */
bool IsOfTrack(std::string_view *text, const SdpTrack &track) {
    uint32_t payload = 0;
    const std::string_view number = TakeField(text, ' ');
    return LeadingNumber(number, 127, &payload) && payload == track.payload;
}

/** "96 H264/90000" */
void ReadMap(std::string_view text, SdpTrack *track) {
    if (!IsOfTrack(&text, *track)) return;
    text = Trim(text);
    const std::string_view name = TakeField(&text, '/');
    if (!IsPlain(name) || name.size() > 32) return;
    track->coding = Coding::kUnknown;
    track->name = name;
    track->clock = 0;
    LeadingNumber(text, kMaxClock, &track->clock);
    for (const CodingRow &row : kCodings) {
        if (SameWord(name, row.name) && row.video == track->video) SetCoding(row, track);
    }
}

/** Adds base64 parameter sets, separated by commas; those that are damaged or too large are left out. */
void ReadSets(std::string_view text, SdpTrack *track) {
    while (!text.empty()) {
        std::vector<uint8_t> unit = {0, 0, 0, 1};
        const bool whole = ReadBase64(Trim(TakeField(&text, ',')), &unit);
        if (!whole || unit.size() <= 4 || track->sets.size() + unit.size() > kMaxParameterSets) continue;
        track->sets.insert(track->sets.end(), unit.begin(), unit.end());
    }
}

/** Reads bits of a short value from its most significant one on; 0 behind its end. */
class BitsOf {
 public:
    explicit BitsOf(const std::vector<uint8_t> &bytes) : bytes_(bytes) {}
    uint32_t Read(unsigned count) {
        uint32_t value = 0;
        for (; count > 0; --count, ++at_) {
            const bool bit = at_ / 8 < bytes_.size() && (bytes_[at_ / 8] >> (7 - at_ % 8) & 1) != 0;
            value = value << 1 | (bit ? 1 : 0);
        }
        return value;
    }

 private:
    const std::vector<uint8_t> &bytes_;
    size_t at_ = 0;
};

constexpr uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};
constexpr uint8_t kNoRate = 15;

/** A rate by its index, or spelled out. */
uint8_t ReadRate(BitsOf *bits) {
    const uint32_t index = bits->Read(4);
    if (index != 15) return index < std::size(kAacRates) ? static_cast<uint8_t>(index) : kNoRate;
    const uint32_t rate = bits->Read(24);
    const auto *found = std::find(std::begin(kAacRates), std::end(kAacRates), rate);
    return found == std::end(kAacRates) ? kNoRate : static_cast<uint8_t>(found - kAacRates);
}

/** "config=1190": the decoder's description. One that says nothing to us leaves the track without. */
void ReadAacConfig(std::string_view text, SdpTrack *track) {
    std::vector<uint8_t> bytes;
    for (text = text.substr(0, 64); text.size() >= 2; text.remove_prefix(2)) {
        uint8_t byte = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc() || end != text.data() + 2) return;
        bytes.push_back(byte);
    }
    BitsOf bits(bytes);
    uint32_t type = bits.Read(5);
    const uint8_t rate = ReadRate(&bits);
    const uint32_t channels = bits.Read(4);
    if (type == 5 || type == 29) {  // spectral band replication around a core, which is described behind it
        ReadRate(&bits);
        type = bits.Read(5);
    }
    if (type < 1 || type > 4 || rate == kNoRate || channels < 1 || channels > 7) return;
    track->aac = {static_cast<uint8_t>(type), rate, static_cast<uint8_t>(channels)};
}

/** "96 packetization-mode=1;sprop-parameter-sets=Z0IAH...,aM4..." */
void ReadFormat(std::string_view text, SdpTrack *track) {
    if (!IsOfTrack(&text, *track)) return;
    std::string_view sets[3], config;  // in the order in which a decoder wants them, whatever the server's
    const struct {
        const char *name;
        std::string_view *value;
    } wanted[] = {{"sprop-parameter-sets", &sets[0]},
                  {"sprop-vps", &sets[0]},
                  {"sprop-sps", &sets[1]},
                  {"sprop-pps", &sets[2]},
                  {"config", &config}};
    while (!text.empty()) {
        std::string_view value = TakeField(&text, ';');
        const std::string_view name = Trim(TakeField(&value, '='));
        for (const auto &row : wanted) {
            if (SameWord(name, row.name)) *row.value = Trim(value);
        }
    }
    track->sets.clear();
    if (track->video) {
        for (const std::string_view value : sets) ReadSets(value, track);
    } else {
        ReadAacConfig(config, track);
    }
}

void ReadAttribute(std::string_view text, Sdp *sdp, SdpTrack *track) {
    const std::string_view name = TakeField(&text, ':');
    if (name == "control" && IsPlain(Trim(text))) {
        (track != nullptr ? track->control : sdp->control) = Trim(text);
    } else if (track != nullptr && name == "rtpmap") {
        ReadMap(text, track);
    } else if (track != nullptr && name == "fmtp") {
        ReadFormat(text, track);
    }
}

}  // namespace

bool ParseSdp(std::string_view text, Sdp *sdp) {
    *sdp = {};
    if (!text.starts_with("v=") || text.size() > kMaxSdpBytes) return false;
    bool session = true, taken = false;  // lines in front of the first medium; lines of a medium that is wanted
    while (!text.empty()) {
        std::string_view line = Trim(TakeField(&text, '\n'));
        const bool media = line.starts_with("m=");
        if (media) {
            SdpTrack track;
            session = false;
            taken = sdp->tracks.size() < kMaxSdpTracks && ReadMedia(line.substr(2), &track);
            if (taken) sdp->tracks.push_back(std::move(track));
        } else if (line.starts_with("a=") && (session || taken)) {
            ReadAttribute(line.substr(2), sdp, session ? nullptr : &sdp->tracks.back());
        }
    }
    return true;
}

const char *CodingName(Coding coding) {
    for (const CodingRow &row : kCodings) {
        if (row.coding == coding) return row.shown;
    }
    return "unknown";
}

}  // namespace tools
