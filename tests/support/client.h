/**
 * @file client.h
 * @brief A client of the library for tests: starts it, opens a port, collects what comes out.
 */
#ifndef ZELVANE_TESTS_SUPPORT_CLIENT_H
#define ZELVANE_TESTS_SUPPORT_CLIENT_H

#include <atomic>
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

/** One frame of a stream as a client meets it. */
struct FileFrame {
    bool video;
    bool key;
    int64_t time; /**< 90 kHz */
    Bytes data;
    bool operator==(const FileFrame &other) const = default;
};

/** A port whose taps note frames, pictures and sound, and let all of it go on. */
class TappedPort {
 public:
    TappedPort(const TappedPort &) = delete;
    TappedPort &operator=(const TappedPort &) = delete;

    ULONG_32 Number() const { return m_port; }
    std::vector<FileFrame> Frames() const { return Locked(m_frames); }
    std::vector<std::string> PictureMd5s() const { return Locked(m_pictures); }
    std::vector<int64_t> PictureTimes() const { return Locked(m_pictureTimes); }
    Bytes Pcm() const { return Locked(m_pcm); }
    size_t FrameCount() const { return m_frameCount; }
    size_t AudioFrames() const { return m_audioFrames; }
    size_t PictureCount() const { return m_pictureCount; }
    void Forget();

    /** Called in the picture callback, on the thread that decodes. */
    std::function<void()> onPicture;
    /** Called in the video frame callback, on the same thread. */
    std::function<void()> onFrame;

 protected:
    TappedPort();
    ~TappedPort() { Zelvane_FreePort(m_port); }
    /** Whether frames and pictures go on behind their taps. */
    void TapFrames(ULONG_32 onward);
    void TapPictures(ULONG_32 onward);
    void TapSound() { Zelvane_SetDecodeAudioMediaDataCB(m_port, TakeWave, 1, this); }

 private:
    static void TakeVideo(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *user, LONG_REAL);
    static void TakeAudio(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *data, void *user, LONG_REAL);
    static void TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *data, void *user, LONG_REAL);
    static void TakeWave(ULONG_32, PLAYER_WAVE_DATA_S *data, void *user, LONG_REAL);
    template <class T>
    T Locked(const T &value) const {
        std::lock_guard guard(m_mutex);
        return value;
    }

    ULONG_32 m_port = PLAYER_MAX_PORT_NUM;
    mutable std::mutex m_mutex;
    std::vector<FileFrame> m_frames;
    std::vector<std::string> m_pictures;
    std::vector<int64_t> m_pictureTimes; /**< 90 kHz */
    Bytes m_pcm;
    std::atomic<size_t> m_frameCount{0}, m_audioFrames{0}, m_pictureCount{0};
};

/** A port with an open live stream, pushed unless told otherwise. */
class InputPort : public TappedPort {
 public:
    InputPort();
    /** A port whose source the caller opens; `close` is that source's close call. */
    InputPort(const std::function<bool(ULONG_32 port)> &open, BOOL_T (*close)(ULONG_32 port));

    bool Push(Span packet) {
        return Zelvane_InputMediaData(Number(), packet.data(), static_cast<ULONG_32>(packet.size()));
    }
    /** Pushes all; false at the first refusal. */
    bool PushAll(const std::vector<Bytes> &packets);
    /** Waits until the ring is empty and the decode thread has worked off what it took. */
    void Drain();
    void Close();

 private:
    BOOL_T (*m_close)(ULONG_32 port);
};

/** Waits until the condition holds, ten seconds at most, in instrumented code a minute. */
bool WaitUntil(const std::function<bool()> &condition);

}  // namespace support

#endif
