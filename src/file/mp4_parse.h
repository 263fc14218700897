/**
 * @file mp4_parse.h
 * @brief An MP4 file frame by frame: opening, reading, seeking, and the time of day that a recording starts at.
 *
 * H.264 samples come out as Annex B byte streams, key frames with their parameter sets in front. H.265 samples that
 * hold start codes come as they are stored, others as H.264 does. The caller owns the file and hands it in with each
 * call; frames are read by descriptor where there is one, without moving the stream's position. One thread at a time
 * reads and seeks; MP4_GetPlayTime may be called on others meanwhile.
 */
#ifndef ZELVANE_FILE_MP4_PARSE_H
#define ZELVANE_FILE_MP4_PARSE_H

#include <stdio.h>

#include "file/mp4_boxes.h"
#include "foundations/player_types.h"

/** Which frames are wanted. */
typedef enum tagMp4FrameGetTypeE {
    MP4_FRAME_GET_TYPE_NONE = 0,             /**< every one */
    MP4_FRAME_GET_TYPE_ONLY_I_FRAME = 1,     /**< key frames */
    MP4_FRAME_GET_TYPE_ONLY_VIDEO_FRAME = 2, /**< video */
    MP4_FRAME_GET_TYPE_ONLY_I_SP_FRAME = 3,  /**< key frames and marked P frames */
    MP4_FRAME_GET_TYPE_MAX = 4
} MP4_FRAME_GET_TYPE_E;

/** Properties of a file. */
typedef struct tagMp4InfoS {
    ULONG_32 ulVideoType; /**< 0 */
    ULONG_32 ulAudioType; /**< 0 */
    ULONG_32 ulFrameRate; /**< frames a second, at least 1 */
    ULONG_32 ulPlayTime;  /**< seconds */
} MP4_INFO_S;

/** Parameter sets of an H.264 stream, to tell when it changes. */
typedef struct tagMp4SpsPpsInfoS {
    UCHAR szSps[512]; /**< SPS without its header byte */
    LONG_32 lSpsLen;  /**< its bytes */
    UCHAR szPps[128]; /**< PPS without its header byte */
    LONG_32 lPpsLen;  /**< its bytes */
} MP4_SPS_PPS_INFO;

/** One frame. */
typedef struct tagMp4FrameInfoS {
    UCHAR ucAudioType;      /**< AAC only: index of the sampling rate */
    UCHAR ucFrequencyIndex; /**< AAC only: audio object type */
    UCHAR ucChannelNum;     /**< AAC only: channel configuration */
    UCHAR *pucBuffer;       /**< caller's, VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulBufferLen;   /**< bytes of the frame; 7 more fit behind it */
    LONG_32 lPayload;       /**< PLAYER_PAYLOAD_E: H264, H265, AAC or MP1L2 */
    LONG_32 lFormatType;    /**< video: 0 key, 1 other; audio: 7 for AAC, else 0 */
    DULONG dulTimestamp;    /**< 90 kHz ticks, on the clock of the video track */
} MP4_FRAME_INFO_S;

/**
 * Reads the start of a recording: the last 8 bytes of a file's first box are four zeros and UTC seconds since 1970,
 * big-endian. Reads by position, so that another thread may be reading through the stream.
 * @return false: no such box, or another tail
 */
bool MP4_ReadStartTime(FILE *pFile, ULONG_32 *pulUtc);

extern "C" {

/** Whether bytes 4 to 7 of a file are "ftyp". The position stays; false for null. */
MODULE_API BOOL_T MP4_IsMp4File(FILE *pFile);

/**
 * Reads a file's boxes and lists its samples.
 * @param lFlag unused
 * @return the parser, to be given to MP4_ReleaseMp4Parser; null for a damaged file or for want of memory
 */
MODULE_API mp4_moov_box *MP4_CreateMp4Parser(FILE *pFile, LONG_32 lFlag);

/** Frees a parser; null is allowed. */
MODULE_API void MP4_ReleaseMp4Parser(mp4_moov_box *pstParser);

/** First track with this handler type ("vide", "soun"), or null. It belongs to the parser. */
MODULE_API mp4_trak_box *MP4_FindTrakByType(mp4_moov_box *pstParser, const CHAR *pcType);

/** Properties of the file. 0, or PLAYER_ERR_PARAM for a null pointer. */
MODULE_API ULONG_32 MP4_GetMp4Info(mp4_moov_box *pstParser, MP4_INFO_S *pstInfo);

/**
 * Reads the next frame that is wanted.
 * @param lGetType MP4_FRAME_GET_TYPE_E; every other value takes all frames
 * @param pstFrame pucBuffer is the caller's, the rest is filled
 * @return 0; PLAYER_ERR_FILE_END at the end of the list or of the file; PLAYER_ERR_FILE_READ for a sample that the
 *         buffer can't hold; PLAYER_ERR_PARAM for a null pointer. A sample that fails has been stepped over
 */
MODULE_API ULONG_32 MP4_GetOneFrameData(FILE *pFile, mp4_moov_box *pstParser, LONG_32 lGetType,
                                        MP4_FRAME_INFO_S *pstFrame);

/** Reads the sample of a node and moves the place of reading on by one, also on failure. As MP4_GetOneFrameData. */
MODULE_API ULONG_32 MP4_MakeOneFrame(FILE *pFile, mp4_moov_box *pstParser, const mp4_sample_node *pstNode,
                                     MP4_FRAME_INFO_S *pstFrame);

/**
 * Moves to the first key frame at or behind a time, or to the end of the list. Time is counted in video samples.
 * @param pFile      unused
 * @param lFrameRate frames a second; outside 1 to 60 it counts as 25
 * @return 0; 1 with the place unchanged if the video has not so many samples; PLAYER_ERR_PARAM for a null parser
 */
MODULE_API ULONG_32 MP4_SetPlayTime(FILE *pFile, mp4_moov_box *pstParser, ULONG_32 ulSeconds, LONG_32 lFrameRate);

/** Seconds of the last frame read. 0, or PLAYER_ERR_PARAM for a null pointer. Any thread. */
MODULE_API ULONG_32 MP4_GetPlayTime(mp4_moov_box *pstParser, ULONG_32 *pulSeconds);

/** Index of the next sample to be considered. 0, or PLAYER_ERR_PARAM for a null pointer. */
MODULE_API ULONG_32 MP4_GetCurSampleIndex(mp4_moov_box *pstParser, LONG_32 *plIndex);

/** Moves back to the key frame at or in front of the place of reading, else to the start. */
MODULE_API ULONG_32 MP4_FindPrevKey(mp4_moov_box *pstParser);

/**
 * When a recording started: the last 8 bytes of the first box are four zeros and UTC seconds since 1970.
 * @param pFile  stands at its start; the position stays
 * @param pulOut gets seconds since local midnight, or 0
 * @return 1 if the time is there, else 0
 */
MODULE_API BOOL_T MP4_GetRealTime(FILE *pFile, ULONG_32 *pulOut);

/** Whole hours that local time is ahead of UTC now, -12 to 12. */
MODULE_API LONG_32 MP4_GetCurTimezone(void);

/**
 * Whether a key frame carries other parameter sets than those stored. Only H.264 is looked at.
 * @param pucData Annex B frame
 * @return 1 if so; 0 if not, if none is found, or for null
 */
MODULE_API BOOL_T MP4_IsDiffSpsPps(UCHAR *pucData, LONG_32 lLen, LONG_32 lPayload, MP4_SPS_PPS_INFO *pstInfo);
}

#endif
