/**
 * @file record_format.h
 * @brief What each record format means: container, time in the name, content. The one table that all of recording asks.
 */
#ifndef ZELVANE_RECORD_RECORD_FORMAT_H
#define ZELVANE_RECORD_RECORD_FORMAT_H

#include "foundations/player_types.h"

enum RECORD_CONTAINER_E { RECORD_CONTAINER_TS, RECORD_CONTAINER_MP4, RECORD_CONTAINER_AVI };

/** What the names of the files say of time. */
enum RECORD_STAMP_E {
    RECORD_STAMP_NONE,  /**< nothing; further files are counted */
    RECORD_STAMP_CLOCK, /**< wall clock */
    RECORD_STAMP_STREAM /**< the stream's own time, else the wall clock */
};

/** What the format's name promises. Recordings of sound alone are not split either. */
enum RECORD_CONTENT_E { RECORD_CONTENT_ALL, RECORD_CONTENT_AUDIO, RECORD_CONTENT_VIDEO };

/** One format. */
struct RECORD_FORMAT_S {
    RECORD_CONTAINER_E enContainer;
    RECORD_STAMP_E enStamp;
    RECORD_CONTENT_E enContent;
};

/** Row of a PLAYER_FILE_FORMATE_E; null for another value. */
const RECORD_FORMAT_S *RecordFormat_Find(ULONG_32 ulFormat);

/** Whether the format is one of these that roll over, and that Player_StopRecordEx() closes: all but sound alone. */
inline bool RecordFormat_HasVideo(const RECORD_FORMAT_S &stFormat) {
    return stFormat.enContent != RECORD_CONTENT_AUDIO;
}

/** Whether sound is recorded that the container has to take over as it is or transcoded: not with pictures alone. */
inline bool RecordFormat_HasAudio(const RECORD_FORMAT_S &stFormat) {
    return stFormat.enContent != RECORD_CONTENT_VIDEO;
}

#endif
