/**
 * @file zvmp4.h
 * @brief Interface of libZvMP4.so: writes recordings as MP4 (ISO/IEC 14496-12), H.264 or H.265 with AAC sound.
 *
 * Compiles as C11 and as C++. A file and its muxer handle belong to one thread at a time; different files may be
 * written at once. Handles of 0 and of all ones are tolerated everywhere.
 *
 * What a file looks like: "ftyp", room for the index, then one "mdat" in which the samples stand in the order of their
 * arrival. The index ("moov") is written into that room with the first key frame and again every 5 seconds of stream
 * time, and each change to it takes effect by one small write: a file that was never closed, because its process died,
 * opens with all but the last 5 seconds and the group in progress. The last 8 bytes of "ftyp" are four zeros and the
 * start of the recording, 32 bits of UTC seconds, big-endian.
 *
 * H.264 samples hold lengths of 4 bytes; parameter sets and SEI stay in them. H.265 samples ("hev1") hold start codes
 * of 4 bytes and the entry has no decoder configuration, which FFmpeg, mpv, VLC and GStreamer play and browsers do not.
 */
#ifndef ZELVANE_CODEC_ZVMP4_H
#define ZELVANE_CODEC_ZVMP4_H

#include "player_public.h"

#define ZVMP4_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** Video codecs. Files hold VIDEO_CODEC_H264 or VIDEO_CODEC_H265. */
typedef enum tagMp4VideoId {
    VIDEO_CODEC_MPEG2 = 0,
    VIDEO_CODEC_MPEG4 = 1,
    VIDEO_CODEC_H264 = 2,
    VIDEO_CODEC_H265 = 3
} MP4_VIDEOID_E;

/** Audio codecs. Files hold AUDIO_CODEC_AACLC. */
typedef enum tagMp4AudioId { AUDIO_CODEC_MP2 = 0, AUDIO_CODEC_MP3 = 1, AUDIO_CODEC_AACLC = 2 } MP4_AUDIOID_E;

/** What will be recorded. */
typedef struct tagFormatStreamInfo {
    UCHAR ucAudioType;        /**< AAC object type (ISO/IEC 14496-3, table 1.17), 2 for low complexity */
    UCHAR ucFrequencyIndex;   /**< index of the sampling rate (ISO/IEC 14496-3, table 1.18), 0 to 12 */
    UCHAR ucChannelNum;       /**< channel configuration, 1 or 2 */
    ULONG_32 ulPicWidth;      /**< pixels */
    ULONG_32 ulPicHeight;     /**< rows */
    ULONG_32 ulVideoFameRate; /**< frames a second, 0 if unknown */
    ULONG_32 ulSamplesPerSec; /**< Hz, the rate that the index stands for */
    ULONG_32 ulBitsPerSample; /**< 16 */
    ULONG_32 ulChannels;      /**< 1; ucChannelNum counts */
    ULONG_32 ulPlaybackTime;  /**< start: seconds since 1970 or, when that lies ten years ahead, since 1900; 0 is now */
    ULONG_32 ulPlayedTime;    /**< position in a played file, seconds; not looked at */
    BOOL_T bFilePlay;         /**< 1: a played file; ulPlaybackTime counts from 1970 or, below ten years, from today's
                                   local midnight */
    MP4_VIDEOID_E enVideoId;  /**< VIDEO_CODEC_H264 or VIDEO_CODEC_H265 */
    MP4_AUDIOID_E enAudioId;  /**< AUDIO_CODEC_AACLC */
} FORMAT_STREAM_INFO_S;

/** Values of FORMAT_FRAME_INFO_S::ulStreamIndex. */
enum tagMp4StreamIndex { MP4_STREAM_VIDEO = 0, MP4_STREAM_AUDIO = 1 };

/** One frame. The bytes are the caller's and are not kept. */
typedef struct tagFormatFrameInfo {
    ULONG_32 ulStreamIndex; /**< tagMp4StreamIndex */
    UCHAR *pucData;        /**< video: units with start codes of 3 or 4 bytes; audio: one raw AAC frame, no ADTS head */
    ULONG_32 ulDataSize;   /**< bytes, at most MP4_FRAME_SIZE_MAX */
    BOOL_T bKeyFrame;      /**< 1: decoding can start here */
    DLONG dlTimeStamp;     /**< milliseconds from the start */
    ULONG_32 ulFrameRate;  /**< frames a second; how long a frame lasts whose time stamp did not grow. 0 is 25 */
    DLONG dlVideoSequence; /**< count of the video frames; not looked at */
} FORMAT_FRAME_INFO_S;

/** Largest frame that is taken, bytes. */
#define MP4_FRAME_SIZE_MAX 0x2000000

/** Results of mp4_enc_frame(). */
enum tagMp4EncResult {
    MP4_ENC_FAILED = -1,        /**< not written */
    MP4_ENC_OK = 0,             /**< written, or held nothing to write */
    MP4_ENC_INDEX_IN_MEMORY = 1 /**< written; given once a file: from now on the index has outgrown its room in front, a
                                     process that dies loses what follows. The file itself is whole once it is closed */
};

/**
 * Creates a file, or empties an existing one.
 * @param pcPath where
 * @param lFlags not looked at
 * @param lMode  not looked at: the file gets 0666 less the umask
 * @return the file, or 0
 */
ZVMP4_API HANDLE mp4_file_open(const CHAR *pcPath, LONG_32 lFlags, LONG_32 lMode);

/**
 * Begins a muxer on an open file. A file that holds samples already, because a muxer before this one failed or was
 * dropped, goes on behind them: nothing recorded is given up, and the start time stays that of the first muxer.
 * @param pstInfo copied
 * @param hFile   the file
 * @return a handle that mp4_enc_close() or plain free() releases; 0: bad argument, no memory, a codec that can't be
 *         written or is not that of the file, a file that is full or closed off, write failure
 */
ZVMP4_API HANDLE mp4_enc_init(const FORMAT_STREAM_INFO_S *pstInfo, HANDLE hFile);

/**
 * Appends one frame by one write. Video starts with a key frame; what comes before is left out. A frame that continues
 * the picture of the frame before (a further slice with the same time stamp) becomes part of its sample.
 * @return MP4_ENC_FAILED, with everything before this frame safe and indexed in the file: bad argument, no memory,
 * write failure, or the file has reached 4 GiB and was closed off; errno then tells why a write failed, 0 if none did.
 * Else MP4_ENC_OK or MP4_ENC_INDEX_IN_MEMORY
 */
ZVMP4_API LONG_32 mp4_enc_frame(HANDLE hMuxer, const FORMAT_FRAME_INFO_S *pstFrame);

/**
 * Finishes the file's structure and releases the handle. The index goes into its room in front, or behind the data.
 * @return 0, or -1 for a handle that is none or when that could not be written
 */
ZVMP4_API LONG_32 mp4_enc_close(HANDLE hMuxer);

/** Closes a file; one whose muxer was dropped is finished first. @return 0, or -1 for a handle that is none */
ZVMP4_API LONG_32 mp4_file_close(HANDLE hFile);

#ifdef __cplusplus
}
#endif

#endif
