/** The library's log: into a file, or nowhere. */
#ifndef ZVPLAY_LOG_FILE_H
#define ZVPLAY_LOG_FILE_H

#include <string>

#include "failure.h"

namespace zvplay {

/**
 * Takes the library's log from here on. It has to come before the library starts, also without a file: a library that
 * has no log callback writes log files of its own into the working folder.
 * @param path file, made anew; empty drops the lines
 * @return false with the failure filled
 */
bool OpenLog(const std::string &path, Failure *failure);

/** Whether the log said that the sound device could not be opened; the library has no call that tells it. */
bool SoundFailed();

/** Whether the log said that the library of the codecs is missing. */
bool CodecsMissing();

/** What the log said first of forms that the library does not take; empty for nothing. */
std::string NotTaken();

/** What the log said of the recording that the library tells nowhere else, in words; empty for nothing. */
const char *RecordTrouble();

/** Forgets it, for the next recording. */
void ForgetRecordTrouble();

/** Whether the log said that the network gives no more: of a TCP stream the library tells it nowhere else. */
bool StreamEnded();

/** How many frames the log said could not be descrambled; what leans on them is left out without a word. */
unsigned NotDescrambled();

/** Closes the file; later lines are dropped. */
void CloseLog();

}  // namespace zvplay

#endif
