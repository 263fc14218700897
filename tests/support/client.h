/**
 * @file client.h
 * @brief A client of the library for tests: starts it, opens a port, collects what comes out.
 */
#ifndef ZELVANE_TESTS_SUPPORT_CLIENT_H
#define ZELVANE_TESTS_SUPPORT_CLIENT_H

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "player_sdk_func.h"
#include "support/media.h"

namespace support {

/** The library with the log in memory, for the object's life. */
class Library {
 public:
    Library();
    ~Library();

    /** Lines logged so far that hold this text. */
    static size_t LinesWith(const std::string &text);
    static void ForgetLines();
};

/** A port with an open live stream, pushed unless told otherwise, that collects frames, pictures and sound. */
class InputPort {
 public:
    InputPort();
    /** A port whose source the caller opens; `close` is that source's close call. */
    InputPort(const std::function<bool(ULONG_32 port)> &open, BOOL_T (*close)(ULONG_32 port));
    ~InputPort();
    InputPort(const InputPort &) = delete;
    InputPort &operator=(const InputPort &) = delete;

    ULONG_32 Number() const { return m_port; }
    bool Push(Span packet) { return Zelvane_InputMediaData(m_port, packet.data(), static_cast<ULONG_32>(packet.size())); }
    /** Pushes all; false at the first refusal. */
    bool PushAll(const std::vector<Bytes> &packets);
    /** Waits until the ring is empty and the decode thread has worked off what it took. */
    void Drain();
    void Close();

    std::vector<std::string> PictureMd5s() const;
    std::vector<Bytes> Frames() const;
    Bytes Pcm() const;
    size_t AudioFrames() const;

    /** Called in the picture callback, on the decode thread. */
    std::function<void()> onPicture;
    /** Called in the frame callback, on the decode thread. */
    std::function<void(const PLAYER_PARSE_VIDEO_DATA_S &)> onFrame;

 private:
    static void TakeFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *user, LONG_REAL);
    static void TakeAudioFrame(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *data, void *user, LONG_REAL);
    static void TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *data, void *user, LONG_REAL);
    static void TakeWave(ULONG_32, PLAYER_WAVE_DATA_S *data, void *user, LONG_REAL);

    BOOL_T (*m_close)(ULONG_32 port);
    ULONG_32 m_port = PLAYER_MAX_PORT_NUM;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_pictures;
    std::vector<Bytes> m_frames;
    Bytes m_pcm;
    size_t m_audioFrames = 0;
};

/** Waits until the condition holds, ten seconds at most. */
bool WaitUntil(const std::function<bool()> &condition);

}  // namespace support

#endif
