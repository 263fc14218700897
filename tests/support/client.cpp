#include "support/client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "support/elapsed.h"

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

TappedPort::TappedPort() {
    EXPECT_TRUE(Zelvane_AllocPort(&m_port));
    TapFrames(1);
    TapPictures(1);
}

void TappedPort::TapFrames(ULONG_32 onward) {
    Zelvane_SetParseVideoDataCB(m_port, TakeVideo, onward, this);
    Zelvane_SetParseAudioDataCB(m_port, TakeAudio, onward, this);
}

void TappedPort::TapPictures(ULONG_32 onward) { Zelvane_SetDecodeVideoMediaDataCB(m_port, TakePicture, onward, this); }

void TappedPort::Forget() {
    std::lock_guard guard(m_mutex);
    m_frames.clear();
    m_pictures.clear();
    m_pictureTimes.clear();
    m_frameCount = m_audioFrames = m_pictureCount = 0;
}

void TappedPort::TakeVideo(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *user, LONG_REAL) {
    TappedPort *self = static_cast<TappedPort *>(user);
    {
        std::lock_guard guard(self->m_mutex);
        self->m_frames.push_back(
            {true, data->ulVideoFrameType == 0, data->dlTimeStamp, {data->pucData, data->pucData + data->ulDataLen}});
        self->m_frameCount++;
    }
    if (self->onFrame) {
        self->onFrame();
    }
}

void TappedPort::TakeAudio(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *data, void *user, LONG_REAL) {
    TappedPort *self = static_cast<TappedPort *>(user);
    std::lock_guard guard(self->m_mutex);
    self->m_frames.push_back({false, true, data->dlTimeStamp, {data->pucData, data->pucData + data->ulDataLen}});
    self->m_frameCount++;
    self->m_audioFrames++;
}

void TappedPort::TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *data, void *user, LONG_REAL) {
    TappedPort *self = static_cast<TappedPort *>(user);
    const int strides[3] = {static_cast<int>(data->ulLineSize[0]), static_cast<int>(data->ulLineSize[1]),
                            static_cast<int>(data->ulLineSize[2])};
    std::string md5 =
        PictureMd5(data->pucData, strides, static_cast<int>(data->ulPicWidth), static_cast<int>(data->ulPicHeight));
    {
        std::lock_guard guard(self->m_mutex);
        self->m_pictures.push_back(std::move(md5));
        self->m_pictureTimes.push_back(data->dlRenderTime);
        self->m_pictureCount++;
    }
    if (self->onPicture) {
        self->onPicture();
    }
}

void TappedPort::TakeWave(ULONG_32, PLAYER_WAVE_DATA_S *data, void *user, LONG_REAL) {
    TappedPort *self = static_cast<TappedPort *>(user);
    std::lock_guard guard(self->m_mutex);
    if (data->pcData != nullptr) {
        self->m_pcm.insert(self->m_pcm.end(), data->pcData, data->pcData + data->ulDataLen);
    }
}

InputPort::InputPort()
    : InputPort([](ULONG_32 port) { return Zelvane_OpenInputStream(port, nullptr, 0, 0) != 0; },
                Zelvane_CloseInputStream) {}

InputPort::InputPort(const std::function<bool(ULONG_32 port)> &open, BOOL_T (*close)(ULONG_32 port)) : m_close(close) {
    TapSound();
    EXPECT_TRUE(open(Number()));
}

bool InputPort::PushAll(const std::vector<Bytes> &packets) {
    return std::all_of(packets.begin(), packets.end(), [&](const Bytes &packet) { return Push(packet); });
}

void InputPort::Drain() {
    ULONG_32 frames = 0;
    ULONG_32 packets = 1;
    EXPECT_TRUE(WaitUntil([&] { return Zelvane_GetPacketQueueStart(Number(), &frames, &packets) && packets == 0; }));
    // The last packet taken may still be in the decoder: a close waits for it.
    Close();
}

void InputPort::Close() { EXPECT_TRUE(m_close(Number())); }

bool WaitUntil(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10 * SANITIZED_SLOWDOWN);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace support
