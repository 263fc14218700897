#include "player.h"

#include <algorithm>

#include "common/library_failure.h"

namespace zvplay {
namespace {

constexpr ULONG_32 kSlots = 5000;  // the longest ring there is: key frames of 4K cameras come in one push
constexpr ULONG_32 kSlotBytes = 2048;

/** Run messages have no user value, so the one count that comes from them is the process's. */
std::atomic<uint32_t> decode_failures{0};

size_t Slots(Bytes data) { return (data.size() + kSlotBytes - 1) / kSlotBytes; }

}  // namespace

void Player::OnFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *counters, LONG_REAL) {
    static_cast<Counters *>(counters)->frames.fetch_add(1, std::memory_order_relaxed);
}

void Player::OnPicture(ULONG_32, PLAYER_PICTURE_DATA_S *, void *counters, LONG_REAL) {
    static_cast<Counters *>(counters)->pictures.fetch_add(1, std::memory_order_relaxed);
}

void Player::OnSound(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *, void *counters, LONG_REAL) {
    static_cast<Counters *>(counters)->sounds.fetch_add(1, std::memory_order_relaxed);
}

void Player::OnMessage(ULONG_32, void *message) {
    const PLAYER_RUN_INFO_S &info = static_cast<const REPORT_MSG_U *>(message)->stRunInfo;
    if (info.ulErrCode == PLAYER_ERR_DECODE) decode_failures.fetch_add(1, std::memory_order_relaxed);
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
    Zelvane_SetParseVideoDataCB(port_, OnFrame, 1, &counters_);
    Zelvane_SetParseAudioDataCB(port_, OnSound, 1, &counters_);
    Zelvane_SetDecodeVideoMediaDataCB(port_, OnPicture, 1, &counters_);
    if (!Zelvane_OpenInputStream(port_, nullptr, 0, 0)) return fail("the port does not open for pushed data");
    opened_ = true;
    return true;
}

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
    if (on) {
        Zelvane_OpenSound(port_);
    } else {
        Zelvane_CloseSound(port_);
    }
}

void Player::SetPaused(bool paused) { Zelvane_PauseLive(port_, paused); }

void Player::SetProportion(bool keep) {
    Zelvane_SetRenderScale(port_, window_, keep ? PLAYER_RENDER_SCALE_PROPORTION : PLAYER_RENDER_SCALE_FULL);
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
    figures.decode_failures = decode_failures.load(std::memory_order_relaxed);
    ULONG_32 frames = 0, video = PLAYER_VIDEO_ENCODE_NULL, audio = PLAYER_AUDIO_ENCODE_NULL;
    Zelvane_GetPictureSize(port_, &figures.width, &figures.height);
    figures.rate = Rate();
    Zelvane_GetBitRate(port_, &figures.bit_rate);
    Zelvane_GetLostPacketRate(port_, &figures.packets, &figures.lost);
    Zelvane_GetPacketQueueStart(port_, &frames, &figures.waiting);
    Zelvane_GetEncodeType(port_, &video, &audio);
    figures.fill = static_cast<double>(figures.waiting) / kSlots;
    figures.video = tools::VideoName(video);
    figures.audio = tools::AudioName(audio);
    return figures;
}

void Player::Close() {
    if (shown_) Zelvane_StopPlay(port_, window_);
    if (opened_) Zelvane_CloseInputStream(port_);
    if (allocated_) Zelvane_FreePort(port_);
    if (started_) Zelvane_Cleanup();
    shown_ = opened_ = allocated_ = started_ = false;
}

}  // namespace zvplay
