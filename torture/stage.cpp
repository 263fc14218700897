#include "torture/stage.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>

#include "support/elapsed.h"

namespace torture {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

struct {
    Record *record = nullptr;
    const Words *known = nullptr;
    bool faulted = false;
    std::mutex mutex;
} ear;

/** Letters alone: figures, addresses and times change. */
uint64_t HashOf(const std::string &text) {
    uint64_t hash = 14695981039346656037ULL;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool hexadecimal = i > 1 && text[i - 1] == 'x' && text[i - 2] == '0';
        i = hexadecimal ? std::min(text.find_first_not_of("0123456789abcdefABCDEF", i), text.size() - 1) : i;
        if (text[i] < '0' || text[i] > '9') {
            hash = (hash ^ static_cast<uint8_t>(text[i])) * 1099511628211ULL;
        }
    }
    return hash;
}

bool IsFaultTold() { return ear.faulted && ear.record->faults.failed > 0 && ear.record->said; }
bool IsFaultThere() { return ear.faulted && ear.record->faults.failed > 0; }

void TakeLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *text) {
    Say(std::string("log: ") + text);
}

void TakeMessage(ULONG_32 kind, void *message) {
    const PLAYER_RUN_INFO_S &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
    // A letter a code: figures are left out of what is compared.
    Say("message: kind " + std::string(kind + 1, 'k') + " code " +
        std::string(1, static_cast<char>('A' + info.ulErrCode % 128)) + " " + std::to_string(info.ulErrCode));
}

std::atomic<Port *> ports[PLAYER_MAX_PORT_NUM];

void TakePortMessage(ULONG_32, void *message) {
    const PLAYER_RUN_INFO_S &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
    if (info.ulErrCode == PLAYER_ERR_FILE_END && info.ulPort < PLAYER_MAX_PORT_NUM && ports[info.ulPort] != nullptr) {
        ++ports[info.ulPort].load()->ends;
    }
}

long FramesOf(const std::string &path) {
    AVFormatContext *format = nullptr;
    AVPacket *packet = av_packet_alloc();
    long frames = 0;
    if (avformat_open_input(&format, path.c_str(), nullptr, nullptr) == 0) {
        for (; av_read_frame(format, packet) == 0; av_packet_unref(packet)) {
            ++frames;
        }
    }
    avformat_close_input(&format);
    av_packet_free(&packet);
    return frames;
}

Port &Of(void *user) { return *static_cast<Port *>(user); }

}  // namespace

bool talkative = false;

void Listen(Record *to, const Words *known, bool faulted) {
    std::lock_guard guard(ear.mutex);
    ear.record = to;
    ear.known = known;
    ear.faulted = faulted;
}

void Say(const std::string &text) {
    std::lock_guard guard(ear.mutex);
    Record &record = *ear.record;
    if (talkative) {
        fprintf(stderr, "%s\n", text.c_str());
    }
    const uint64_t hash = HashOf(text);
    const bool old = ear.known->Has(hash);
    if (IsFaultThere() && !old && !record.said) {
        strncpy(record.saying, text.c_str(), sizeof(record.saying) - 1);
        record.said = true;
    }
    record.words.Add(hash);
}

bool Stage::Try(const char *what, BOOL_T result) const {
    if (!result) {
        const ULONG_32 code = Zelvane_GetLastError();
        if (code == 0 && ear.record->mute[0] == '\0') {
            strncpy(ear.record->mute, what, sizeof(ear.record->mute) - 1);
        }
        Say(std::string("refused: ") + what + " " + std::to_string(code));
    }
    return result;
}

bool Stage::Await(const std::function<bool()> &condition) const {
    const Clock::time_point start = Clock::now();
    while (!condition()) {
        const milliseconds patience = IsFaultTold() ? milliseconds(100) : milliseconds(IsFaultThere() ? 8000 : 30000);
        if (Clock::now() - start > patience) {
            return false;
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
    return true;
}

void Stage::Note(const char *name, long value) const {
    if (m_outcome->count == std::size(m_outcome->figures)) {
        return;
    }
    Figure &figure = m_outcome->figures[m_outcome->count++];
    strncpy(figure.name, name, sizeof(figure.name) - 1);
    figure.value = value;
}

void Stage::EmptyFolder() const {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
}

void Stage::NoteFiles(bool media) const {
    long files = 0, bytes = 0, frames = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && entry.path().extension() != ".temp") {
            ++files;
            bytes += static_cast<long>(entry.file_size());
            frames += media ? FramesOf(entry.path()) : 0;
        }
    }
    Note("files", files);
    Note("bytes", bytes);
    Note("recorded", frames);
}

Library::Library(const Stage &stage) {
    Zelvane_SetWriteLogCB(TakeLine);
    Zelvane_SetPlayerRunMsgCB(TakeMessage);
    m_up = stage.Try("Init", Zelvane_Init());
}

Library::~Library() {
    if (m_up) {
        Zelvane_Cleanup();
    }
}

Port::Port(const Stage &stage) : m_stage(stage) {
    if (!stage.Try("AllocPort", Zelvane_AllocPort(&number))) {
        number = PLAYER_MAX_PORT_NUM;
        return;
    }
    ports[number] = this;
    Zelvane_SetRunMsgCB(number, TakePortMessage);
    Zelvane_SetParseVideoDataCB(
        number, [](ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *user, LONG_REAL) { ++Of(user).frames; }, 1, this);
    Zelvane_SetParseAudioDataCB(
        number, [](ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *, void *user, LONG_REAL) { ++Of(user).sounds; }, 1, this);
    Zelvane_SetDecodeVideoMediaDataCB(
        number, [](ULONG_32, PLAYER_PICTURE_DATA_S *, void *user, LONG_REAL) { ++Of(user).pictures; }, 1, this);
    Zelvane_SetDecodeAudioMediaDataCB(
        number,
        [](ULONG_32, PLAYER_WAVE_DATA_S *data, void *user, LONG_REAL) {
            Of(user).samples += data->pcData != nullptr ? data->ulDataLen : 0;
        },
        1, this);
}

Port::~Port() {
    if (*this) {
        Zelvane_FreePort(number);
        ports[number] = nullptr;
    }
}

bool Port::Push(Span packet) const {
    return m_stage.Try("InputMediaData",
                       Zelvane_InputMediaData(number, packet.data(), static_cast<ULONG_32>(packet.size())));
}

}  // namespace torture
