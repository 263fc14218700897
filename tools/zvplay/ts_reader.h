/** Reads MPEG-TS (ISO/IEC 13818-1) of the dialect of surveillance recorders. */
#ifndef ZVPLAY_TS_READER_H
#define ZVPLAY_TS_READER_H

#include "common/mapped_file.h"
#include "source.h"
#include "stream_clock.h"

namespace zvplay {

using tools::MappedFile;

/**
 * Gives the packets of one frame a push: up to and with the packet that has the transport priority bit, by which this
 * dialect marks the end of a frame. A key frame's block so begins with its PAT and PMT, by which the library knows that
 * it is one. Paced by the PCR, which each frame carries.
 */
class TsReader : public Source {
 public:
    explicit TsReader(MappedFile file);

    bool Next(Push *push) override;
    std::string Remark() const override;

    /** Whether the data begin with two TS packets (or one and the end). */
    static bool Recognise(Bytes data);

    /** Whether a frame end comes within the first megabytes; without one nothing can be played. */
    static bool HasFrameEnds(Bytes data);

 private:
    bool Synchronise();

    MappedFile file_;
    StreamClock clock_{90000, 33};
    size_t at_ = 0;
    size_t skipped_ = 0;  ///< bytes passed over in the search for packets
};

}  // namespace zvplay

#endif
