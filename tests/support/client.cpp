#include "support/client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace support {

namespace {

std::mutex logMutex;
std::vector<std::string> logLines;

void TakeLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *text) {
    std::lock_guard guard(logMutex);
    logLines.emplace_back(text);
}

}  // namespace

Library::Library() {
    ForgetLines();
    Zelvane_SetWriteLogCB(TakeLine);
    EXPECT_TRUE(Zelvane_Init());
}

Library::~Library() { Zelvane_Cleanup(); }

size_t Library::LinesWith(const std::string &text) {
    std::lock_guard guard(logMutex);
    return static_cast<size_t>(std::count_if(logLines.begin(), logLines.end(), [&](const std::string &line) {
        return line.find(text) != std::string::npos;
    }));
}

void Library::ForgetLines() {
    std::lock_guard guard(logMutex);
    logLines.clear();
}

InputPort::InputPort()
    : InputPort([](ULONG_32 port) { return Zelvane_OpenInputStream(port, nullptr, 0, 0) != 0; },
                Zelvane_CloseInputStream) {}

InputPort::InputPort(const std::function<bool(ULONG_32 port)> &open, BOOL_T (*close)(ULONG_32 port)) : m_close(close) {
    EXPECT_TRUE(Zelvane_AllocPort(&m_port));
    Zelvane_SetParseVideoDataCB(m_port, TakeFrame, 1, this);
    Zelvane_SetParseAudioDataCB(m_port, TakeAudioFrame, 1, this);
    Zelvane_SetDecodeVideoMediaDataCB(m_port, TakePicture, 1, this);
    Zelvane_SetDecodeAudioMediaDataCB(m_port, TakeWave, 1, this);
    EXPECT_TRUE(open(m_port));
}

InputPort::~InputPort() { Zelvane_FreePort(m_port); }

bool InputPort::PushAll(const std::vector<Bytes> &packets) {
    return std::all_of(packets.begin(), packets.end(), [&](const Bytes &packet) { return Push(packet); });
}

void InputPort::Drain() {
    ULONG_32 frames = 0;
    ULONG_32 packets = 1;
    EXPECT_TRUE(WaitUntil([&] { return Zelvane_GetPacketQueueStart(m_port, &frames, &packets) && packets == 0; }));
    // The last packet taken may still be in the decoder: a close waits for it.
    Close();
}

void InputPort::Close() { EXPECT_TRUE(m_close(m_port)); }

std::vector<std::string> InputPort::PictureMd5s() const {
    std::lock_guard guard(m_mutex);
    return m_pictures;
}

std::vector<Bytes> InputPort::Frames() const {
    std::lock_guard guard(m_mutex);
    return m_frames;
}

Bytes InputPort::Pcm() const {
    std::lock_guard guard(m_mutex);
    return m_pcm;
}

size_t InputPort::AudioFrames() const {
    std::lock_guard guard(m_mutex);
    return m_audioFrames;
}

void InputPort::TakeFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *user, LONG_REAL) {
    InputPort *self = static_cast<InputPort *>(user);
    {
        std::lock_guard guard(self->m_mutex);
        self->m_frames.emplace_back(data->pucData, data->pucData + data->ulDataLen);
    }
    if (self->onFrame) {
        self->onFrame(*data);
    }
}

void InputPort::TakeAudioFrame(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *, void *user, LONG_REAL) {
    InputPort *self = static_cast<InputPort *>(user);
    std::lock_guard guard(self->m_mutex);
    self->m_audioFrames++;
}

void InputPort::TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *data, void *user, LONG_REAL) {
    InputPort *self = static_cast<InputPort *>(user);
    const int strides[3] = {static_cast<int>(data->ulLineSize[0]), static_cast<int>(data->ulLineSize[1]),
                            static_cast<int>(data->ulLineSize[2])};
    std::string md5 = PictureMd5(data->pucData, strides, static_cast<int>(data->ulPicWidth),
                                 static_cast<int>(data->ulPicHeight));
    {
        std::lock_guard guard(self->m_mutex);
        self->m_pictures.push_back(std::move(md5));
    }
    if (self->onPicture) {
        self->onPicture();
    }
}

void InputPort::TakeWave(ULONG_32, PLAYER_WAVE_DATA_S *data, void *user, LONG_REAL) {
    InputPort *self = static_cast<InputPort *>(user);
    std::lock_guard guard(self->m_mutex);
    if (data->pcData != nullptr) {
        self->m_pcm.insert(self->m_pcm.end(), data->pcData, data->pcData + data->ulDataLen);
    }
}

bool WaitUntil(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace support
