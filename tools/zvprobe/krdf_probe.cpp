#include <algorithm>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "file/krdf/krdf_parser.h"
#include "foundations/bytes.h"
#include "probe.h"
#include "streams.h"

namespace zvprobe {
namespace {

using tools::Bytes;

constexpr uint64_t kUnit = uint64_t{1} << KRDF_UNIT_SHIFT;
constexpr uint32_t kMostUnits = 16;      // as many as places of 32 bits tell apart
constexpr uint32_t kMostPayload = 1480;  // what the library has room for
constexpr size_t kMostFrame = 0x1FFFFF;  // of the library's frame buffer

/** A time of an index or a packet, local calendar time. */
struct Stamp {
    uint32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;

    static Stamp Read(bytes::Reader *reader) {
        const uint32_t first = reader->U32Le(), second = reader->U32Le();
        return {first & 4095, first >> 12 & 15, first >> 16 & 31, first >> 21 & 31, first >> 26, second & 63};
    }
    int64_t Seconds() const {
        tm date = {};
        date.tm_year = static_cast<int>(year) - 1900;
        date.tm_mon = static_cast<int>(month) - 1;
        date.tm_mday = static_cast<int>(day);
        date.tm_hour = static_cast<int>(hour);
        date.tm_min = static_cast<int>(minute);
        date.tm_sec = static_cast<int>(second);
        return timegm(&date);
    }
    std::string Text() const {
        char text[64];
        std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", year, month, day, hour, minute, second);
        return text;
    }
};

/** A sub index entry. */
struct Entry {
    Stamp begin;
    uint64_t at = 0;      ///< of the group in the file
    uint64_t blocks = 0;  ///< bytes of its blocks
    Place place;          ///< of the group
};

struct Packet {
    bool sound = false, starts = false, ends = false;
    uint8_t kind = 0, rate = 0, stream = 0;
    Bytes payload;
};

/** Reads one record, from its indexes down to the frames. */
class KrdfProbe {
 public:
    KrdfProbe(Bytes data, Report *report) : data_(data), report_(*report) {}
    void Run();

 private:
    void Add(const char *code, const std::string &text, Place place) { report_.problems.Add(code, text, place); }
    bytes::Reader At(uint64_t place, uint64_t size) const;
    void TakeUnit(uint32_t number);
    void TakeEntry(const Entry &entry);
    void CheckOrder(const Entry &entry);
    std::string TakeGroup(const Entry &entry);
    std::string TakePacket(bytes::Reader *reader, Place place);
    void TakePayload(const Packet &packet, Place place);
    void TakeVideo(const Packet &packet, Place place);
    void TakeAudio(const Packet &packet, Place place);
    void Finish();

    const Bytes data_;
    Report &report_;
    RecordReport &record_ = report_.record;
    int64_t begin_ = 0, last_ = 0;  ///< of the record, and of the group before
    uint64_t group_end_ = 0;        ///< in the file
    uint64_t taken_ = 0;            ///< bytes of groups
    std::vector<uint8_t> frame_;    ///< under way
    bool frame_begun_ = false;
    uint8_t rate_ = 0;
    std::unique_ptr<VideoCheck> video_;
    std::vector<Bytes> units_;
};

/** A reader of what is there of so many bytes at a place. */
bytes::Reader KrdfProbe::At(uint64_t place, uint64_t size) const {
    if (place >= data_.size()) return bytes::Reader();
    return bytes::Reader(data_.data() + place, std::min<uint64_t>(size, data_.size() - place));
}

/* ---- indexes ---------------------------------------------------------------------------------------------------- */

void KrdfProbe::TakeUnit(uint32_t number) {
    const uint64_t main = KRDF_MAIN_INDEX_POS + KRDF_INDEX_INFO_SIZE + uint64_t{number - 1} * KRDF_MAIN_ENTRY_SIZE;
    const uint64_t info = KRDF_FIRST_SUB_INDEX_POS + (number - 1) * kUnit;
    const Place place = {static_cast<int64_t>(info), -1};
    bytes::Reader main_entry = At(main, KRDF_MAIN_ENTRY_SIZE), reader = At(info, kUnit);
    const Stamp begin = Stamp::Read(&main_entry);
    if (number == 1) begin_ = last_ = begin.Seconds();
    reader.Skip(4);
    const uint32_t items = reader.U32Le();
    reader.Skip(8);
    const std::string unit = "unit " + std::to_string(number);
    if (!reader.Ok() || items < 2) {
        Add("bad_index", unit + " lists no groups", place);
        return;
    }
    if (items - 1 > KRDF_MAX_SUB_ENTRIES) Add("bad_index", unit + " lists more groups than have room in it", place);
    for (uint32_t i = 0; i < std::min<uint32_t>(items - 1, KRDF_MAX_SUB_ENTRIES); ++i) {
        bytes::Reader words = reader;
        Entry entry;
        entry.begin = Stamp::Read(&words);
        reader.Skip(4);
        const uint32_t second = reader.U32Le();
        reader.Skip(8);
        if (!reader.Ok()) {
            Add("cut_file", "the index of " + unit + " is cut", place);
            return;
        }
        entry.blocks = uint64_t{second >> 8 & 1023} * KRDF_BLOCK_SIZE;
        entry.at = info + uint64_t{second >> 18} * KRDF_BLOCK_SIZE;
        entry.place = {static_cast<int64_t>(entry.at), static_cast<double>(entry.begin.Seconds() - begin_)};
        if (i == 0 && entry.begin.Seconds() != begin.Seconds()) {
            Add("bad_index", unit + " begins at another time in the main index", place);
        }
        TakeEntry(entry);
    }
}

/** The library looks for a time from the first entry on, so they have to rise. */
void KrdfProbe::CheckOrder(const Entry &entry) {
    if (entry.begin.Seconds() < last_) Add("stamps_back", "a group begins before the one in front of it", entry.place);
    if (entry.at < group_end_) Add("overlap", "a group lies upon the one in front of it", entry.place);
    last_ = entry.begin.Seconds();
    group_end_ = entry.at + entry.blocks;
}

void KrdfProbe::TakeEntry(const Entry &entry) {
    if (record_.groups == 0) record_.begin = entry.begin.Text();
    record_.end = entry.begin.Text();
    ++record_.groups;
    CheckOrder(entry);
    frame_begun_ = false;
    frame_.clear();
    const std::string damage = TakeGroup(entry);
    if (damage.empty()) return;
    ++record_.damaged;
    Add("damaged_group", "a group is left at the damage in it: " + damage, entry.place);
}

/* ---- groups ----------------------------------------------------------------------------------------------------- */

/** @return what is damaged, in words; empty for nothing */
std::string KrdfProbe::TakeGroup(const Entry &entry) {
    bytes::Reader reader = At(entry.at, entry.blocks);
    const uint32_t mark = reader.U32Le(), length = reader.U32Le();
    if (!reader.Ok()) return "it lies behind the file's end";
    if (mark != KRDF_BLOCK_INFO_MARK) return "its block info is none";
    if (length > entry.blocks) return "it is longer than its blocks";
    taken_ += length;
    if (taken_ > data_.size()) return "it lies upon others";  // and so it was read before
    while (reader.Pos() + KRDF_PACKET_TAIL_SIZE < length) {
        const Place place = {entry.place.byte + static_cast<int64_t>(reader.Pos()), entry.place.time};
        std::string damage = TakePacket(&reader, place);
        if (!damage.empty()) return damage;
    }
    return frame_begun_ ? "its last frame does not end" : "";
}

std::string KrdfProbe::TakePacket(bytes::Reader *reader, Place place) {
    if (reader->U32Le() != KRDF_PACKET_HEAD_MARK) return reader->Ok() ? "a packet head is none" : "it is cut";
    Packet packet;
    reader->Skip(8);
    const uint8_t flags = reader->U8();
    packet.rate = reader->U8() & 31;
    reader->Skip(3);
    packet.stream = reader->U8();
    const uint32_t length = reader->U16Le();
    reader->Skip(4);
    packet.sound = (flags & 1) != 0;
    packet.starts = (flags & 2) != 0;
    packet.ends = (flags & 0x80) != 0;
    packet.kind = flags >> 2 & 3;
    const uint8_t *payload = reader->Take(length);
    const uint32_t tail = reader->U32Le();
    if (length >= KRDF_MAX_PAYLOAD) return "a packet is too long";
    if (!reader->Ok()) return "it is cut";
    if (length > kMostPayload) Add("large_packet", "a packet for which the library has no room ends its play", place);
    packet.payload = {payload, length};
    TakePayload(packet, place);
    return tail == KRDF_PACKET_TAIL_MARK ? "" : "a packet's tail is none";
}

/* ---- frames ----------------------------------------------------------------------------------------------------- */

void KrdfProbe::TakePayload(const Packet &packet, Place place) {
    if (packet.sound) {
        TakeAudio(packet, place);
        return;
    }
    if (rate_ == 0) rate_ = packet.rate;
    if (packet.starts && frame_begun_) Add("lost_frame", "a frame begins before the one in front of it ends", place);
    if (packet.starts) frame_.clear();
    if (!packet.starts && !frame_begun_) Add("lost_frame", "a frame without its beginning", place);
    frame_begun_ = !packet.ends;
    if (frame_.size() <= kMostFrame) frame_.insert(frame_.end(), packet.payload.begin(), packet.payload.end());
    if (packet.ends) TakeVideo(packet, place);
}

void KrdfProbe::TakeVideo(const Packet &packet, Place place) {
    const VideoCoding coding = packet.stream == VIDEO_CODEC_VINCIH264    ? VideoCoding::kH264
                               : packet.stream == VIDEO_CODEC_VINCIH265  ? VideoCoding::kH265
                               : packet.stream == VIDEO_CODEC_VINCIMJPEG ? VideoCoding::kJpeg
                                                                         : VideoCoding::kNone;
    if (video_ == nullptr) video_ = std::make_unique<VideoCheck>(coding, &report_);
    if (coding == VideoCoding::kNone) {
        Add("unknown_codec", "the library does not play video of stream type " + std::to_string(packet.stream), place);
        report_.video.codec = "stream type " + std::to_string(packet.stream);
    }
    if (frame_.size() > kMostFrame) Add("too_large", "a frame of more bytes than a frame buffer holds", place);
    if (coding == VideoCoding::kNone || frame_.size() > kMostFrame) {
        video_->Count(frame_.size(), packet.kind == 0 ? kKey : kUnknown);
        frame_.clear();
        return;
    }
    if (coding == VideoCoding::kJpeg) {
        units_.assign(1, frame_);
    } else {
        SplitUnits(frame_, &units_);
    }
    video_->Take({units_, frame_.size(), packet.kind == 0, place});
    frame_.clear();
}

/** Sound comes in one packet a frame: a second one would overwrite the first. */
void KrdfProbe::TakeAudio(const Packet &packet, Place place) {
    static const char *const kNames[] = {"G.711 A-law", "G.711 mu-law"};
    AudioReport &audio = report_.audio;
    if (packet.stream > 1) {
        Add("unknown_codec", "the library does not play sound of stream type " + std::to_string(packet.stream), place);
        audio.codec = "stream type " + std::to_string(packet.stream);
    } else {
        audio.codec = kNames[packet.stream];
        audio.sample_rate = 8000;
        audio.channels = 1;
    }
    if (!packet.ends || !packet.starts) Add("bad_sound", "a sound frame of several packets", place);
    if (frame_begun_) Add("bad_sound", "sound inside a picture, whose beginning it overwrites", place);
    ++audio.frames;
    audio.bytes += packet.payload.size();
    if (audio.sample_rate > 0) audio.duration += static_cast<double>(packet.payload.size()) / audio.sample_rate;
}

void KrdfProbe::Finish() {
    VideoReport &video = report_.video;
    video.rate = rate_;
    video.duration = rate_ > 0 ? static_cast<double>(video.frames) / rate_ : 0;
    if (record_.groups > 0 && last_ <= begin_) {
        Add("no_length", "all groups begin in the same second: the library opens no record without a length", {});
    }
}

void KrdfProbe::Run() {
    bytes::Reader info = At(KRDF_MAIN_INDEX_POS, KRDF_INDEX_INFO_SIZE);
    const uint32_t items = info.U32Le();
    const Place place = {KRDF_MAIN_INDEX_POS, -1};
    if (!info.Ok() || items < 2) {
        Add("bad_index", "the main index lists no units", place);
        return;
    }
    record_.units = items - 1;
    if (record_.units > kMostUnits) Add("bad_index", "more units than have a place of their own", place);
    for (uint32_t number = 1; number <= std::min(record_.units, kMostUnits); ++number) {
        TakeUnit(number);
        group_end_ = 0;
    }
    Finish();
}

}  // namespace

void ProbeKrdf(Bytes data, std::FILE *, Report *report) { KrdfProbe(data, report).Run(); }

}  // namespace zvprobe
