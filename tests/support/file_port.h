/**
 * @file file_port.h
 * @brief Files for tests, made when they are needed, and a port that plays one and notes what comes out.
 */
#ifndef ZELVANE_TESTS_SUPPORT_FILE_PORT_H
#define ZELVANE_TESTS_SUPPORT_FILE_PORT_H

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "player_sdk_func.h"
#include "support/media.h"

namespace support {

/** Runs ffmpeg with these arguments, "-y" and the target in between; false if it failed. */
bool Ffmpeg(const std::string &arguments, const std::string &target);

/** What a command prints, in lines. */
std::vector<std::string> LinesOf(const std::string &command);

/** One frame of a file as a client meets it. */
struct FileFrame {
    bool video;
    bool key;
    int64_t time; /**< 90 kHz */
    Bytes data;
    bool operator==(const FileFrame &other) const = default;
};

/** Frames of a file in the order in which they lie in it, found by libavformat: H.264 as Annex B, AAC with ADTS. */
std::vector<FileFrame> SamplesOfMp4(const std::string &path);

/** MD5 of each picture of a file, as ffmpeg decodes it. */
std::vector<std::string> PicturesOfFile(const std::string &path);

/** A stream for TsFile: `codec` is a PLAYER_PAYLOAD_E. */
struct TsStream {
    int codec;
    std::vector<Span> units;
    uint32_t ticks; /**< 90 kHz ticks from one unit to the next */
};

/** Muxes streams into an MPEG-TS file of the devices' dialect; every `keyDistance`-th video unit is a key frame. */
void WriteTs(const std::string &path, const TsStream &video, const TsStream *audio, unsigned keyDistance,
             uint64_t firstTime = 90000);

/** A port that plays a file. Taps note frames; pictures and sound can be switched off. */
class FilePort {
 public:
    FilePort();
    ~FilePort();
    FilePort(const FilePort &) = delete;
    FilePort &operator=(const FilePort &) = delete;

    ULONG_32 Number() const { return m_port; }
    bool Open(const std::string &path) { return Zelvane_OpenMediaFile(m_port, path.c_str()); }
    bool Close() { return Zelvane_CloseMediaFile(m_port); }
    bool Play() { return Zelvane_PausePlay(m_port, 0); }
    bool Pause() { return Zelvane_PausePlay(m_port, 1); }
    /** Frames go no further than the frame taps. */
    void KeepFromDecoding();
    /** Pictures go no further than the picture tap, and so are paced without a window. */
    void PaceWithoutWindow();
    /** Waits for the next run message that tells of the end of the file, beyond those that came before. */
    bool WaitForEnd(unsigned count = 1);
    unsigned Ends() const;

    std::vector<FileFrame> Frames() const;
    std::vector<std::string> PictureMd5s() const;
    size_t FrameCount() const;
    size_t PictureCount() const { return m_pictureCount; }
    void Forget();

    /** Called in the picture callback, on the play thread. */
    std::function<void()> onPicture;
    /** Called in the video frame callback, on the play thread. */
    std::function<void()> onFrame;

 private:
    static void TakeVideo(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *data, void *user, LONG_REAL);
    static void TakeAudio(ULONG_32, PLAYER_PARSE_AUDIO_DATA_S *data, void *user, LONG_REAL);
    static void TakePicture(ULONG_32, PLAYER_PICTURE_DATA_S *data, void *user, LONG_REAL);
    static void TakeRunMessage(ULONG_32 kind, void *message);

    ULONG_32 m_port = PLAYER_MAX_PORT_NUM;
    mutable std::mutex m_mutex;
    std::vector<FileFrame> m_frames;
    std::vector<std::string> m_pictures;
    std::atomic<size_t> m_pictureCount{0};
};

}  // namespace support

#endif
