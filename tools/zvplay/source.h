/**
 * Sources of data to push.
 *
 * A source cuts a file into pieces as Zelvane_InputMediaData() wants them and says when each is due. Readers do no
 * waiting and know nothing of the library, so each can be tested alone.
 */
#ifndef ZVPLAY_SOURCE_H
#define ZVPLAY_SOURCE_H

#include <memory>
#include <string>

#include "common/bytes.h"
#include "failure.h"
#include "options.h"

namespace zvplay {

using tools::Bytes;

/** One piece of data. */
struct Push {
    Bytes head;      ///< to be pushed just before `data`, in a call of its own; mostly empty
    Bytes data;      ///< one call of Zelvane_InputMediaData(); holds until the next call of Next()
    double due = 0;  ///< seconds from the first piece
};

/** A file or a sequence of files, read once from the beginning to the end. */
class Source {
 public:
    virtual ~Source() = default;

    /** Takes the next piece. @return false at the end */
    virtual bool Next(Push *push) = 0;

    /** For sources without timestamps: the time from piece to piece from now on. Others ignore it. */
    virtual void SetFrameRate(double fps) { (void)fps; }

    /** What was odd about the source, in words, for the report at the end; empty if nothing. */
    virtual std::string Remark() const { return {}; }
};

/** Whether a file is a recording, which the library reads itself: MP4, MPEG-TS, AVI or KRDF. */
bool IsRecording(const std::string &path);

/** Whether a recording is a KRDF record, which keeps its time in groups and does not go back to its start. */
bool IsKrdf(const std::string &path);

/**
 * Opens what the user named, a file that is no recording.
 * @param options source and frame rate
 * @return the source, or null with the failure filled
 */
std::unique_ptr<Source> OpenSource(const Options &options, Failure *failure);

}  // namespace zvplay

#endif
