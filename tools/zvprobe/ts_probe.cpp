#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "foundations/bytes.h"
#include "intake/module_ts.h"
#include "probe.h"
#include "streams.h"

namespace zvprobe {
namespace {

using tools::Bytes;

constexpr size_t kPacket = TS_PACKET_SIZE;
constexpr uint8_t kSync = 0x47;
constexpr unsigned kNullPid = 0x1FFF;
constexpr double kJump = 10;       // seconds that no stream of pictures pauses for
constexpr double kSoundGap = 0.5;  // sound carries the clock of the video, whose steps are coarse

const char *AudioName(int payload) {
    switch (payload) {
        case PLAYER_PAYLOAD_G711U:
            return "G.711 mu-law";
        case PLAYER_PAYLOAD_G711A:
            return "G.711 A-law";
        case PLAYER_PAYLOAD_MP1L2:
            return "MPEG audio";
        case PLAYER_PAYLOAD_AAC:
            return "AAC";
        default:
            return "PCM";
    }
}

/** The head of a packet (2.4.3.2) and what an adaptation field adds to it. */
struct Packet {
    Bytes bytes;
    unsigned pid = 0, counter = 0;
    bool damaged = false, starts = false, ends_frame = false, scrambled = false, has_field = false, has_payload = false;
    bool discontinuity = false, has_pcr = false;
    uint64_t pcr = 0;
    size_t payload = kPacket;  ///< offset
};

Packet ReadPacket(Bytes bytes) {
    Packet packet;
    packet.bytes = bytes;
    packet.damaged = (bytes[1] & 0x80) != 0;
    packet.starts = (bytes[1] & 0x40) != 0;
    packet.ends_frame = (bytes[1] & 0x20) != 0;
    packet.pid = (bytes[1] & 31u) << 8 | bytes[2];
    packet.scrambled = (bytes[3] & 0xC0) != 0;
    packet.has_field = (bytes[3] & 0x20) != 0;
    packet.has_payload = (bytes[3] & 0x10) != 0;
    packet.counter = bytes[3] & 15;
    packet.payload = std::min(kPacket, packet.has_field ? 5 + size_t{bytes[4]} : 4);
    if (packet.has_field && bytes[4] > 0) packet.discontinuity = (bytes[5] & 0x80) != 0;
    if (packet.has_field && bytes[4] >= 7 && (bytes[5] & 0x10) != 0) {
        bytes::Reader reader(bytes.data() + 6, 5);
        packet.has_pcr = true;
        packet.pcr = uint64_t{reader.U32Be()} << 1;
        packet.pcr |= reader.U8() >> 7;
    }
    return packet;
}

/** Reads one file. */
class TsProbe {
 public:
    TsProbe(Bytes data, Report *report)
        : data_(data), report_(*report), frame_(std::make_unique<uint8_t[]>(VIDEO_FRAME_BUFFER_SIZE)) {
        stream_.pucFrameData = frame_.get();
    }
    void Run();

 private:
    /** What is known of one PID. */
    struct Pid {
        Clock33 clock;
        bool seen = false, repeated = false;
        uint8_t counter = 0;
        size_t last = 0;  ///< offset of its packet before
    };

    void Add(const char *code, const std::string &text) {
        report_.problems.Add(code, text, {static_cast<int64_t>(at_), clock_.IsStarted() ? clock_.Now() : -1});
    }
    bool Synchronise();
    void CheckPacket(const Packet &packet);
    void CheckCounter(const Packet &packet, Pid *pid);
    void CheckClock(const Packet &packet, Pid *pid);
    void CheckSection(const Packet &packet);
    void CheckStreamTypes(Bytes section);
    void Gather(const Packet &packet);
    void TakeFrame();
    void TakeVideo(Place place);
    void TakeAudio(Place place);
    void CheckSoundGap(double duration, Place place);
    void Finish();

    const Bytes data_;
    Report &report_;
    size_t at_ = 0;
    std::vector<Pid> pids_ = std::vector<Pid>(kNullPid + 1);
    std::vector<uint8_t> block_;  ///< packets of the frame at hand
    size_t block_at_ = 0;         ///< where they begin
    bool too_large_ = false;
    std::unique_ptr<uint8_t[]> frame_;
    TS_STREAM_INFO_S stream_ = {};
    Clock33 clock_;  ///< of the frames
    std::unique_ptr<VideoCheck> video_;
    double first_video_ = 0, last_video_ = 0;
    double first_sound_ = 0, next_sound_ = 0, sound_ = 0;  ///< sound_: seconds of sound
    bool frame_ends_ = false;
    bool has_clock_ = false, clock_moves_ = false;  ///< packets carry a clock; it is not the same all along
    uint64_t first_pcr_ = 0;
    std::vector<Bytes> units_;
};

/* ---- packets ---------------------------------------------------------------------------------------------------- */

/** Moves to the next place where a packet begins and another one, or the end of the file, follows it. */
bool TsProbe::Synchronise() {
    const size_t from = at_;
    size_t to = at_;
    for (; data_.size() - to >= kPacket; ++to) {
        if (data_[to] == kSync && (data_.size() - to < 2 * kPacket || data_[to + kPacket] == kSync)) break;
    }
    const bool found = data_.size() - to >= kPacket;
    if (!found) to = data_.size();
    if (found && to > from) Add("sync_lost", std::to_string(to - from) + " bytes between two packets");
    if (!found && to > from) Add("cut_file", "the last packet has " + std::to_string(to - from) + " bytes");
    at_ = to;
    return found;
}

void TsProbe::CheckPacket(const Packet &packet) {
    if (packet.damaged) Add("transport_error", "a packet marked as damaged on PID " + std::to_string(packet.pid));
    if (packet.scrambled) Add("scrambled", "a scrambled packet on PID " + std::to_string(packet.pid));
    if (packet.pid == kNullPid) return;
    Pid &pid = pids_[packet.pid];
    CheckCounter(packet, &pid);
    CheckClock(packet, &pid);
    if (packet.starts && (packet.pid == 0 || packet.pid == stream_.usPMTPid)) CheckSection(packet);
}

/** 2.4.3.3: the counter rises with each packet that has a payload; one packet may be repeated once. */
void TsProbe::CheckCounter(const Packet &packet, Pid *pid) {
    const unsigned expected = (pid->counter + packet.has_payload) & 15u;
    const bool repeats = packet.has_payload && packet.counter == pid->counter && !pid->repeated &&
                         std::equal(packet.bytes.begin() + 4, packet.bytes.end(), data_.begin() + pid->last + 4);
    if (pid->seen && !packet.discontinuity && packet.counter != expected && !repeats) {
        Add("continuity", "PID " + std::to_string(packet.pid) + " goes on with counter " +
                              std::to_string(packet.counter) + " in place of " + std::to_string(expected));
    }
    pid->repeated = pid->seen && repeats;
    pid->seen = true;
    pid->counter = static_cast<uint8_t>(packet.counter);
    pid->last = at_;
}

void TsProbe::CheckClock(const Packet &packet, Pid *pid) {
    if (!packet.has_pcr) return;
    if (!has_clock_) first_pcr_ = packet.pcr;
    has_clock_ = true;
    clock_moves_ = clock_moves_ || packet.pcr != first_pcr_;
    const double step = pid->clock.Advance(packet.pcr);
    if (packet.discontinuity) return;
    if (step < 0)
        Add("stamps_back",
            "the clock of PID " + std::to_string(packet.pid) + " goes back by " + std::to_string(-step) + " s");
    if (step > kJump)
        Add("clock_jump",
            "the clock of PID " + std::to_string(packet.pid) + " jumps by " + std::to_string(step) + " s");
}

/** PAT and PMT (2.4.4). Those that go on in another packet are left alone. */
void TsProbe::CheckSection(const Packet &packet) {
    bytes::Reader reader(packet.bytes.data() + packet.payload, kPacket - packet.payload);
    reader.Skip(reader.U8());
    bytes::Reader head = reader;
    head.Skip(1);
    const uint32_t size = (head.U16Be() & 0xFFFu) + 3;
    const uint8_t *section = reader.Take(size);
    if (section == nullptr || size < 12) {
        Add("bad_table", packet.pid == 0 ? "a PAT that does not fit its packet" : "a PMT that does not fit its packet");
        return;
    }
    // Taken together with its check word, what is whole leaves nothing.
    std::vector<uint8_t> copy(section, section + size);
    if (TS_Crc32(copy.data(), size) != 0)
        Add("crc", packet.pid == 0 ? "the CRC of a PAT is wrong" : "the CRC of a PMT is wrong");
    if (packet.pid == 0) {
        TS_ParsePAT(packet.bytes.data(), kPacket, &stream_);
    } else {
        TS_ParsePMT(packet.bytes.data(), kPacket, &stream_);
        CheckStreamTypes({section, size});
    }
}

/** Streams that the library's reader of PMTs did not take. */
void TsProbe::CheckStreamTypes(Bytes section) {
    bytes::Reader reader(section.data(), section.size() - 4);
    reader.Skip(10);
    reader.Skip(reader.U16Be() & 0xFFFu);
    while (reader.Left() >= 5) {
        const unsigned type = reader.U8();
        const unsigned pid = reader.U16Be() & 0x1FFFu;
        reader.Skip(reader.U16Be() & 0xFFFu);
        const unsigned known[] = {stream_.usVideoPid, stream_.usAudioPid, stream_.usDataPid, stream_.usRightAudioPid};
        if (std::find(std::begin(known), std::end(known), pid) == std::end(known)) {
            Add("unknown_codec",
                "the library does not play stream type " + std::to_string(type) + " (PID " + std::to_string(pid) + ")");
        }
    }
}

/* ---- frames ----------------------------------------------------------------------------------------------------- */

/** Collects the packets up to the one that ends a frame. */
void TsProbe::Gather(const Packet &packet) {
    if (block_.empty()) block_at_ = at_;
    if (block_.size() + kPacket <= VIDEO_FRAME_BUFFER_SIZE) {
        block_.insert(block_.end(), packet.bytes.begin(), packet.bytes.end());
    } else {
        too_large_ = true;
    }
    if (!packet.ends_frame) return;
    frame_ends_ = true;
    if (too_large_) {
        Add("too_large", "a frame of more packets than a frame buffer holds");
    } else {
        TakeFrame();
    }
    too_large_ = false;
    block_.clear();
}

void TsProbe::TakeFrame() {
    stream_.ulFrameLen = 0;
    const DULONG before = stream_.dulPCR;
    const ULONG_32 result =
        TS_Unpack(reinterpret_cast<CHAR *>(block_.data()), static_cast<ULONG_32>(block_.size()), &stream_);
    if (stream_.dulPCR != before || clock_.IsStarted()) clock_.Advance(stream_.dulPCR);
    const Place place = {static_cast<int64_t>(block_at_), clock_.Now()};
    if (result == PLAYER_ERR_UNKNOWN_STREAM) {
        report_.problems.Add("unknown_pid", "packets of a PID that no PMT announced", place);
    } else if (result != PLAYER_ERR_OK) {
        report_.problems.Add("lost_frame", "a frame that can't be put together from its packets", place);
    } else if (Payload_IsVideo(stream_.lPayload)) {
        TakeVideo(place);
    } else if (Payload_IsAudio(stream_.lPayload)) {
        TakeAudio(place);
    } else {
        ++report_.data_frames;
    }
}

void TsProbe::TakeVideo(Place place) {
    const VideoCoding coding = CodingOf(static_cast<uint32_t>(stream_.lPayload));
    if (video_ == nullptr) {
        video_ = std::make_unique<VideoCheck>(coding, &report_);
        first_video_ = clock_.Now();
    }
    last_video_ = clock_.Now();
    const Bytes frame = {frame_.get(), stream_.ulFrameLen};
    if (coding == VideoCoding::kJpeg) {
        units_.assign(1, frame);
    } else {
        SplitUnits(frame, &units_);
    }
    const bool key = coding == VideoCoding::kJpeg || stream_.lFrameType == PLAYER_VIDEO_FRAME_I;
    video_->Take({units_, frame.size(), key, place});
}

void TsProbe::TakeAudio(Place place) {
    AudioReport &audio = report_.audio;
    const Bytes frame = {frame_.get(), stream_.ulFrameLen};
    SoundFormat format = {8000, 1, static_cast<uint32_t>(frame.size())};
    if (stream_.lPayload == PLAYER_PAYLOAD_AAC) format = ReadAdts(frame);
    if (stream_.lPayload == PLAYER_PAYLOAD_MP1L2) format = ReadMpegAudio(frame);
    if (stream_.lPayload == PLAYER_PAYLOAD_PCM) format.samples /= 2;
    if (!format.whole) report_.problems.Add("bad_sound", "a sound frame that is not whole", place);
    audio.codec = AudioName(stream_.lPayload);
    if (format.sample_rate > 0) {
        audio.sample_rate = format.sample_rate;
        audio.channels = format.channels;
        CheckSoundGap(static_cast<double>(format.samples) / format.sample_rate, place);
    }
    ++audio.frames;
    audio.bytes += frame.size();
}

/** The clock may run ahead of the sound by a few pictures, but not by more. */
void TsProbe::CheckSoundGap(double duration, Place place) {
    if (report_.audio.frames == 0) first_sound_ = next_sound_ = clock_.Now();
    if (const double gap = clock_.Now() - next_sound_; gap > kSoundGap && gap < kJump) {
        report_.problems.Add("sound_gap",
                             "the sound pauses for " + std::to_string(static_cast<int>(gap * 1000)) + " ms", place);
    }
    next_sound_ = clock_.Now() + duration;
    sound_ += duration;
}

void TsProbe::Finish() {
    VideoReport &video = report_.video;
    const double steps = last_video_ - first_video_;
    if (video.frames > 1 && steps > 0) video.rate = static_cast<double>(video.frames - 1) / steps;
    video.duration = video.rate > 0 ? static_cast<double>(video.frames) / video.rate : 0;
    report_.audio.duration = std::max(sound_, next_sound_ - first_sound_);
    if (!clock_moves_ && video.frames + report_.audio.frames > 1) {
        report_.problems.Add("no_clock", has_clock_ ? "the clock of the file (PCR) stands still: it has no length, and "
                                                      "no place in it can be found"
                                                    : "no packet carries a clock (PCR)");
    }
    if (!block_.empty() && frame_ends_) Add("cut_frame", "the last frame does not end");
    if (!frame_ends_) {
        report_.problems.Add("no_frame_ends",
                             "no packet has the transport priority bit, by which the library knows the end of a frame: "
                             "this is not the TS of a recorder");
    }
}

void TsProbe::Run() {
    while (Synchronise()) {
        const Packet packet = ReadPacket(data_.subspan(at_, kPacket));
        CheckPacket(packet);
        Gather(packet);
        at_ += kPacket;
    }
    Finish();
}

}  // namespace

void ProbeTs(Bytes data, std::FILE *, Report *report) { TsProbe(data, report).Run(); }

}  // namespace zvprobe
