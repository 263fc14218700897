#include "player.h"

#include <algorithm>

#include "analytics_records.h"
#include "common/library_failure.h"
#include "common/rsa_pem.h"
#include "player_ext.h"
#include "talk.h"

namespace zvplay {
namespace {

constexpr ULONG_32 kSlots = 5000;  // the longest ring there is: key frames of 4K cameras come in one push
constexpr ULONG_32 kSlotBytes = 2048;
constexpr uint64_t kStampMask = (uint64_t{1} << 33) - 1;  // the clock of MPEG-TS

/** Run messages have no user value, so what comes from them is the process's. */
std::atomic<uint32_t> decode_failures{0};
std::atomic<uint32_t> file_ends{0};
std::atomic<bool> peer_closed{false};
std::atomic<uint32_t> record_error{0};
std::atomic<uint32_t> cloud_message{0}, cloud_normals{0};
std::atomic<bool> cloud_ended{false};

/** Takes what a cloud port tells; a plain failure comes from no other kind of port. */
void NoteCloud(uint32_t code) {
    if (code == PLAYER_HLS_PLAY_NORMAL) {
        cloud_normals.fetch_add(1);
        cloud_ended.store(false);
    } else if (code == PLAYER_HLS_PLAY_FINISHED) {
        cloud_ended.store(true);
    } else if (code == PLAYER_ERR_FAILED || code == PLAYER_ERR_MALLOC || code >= PLAYER_HLS_DOWNLOAD_FINISHED) {
        cloud_message.store(code);
    }
}

/** A number as the library takes it: hexadecimal digits, two a byte. */
template <size_t kSize>
void PutHex(const std::vector<uint8_t> &number, CHAR (&text)[kSize]) {
    static const char kDigits[] = "0123456789ABCDEF";
    const size_t bytes = std::min(number.size(), kSize / 2);
    for (size_t i = 0; i < bytes; ++i) {
        text[2 * i] = kDigits[number[i] >> 4];
        text[2 * i + 1] = kDigits[number[i] & 15];
    }
}

PLAYER_RSA_INFO_S RsaInfo(const tools::RsaKey &key) {
    PLAYER_RSA_INFO_S info = {};
    info.ulBit = static_cast<ULONG_32>(key.modulus.size() * 8);
    for (const uint8_t byte : key.exponent) info.ulPub = info.ulPub << 8 | byte;
    PutHex(key.modulus, info.cN);
    PutHex(key.private_exponent, info.cPri);
    PutHex(key.prime1, info.cP);
    PutHex(key.prime2, info.cQ);
    PutHex(key.exponent1, info.cDP);
    PutHex(key.exponent2, info.cDQ);
    PutHex(key.coefficient, info.cQP);
    return info;
}

/** The row of the library's payload table that a track fills. */
PLAYER_PAYLOAD_TYPE_S PayloadOf(const tools::SdpTrack &track) {
    static const struct {
        tools::Coding coding;
        int value;
    } kTypes[] = {
        {tools::Coding::kH264, PLAYER_VIDEO_ENCODE_H264},  {tools::Coding::kH265, PLAYER_VIDEO_ENCODE_H265},
        {tools::Coding::kJpeg, PLAYER_VIDEO_ENCODE_MJPEG}, {tools::Coding::kG711U, PLAYER_AUDIO_ENCODE_G711U},
        {tools::Coding::kG711A, PLAYER_AUDIO_ENCODE_G711A}, {tools::Coding::kAac, PLAYER_AUDIO_ENCODE_AAC},
    };
    PLAYER_PAYLOAD_TYPE_S row = {};
    row.ucPayloadType = track.payload;
    row.ulType = track.video ? 0 : 1;
    row.ulSampleRate = track.clock;
    for (const auto &type : kTypes) {
        if (type.coding != track.coding) continue;
        if (track.video) {
            row.unPayload.enVideoPayloadType = static_cast<PLAYER_VIDEO_ENCODE_TYPE_E>(type.value);
        } else {
            row.unPayload.enAudioPayloadType = static_cast<PLAYER_AUDIO_ENCODE_TYPE_E>(type.value);
        }
    }
    return row;
}

/** Tells the port all that a description says of a track, beyond its payload number. */
bool DescribeTrack(ULONG_32 port, const tools::SdpTrack &track) {
    if (track.coding == tools::Coding::kAac && track.aac.object_type != 0) {
        PLAYER_AUDIO_INFO_S info = {track.aac.object_type, track.aac.frequency_index, track.aac.channels, 0};
        return Zelvane_SetAudioInfo(port, &info) == 1;
    }
    if (track.coding != tools::Coding::kH264 && track.coding != tools::Coding::kH265) return true;
    const ULONG_32 coding =
        track.coding == tools::Coding::kH265 ? PLAYER_VIDEO_ENCODE_H265 : PLAYER_VIDEO_ENCODE_H264;
    return ZelvaneExt_SetParameterSets(port, coding, track.sets.data(), static_cast<ULONG_32>(track.sets.size())) == 1;
}

size_t Slots(Bytes data) { return (data.size() + kSlotBytes - 1) / kSlotBytes; }

}  // namespace

void Player::OnPacket(ULONG_32, const UCHAR *data, ULONG_32 length, ULONG_32, void *counters, LONG_REAL) {
    const uint32_t records = CountDataFrames({data, length});
    if (records > 0) static_cast<Counters *>(counters)->records.fetch_add(records, std::memory_order_relaxed);
}

void Player::OnFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *frame, void *counters, LONG_REAL) {
    Counters &to = *static_cast<Counters *>(counters);
    const uint64_t stamp = static_cast<uint64_t>(frame->dlTimeStamp);
    if (to.frames.load(std::memory_order_relaxed) == 0) to.first_stamp.store(stamp, std::memory_order_relaxed);
    // The slices of a picture may come one by one, with the same stamp; pushed byte streams have no stamps.
    const bool begun = to.frames.load(std::memory_order_relaxed) != 0 && !to.whole.load(std::memory_order_relaxed);
    const bool piece = to.stamp.exchange(stamp, std::memory_order_relaxed) == stamp && begun && stamp != 0;
    if (!piece) to.frames.fetch_add(1, std::memory_order_relaxed);
    const bool h265 = frame->ulVideoCodeFormat == PLAYER_VIDEO_ENCODE_H265;
    if (h265 || frame->ulVideoCodeFormat == PLAYER_VIDEO_ENCODE_H264) {
        to.records.fetch_add(CountMessages({frame->pucData, frame->ulDataLen}, h265), std::memory_order_relaxed);
    }
}

void Player::OnPicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *counters, LONG_REAL) {
    static_cast<Counters *>(counters)->pictures.fetch_add(1, std::memory_order_relaxed);
}

void Player::OnSound(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *, void *counters, LONG_REAL) {
    static_cast<Counters *>(counters)->sounds.fetch_add(1, std::memory_order_relaxed);
}

void Player::OnMessage(ULONG_32 kind, void *message) {
    const PLAYER_RUN_INFO_S &info = static_cast<const REPORT_MSG_U *>(message)->stRunInfo;
    if (info.ulErrCode == PLAYER_ERR_DECODE) decode_failures.fetch_add(1, std::memory_order_relaxed);
    if (kind == PLAYER_RUN_INFO_MEDIA_PROCESS && info.ulErrCode == PLAYER_ERR_FILE_END) file_ends.fetch_add(1);
    if (kind == PLAYER_RUN_INFO_RECORD_VIDEO &&
        (info.ulErrCode == PLAYER_ERR_FILE_OPEN || info.ulErrCode == PLAYER_ERR_DISK_FULL)) {
        record_error.store(info.ulErrCode);
    }
    if (kind == PLAYER_RUN_INFO_STREAM) peer_closed.store(true);
    if (kind == PLAYER_RUN_INFO_MEDIA_PROCESS) NoteCloud(info.ulErrCode);
}

bool Player::Open(Failure *failure) {
    const auto fail = [failure](const char *what) {
        *failure = tools::LibraryFailure(what);
        return false;
    };
    if (!Zelvane_Init()) return fail("the library does not start");
    started_ = true;
    if (!Zelvane_SetPlayerRunMsgCB(OnMessage)) return fail("the library takes no run-message callback");
    if (!Zelvane_AllocPort(&port_)) return fail("the library has no port");
    allocated_ = true;
    // Callbacks and the length of the ring are set before the stream opens. The 1 lets the data go on behind the tap.
    Zelvane_SetPacketBuffer(port_, kSlots, 0);
    Zelvane_SetSourceMediaDataCB(port_, OnPacket, 1, &counters_);
    Zelvane_SetParseVideoDataCB(port_, OnFrame, 1, &counters_);
    Zelvane_SetParseAudioDataCB(port_, OnSound, 1, &counters_);
    Zelvane_SetDecodeVideoMediaDataCB(port_, OnPicture, 1, &counters_);
    return true;
}

bool Player::SetKeys(const std::string &rsa_key, const std::string &password, Failure *failure) {
    if (!rsa_key.empty()) {
        tools::RsaKey key;
        if (!tools::ReadRsaPem(rsa_key, true, &key, failure)) return false;
        PLAYER_RSA_INFO_S info = RsaInfo(key);
        Zelvane_SetRsaKey(&info);
    }
    if (password.empty()) return true;
    std::string text = password;
    if (Zelvane_SetFilePassword(port_, text.data(), static_cast<LONG_32>(text.size()))) return true;
    *failure = tools::LibraryFailure("the library takes no password");
    return false;
}

bool Player::OpenPushed(Failure *failure) {
    if (!Zelvane_OpenInputStream(port_, nullptr, 0, 0)) {
        *failure = tools::LibraryFailure("the port does not open for pushed data");
        return false;
    }
    close_ = Zelvane_CloseInputStream;
    queued_ = true;
    return true;
}

bool Player::OpenStandard(const std::vector<tools::SdpTrack> &tracks, Failure *failure) {
    if (shown_) Zelvane_StopPlay(port_, window_);
    if (close_ != nullptr) close_(port_);
    close_ = nullptr;
    std::vector<PLAYER_PAYLOAD_TYPE_S> rows;
    bool described = ZelvaneExt_SetStandardIntake(port_, 1);
    for (const tools::SdpTrack &track : tracks) {
        rows.push_back(PayloadOf(track));
        described = described && DescribeTrack(port_, track);
    }
    if (!described || Zelvane_SetPayloadType(port_, static_cast<ULONG_32>(rows.size()), rows.data()) != 1) {
        *failure = tools::LibraryFailure("the library does not take what the server says of its stream");
        return false;
    }
    if (!OpenPushed(failure) || (shown_ && !Show(reinterpret_cast<unsigned long>(window_), failure))) return false;
    if (sound_) SetSound(true);
    return true;
}

void Player::GivePacket(tools::Bytes packet) const {
    Zelvane_InputMediaData(port_, packet.data(), static_cast<ULONG_32>(packet.size()));
}

bool Player::OpenRecording(const std::string &path, bool paced, Failure *failure) {
    // Without a window the library keeps to the pace only if the pictures end at the callback.
    if (paced) Zelvane_SetDecodeVideoMediaDataCB(port_, OnPicture, 0, &counters_);
    counters_.whole.store(true);
    if (!Zelvane_OpenMediaFile(port_, path.c_str())) {
        *failure = tools::LibraryFailure(path + ": the library does not open it");
        failure->exit_code = kExitSource;
        failure->advice =
            "zvprobe tells what is in the file; other kinds can be turned into MP4 with H.264: "
            "ffmpeg -i FILE -c:v libx264 -c:a aac OUT.mp4";
        return false;
    }
    close_ = Zelvane_CloseMediaFile;
    krdf_ = IsKrdf(path);
    return true;
}

bool Player::OpenNetwork(const Address &address, Failure *failure) {
    const bool six = address.host.find(':') != std::string::npos;
    const bool open =
        address.tcp ? Zelvane_OpenNetStream(port_, nullptr, 0, address.host.c_str(), address.port, PLAYER_PROTOCOL_TCP)
                    : Zelvane_OpenNetStream(port_, address.host.empty() ? nullptr : address.host.c_str(), address.port,
                                            six ? "::1" : "127.0.0.1", 0, PLAYER_PROTOCOL_UDP);
    if (!open) {
        *failure =
            tools::LibraryFailure(address.tcp ? "no connection to the server" : "the local port can't be opened");
        failure->exit_code = kExitSource;
        failure->advice = address.tcp ? "is the server running, and is the port right?"
                                      : "does another program use the port? Is the address one of this machine?";
        return false;
    }
    close_ = Zelvane_CloseNetStream;
    queued_ = true;
    return true;
}

bool Player::OpenTalk(const Address &address, ULONG_32 service, Failure *failure) {
    if (!OpenVoice(port_, service, address, failure)) return false;
    close_ = Zelvane_CloseVoiceSvc;
    queued_ = true;
    return true;
}

bool Player::OpenCloud(const std::string &cache, uint32_t limit, Failure *failure) {
    if (!Zelvane_SetCachePath(cache.c_str()) || (limit != 0 && !Zelvane_SetMaxCache(limit)) ||
        !Zelvane_OpenHlsStream(port_)) {
        *failure = tools::LibraryFailure("the port does not open for a cloud recording");
        return false;
    }
    close_ = Zelvane_CloseHlsStream;
    queued_ = true;
    return true;
}

uint32_t Player::UpdateCloud(const char *playlist, uint32_t time) {
    if (!Zelvane_UpdatePlayInfo(port_, playlist, time)) return Zelvane_GetLastError();
    if (time != 0) cloud_ended.store(false);
    return PLAYER_ERR_OK;
}

uint32_t Player::CloudTime() const {
    ULONG_32 time = 0;
    Zelvane_GetPlayTime(port_, &time);
    return time;
}

uint32_t Player::CloudMessage() { return cloud_message.load(); }

uint32_t Player::CloudNormals() { return cloud_normals.load(); }

bool Player::CloudEnded() { return cloud_ended.load(); }

bool Player::Show(unsigned long window, Failure *failure) {
    window_ = reinterpret_cast<HANDLE>(window);
    if (!Zelvane_StartPlay(port_, window_)) {
        *failure = tools::LibraryFailure("the library does not play in the window");
        return false;
    }
    shown_ = true;
    return true;
}

bool Player::Fits(const Push &push) { return Slots(push.head) + Slots(push.data) < kSlots; }

bool Player::HasRoom(const Push &push) {
    const size_t wanted = Slots(push.head) + Slots(push.data);
    if (wanted > room_) {  // asked only when the slots known to be free run out: each question is a line in the log
        ULONG_32 frames = 0, used = 0;
        if (Zelvane_GetPacketQueueStart(port_, &frames, &used)) room_ = kSlots - 1 - used;
    }
    return wanted <= room_;
}

bool Player::Give(const Push &push, Failure *failure) {
    for (const Bytes &data : {push.head, push.data}) {
        if (!data.empty() && !Zelvane_InputMediaData(port_, data.data(), static_cast<ULONG_32>(data.size()))) {
            *failure = tools::LibraryFailure("the library refuses data");
            return false;
        }
        room_ -= std::min(room_, Slots(data));
    }
    return true;
}

void Player::SetSound(bool on) {
    sound_ = on;
    if (on) {
        Zelvane_OpenSound(port_);
    } else {
        Zelvane_CloseSound(port_);
    }
}

void Player::SetAnalytics(bool on) { Zelvane_SetIVAEnable(port_, on); }

void Player::SetPaused(bool paused) { Zelvane_PauseLive(port_, paused); }

void Player::Halt() { Zelvane_PausePlay(port_, 1); }

void Player::SetSpeed(ULONG_32 value) { Zelvane_SpeedPlay(port_, value); }

void Player::Step() { Zelvane_AFrameGo(port_); }

void Player::Seek(uint32_t seconds) { Zelvane_SetPlayedTime(port_, seconds); }

uint32_t Player::Length() const {
    ULONG_32 seconds = 0;
    Zelvane_GetFileTime(port_, &seconds);
    return seconds;
}

/** A record's stamps stand still after a jump back: its index tells the time, and the frames since then refine it. */
double Player::PositionInGroup() {
    ULONG_32 seconds = 0;
    Zelvane_GetPlayTime(port_, &seconds);
    const uint32_t frames = counters_.frames.load(std::memory_order_relaxed);
    if (seconds != group_time_) {
        group_time_ = seconds;
        group_frames_ = frames;
    }
    const int32_t rate = Rate();
    return seconds + (rate > 0 ? static_cast<double>(frames - group_frames_) / rate : 0);
}

double Player::Position() {
    if (krdf_) return PositionInGroup();
    if (counters_.frames.load(std::memory_order_relaxed) > 0) {
        const uint64_t stamp = counters_.stamp.load(std::memory_order_relaxed);
        return static_cast<double>((stamp - counters_.first_stamp.load(std::memory_order_relaxed)) & kStampMask) /
               90000;
    }
    ULONG_32 seconds = 0;
    Zelvane_GetPlayTime(port_, &seconds);
    return seconds;
}

uint32_t Player::Frames() const {
    return counters_.frames.load(std::memory_order_relaxed) + counters_.sounds.load(std::memory_order_relaxed);
}

uint32_t Player::Ends() { return file_ends.load(); }

bool Player::PeerClosed() { return peer_closed.load(); }

void Player::SetProportion(bool keep) {
    Zelvane_SetRenderScale(port_, window_, keep ? PLAYER_RENDER_SCALE_PROPORTION : PLAYER_RENDER_SCALE_FULL);
}

void Player::SetSplit(uint32_t megabytes, uint32_t minutes) {
    if (megabytes != 0) Zelvane_SetRecordSize(port_, megabytes);
    if (minutes != 0) Zelvane_SetRecordDivByTime(port_, minutes);
}

bool Player::StartRecording(const std::string &name, ULONG_32 format, Failure *failure) {
    record_error.store(0);
    if (Zelvane_StartRecord(port_, name.c_str(), format, nullptr)) return true;
    *failure = tools::LibraryFailure(name + ": the recording does not begin");
    failure->exit_code = kExitCapture;
    return false;
}

void Player::StopRecording() { Zelvane_StopRecord(port_); }

uint32_t Player::RecordedFiles() const {
    PLAYER_RECORD_FILES_NAME_INFO_S files = {};
    return Zelvane_GetRecordFiles(port_, RECORD_GET_FILENAME_ALL, &files) ? files.ulFileCount : 0;
}

std::string Player::FirstRecordedFile() const {
    PLAYER_RECORD_FILES_NAME_INFO_S files = {};
    if (!Zelvane_GetRecordFiles(port_, RECORD_GET_FILENAME_FIRST, &files)) return "";
    return files.pstFileNameLinkList->szFileName;
}

std::string Player::LastRecordedFile() const {
    PLAYER_RECORD_FILES_NAME_INFO_S files = {};
    if (!Zelvane_GetRecordFiles(port_, RECORD_GET_FILENAME_LAST, &files)) return "nothing";
    return files.pstFileNameLinkList->szFileName;
}

uint32_t Player::RecordError() { return record_error.load(); }

std::string Player::RecordErrorText() {
    return RecordError() == PLAYER_ERR_DISK_FULL ? "the disk is full" : "the next file can't be opened";
}

bool Player::Snap(const std::string &name, ULONG_32 format, Failure *failure) {
    if (Zelvane_SnatchOnce(port_, name.c_str(), format, nullptr)) return true;
    *failure = tools::LibraryFailure(name + ": the picture is not saved");
    failure->exit_code = kExitCapture;
    return false;
}

int32_t Player::Rate() const {
    int32_t rate = 0;
    Zelvane_GetFrameRate(port_, &rate);
    return rate;
}

Figures Player::Read() const {
    Figures figures;
    figures.frames = counters_.frames.load(std::memory_order_relaxed);
    figures.pictures = counters_.pictures.load(std::memory_order_relaxed);
    figures.sounds = counters_.sounds.load(std::memory_order_relaxed);
    figures.records = counters_.records.load(std::memory_order_relaxed);
    figures.decode_failures = decode_failures.load(std::memory_order_relaxed);
    ULONG_32 frames = 0, video = PLAYER_VIDEO_ENCODE_NULL, audio = PLAYER_AUDIO_ENCODE_NULL;
    Zelvane_GetPictureSize(port_, &figures.width, &figures.height);
    figures.rate = Rate();
    Zelvane_GetBitRate(port_, &figures.bit_rate);
    Zelvane_GetLostPacketRate(port_, &figures.packets, &figures.lost);
    if (queued_) Zelvane_GetPacketQueueStart(port_, &frames, &figures.waiting);
    Zelvane_GetEncodeType(port_, &video, &audio);
    figures.fill = static_cast<double>(figures.waiting) / kSlots;
    figures.video = tools::VideoName(video);
    figures.audio = tools::AudioName(audio);
    return figures;
}

void Player::Close() {
    if (shown_) Zelvane_StopPlay(port_, window_);
    if (close_ != nullptr) close_(port_);
    if (allocated_) Zelvane_FreePort(port_);
    if (started_) Zelvane_Cleanup();
    shown_ = allocated_ = started_ = false;
    close_ = nullptr;
}

}  // namespace zvplay
