/**
 * @file file_port.h
 * @brief Files for tests, made when they are needed, and a port that plays one and notes what comes out.
 */
#ifndef ZELVANE_TESTS_SUPPORT_FILE_PORT_H
#define ZELVANE_TESTS_SUPPORT_FILE_PORT_H

#include <string>
#include <vector>

#include "file/module_file.h"
#include "support/client.h"

namespace support {

/** Runs ffmpeg with these arguments, "-y" and the target in between; false if it failed. */
bool Ffmpeg(const std::string &arguments, const std::string &target);

/** What a command prints, in lines. */
std::vector<std::string> LinesOf(const std::string &command);

/** What ffprobe tells of a file, its first line without trailing commas; "-select_streams v" and the like go into
 * `what`.
 */
std::string Probe(const std::string &path, const std::string &what);

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

/** One unit as transport stream packets. */
Bytes MuxTs(TS_PACKET_DEC_S *mux, int codec, Span unit, bool key, uint64_t time);

/** Muxes streams into an MPEG-TS file of the devices' dialect; every `keyDistance`-th video unit is a key frame. */
void WriteTs(const std::string &path, const TsStream &video, const TsStream *audio, unsigned keyDistance,
             uint64_t firstTime = 90000);

/** A port that plays a file. */
class FilePort : public TappedPort {
 public:
    FilePort();

    bool Open(const std::string &path) { return Zelvane_OpenMediaFile(Number(), path.c_str()); }
    bool Close() { return Zelvane_CloseMediaFile(Number()); }
    bool Play() { return Zelvane_PausePlay(Number(), 0); }
    bool Pause() { return Zelvane_PausePlay(Number(), 1); }
    /** Frames go no further than the frame taps. */
    void KeepFromDecoding() { TapFrames(0); }
    /** Pictures go no further than the picture tap, and so are paced without a window. */
    void PaceWithoutWindow() { TapPictures(0); }
    /** Waits for the next run message that tells of the end of the file, beyond those that came before. */
    bool WaitForEnd(unsigned count = 1);
    unsigned Ends() const;
};

}  // namespace support

#endif
