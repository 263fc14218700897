/** Reads RTP captures: a 16-bit big-endian length and one packet (RFC 3550), repeated. */
#ifndef ZVPLAY_RTP_READER_H
#define ZVPLAY_RTP_READER_H

#include "common/mapped_file.h"
#include "source.h"
#include "stream_clock.h"

namespace zvplay {

using tools::MappedFile;

/**
 * Gives one packet a push, paced by the timestamps of the video, or of the sound if there is no video. The other
 * packets go along in the order of the capture.
 */
class RtpReader : public Source {
 public:
    explicit RtpReader(MappedFile file);

    bool Next(Push *push) override;
    std::string Remark() const override;

    /** Whether the first record holds an RTP packet. */
    static bool Recognise(Bytes data);

 private:
    /** Which packets set the pace, and how fast their clock runs. */
    struct Pace {
        bool video;
        double rate;
    };
    static Pace FindPace(Bytes data);

    MappedFile file_;
    const Pace pace_;
    StreamClock clock_;
    size_t at_ = 0;
    bool truncated_ = false;
};

}  // namespace zvplay

#endif
