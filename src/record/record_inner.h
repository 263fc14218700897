/**
 * @file record_inner.h
 * @brief What the sources of the record thread share among themselves.
 */
#ifndef ZELVANE_RECORD_RECORD_INNER_H
#define ZELVANE_RECORD_RECORD_INNER_H

#include "record/record_format.h"
#include "record/record_thread.h"

/** The ADTS head that AAC frames carry (ISO/IEC 13818-7, 6.2). */
inline constexpr LONG_32 RECORD_ADTS_HEAD = 7;

/** Records the frame in hand in the open file of a container. @return 0, or why the thread has to end */
ULONG_32 RecordTs_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat);
ULONG_32 RecordMp4_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat);
ULONG_32 RecordAvi_Frame(RECORD_LOOP_S *pstLoop, const RECORD_FORMAT_S &stFormat);

/**
 * Moves dulTotalTimeStamp on by the distance of the frame in hand from the one before. A jump, back or by more than a
 * second, counts as the distance before it.
 * @param dulUnit 1 for 90 kHz ticks, 90 for milliseconds
 */
void Record_Rebase(RECORD_LOOP_S *pstLoop, DULONG dulUnit);

/** Notes the stream's time of the frame in hand as the file's end and, for the thread's first frame, as its begin. */
void Record_NoteFileTimes(RECORD_LOOP_S *pstLoop);

/** Sends the recording back to waiting for a key frame. @return ulError */
ULONG_32 Record_WaitForKeyFrame(PLAEYR_PORT_S *pstPort, ULONG_32 ulError);

/** Keeps the parameter sets of the frame in hand. @return whether it can begin a file as it is: false without an SPS */
bool RecordParams_Keep(RECORD_LOOP_S *pstLoop);

/** Puts the sets kept ahead of the frame in hand. @return the frame's new memory, to be freed behind its use, or null
 */
UCHAR *RecordParams_Complete(RECORD_LOOP_S *pstLoop);

/** What a key frame tells a muxer. */
struct RECORD_PICTURE_S {
    ULONG_32 ulWidth;
    ULONG_32 ulHeight;
    ULONG_32 ulFrameRate; /**< frames a second, 25 where the stream tells none */
};

/** The same for 1088 rows (or columns), which are 1080 in whole macroblocks. */
inline ULONG_32 Record_PictureSide(ULONG_32 ulSide) { return ulSide == 1088 ? 1080 : ulSide; }

/**
 * Reads an H.264 or H.265 key frame for a muxer; its rate becomes the port's.
 * @param pcCaller for the log
 * @return 0; 2 for a frame that is none; 7 for another payload
 */
ULONG_32 Record_ReadPicture(PLAEYR_PORT_S *pstPort, const CHAR *pcCaller, RECORD_PICTURE_S *pstPicture);

/** Encoder side of the transcoder, and what takes its frames. */
struct RECORD_ENCODER_S {
    LONG_32 lPayload; /**< PLAYER_PAYLOAD_MP1L2 or PLAYER_PAYLOAD_AAC */
    CODE_MP2_DATA_FUNC pfnTake;
    const CHAR *pcWho; /**< the caller in log lines */
    bool bOwnRate;     /**< PCM is stamped with 8000 Hz, or the stream's AAC rate, whatever the decoder says */
};

/** Decodes the frame in hand and hands the PCM to the encoder, both made if need be. Logged. @return 0 or a code */
ULONG_32 Record_Transcode(PLAEYR_PORT_S *pstPort, DULONG dulAudioStamp, const RECORD_ENCODER_S &stEncoder);

#endif
