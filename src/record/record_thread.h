/**
 * @file record_thread.h
 * @brief The record thread's steps: packets of the record ring become frames, frames go into the open file.
 *
 * All of this runs on the record thread, which alone uses the record port, the writers and the transcoder of a port
 * while bStartRecord is set. The encoders' callbacks run there too, inside CODE_Encoder().
 */
#ifndef ZELVANE_RECORD_RECORD_THREAD_H
#define ZELVANE_RECORD_RECORD_THREAD_H

#include "codec/zvmp4.h"
#include "file/module_avi.h"
#include "port/player_manager.h"

/** Most bytes of parameter sets that are kept for the next file. */
inline constexpr ULONG_32 RECORD_PARAM_SETS_MAX = 2048;

/** What the thread knows from one frame to the next. All zero but for the port at the start. */
struct RECORD_LOOP_S {
    PLAEYR_PORT_S *pstPort;        /**< the port that is recorded */
    DULONG dulAudioStamp;          /**< what sound that comes next is stamped with: the newest video's time */
    DULONG dulDiffTime;            /**< newest distance of two frames: 90 kHz ticks in TS, else milliseconds */
    DULONG dulAudioBeginTimeStamp; /**< time stamp of the file's first AAC or MP2 frame, in samples */
    BOOL_T bAudioBegun;            /**< that is known */
    BOOL_T bGetFileBeginTime;      /**< ulRecordFileBeginTime was set by a frame */
    BOOL_T bContinues;             /**< the key frame in hand is a further slice of its picture */
    LONG_32 lParamSetsPayload;     /**< what aucParamSets belongs to */
    ULONG_32 ulParamSetsLen;       /**< bytes there */
    UCHAR aucParamSets[RECORD_PARAM_SETS_MAX]; /**< newest parameter sets of the stream, with start codes */
    BOOL_T biPhoneDef;                         /**< AAC is encoded anew; never set in this version */
};

/** AAC sampling frequency indexes in use (ISO/IEC 14496-3, table 1.18). */
inline constexpr ULONG_32 RECORD_AAC_RATES = 12;
/** Hz by index. */
extern const ULONG_32 gaulAACSampleRate[RECORD_AAC_RATES];

extern "C" {

/** The record thread; pParam is the port. */
MODULE_API void *__RecordThreadEntry(void *pParam);

/**
 * Takes one packet: parses it, and records the frame that it completes.
 * @return 0; otherwise the thread has to end: PLAYER_ERR_FAILED (no next file), PLAYER_ERR_DISK_FULL, or the muxer's
 *         code. The client has been told of the first two
 */
MODULE_API ULONG_32 Record_AddPacket(RECORD_LOOP_S *pstLoop, CHAR *pcPacket, ULONG_32 ulPacketLen);

/** Makes the muxer for the key frame in hand. 0, or 1, 2, 7: the recording waits for a key frame again. */
MODULE_API ULONG_32 Player_Mp4EncInit(PLAEYR_PORT_S *pstPort);
/** The same for AVI. */
MODULE_API ULONG_32 Player_AviEncInit(PLAEYR_PORT_S *pstPort);

/** Video codec of a PLAYER_PAYLOAD_E. 0; 1 for a payload that MP4 does not hold; 2 for null. */
MODULE_API ULONG_32 Player_PayloadToMp4Type(LONG_32 lPayload, MP4_VIDEOID_E *penVideoId);
/** Codec of a PLAYER_PAYLOAD_E in AVI; sets the one of its kind. 0; 1 for another payload; 2 for null. */
MODULE_API ULONG_32 Player_PayloadToAviType(LONG_32 lPayload, AVI_VIDEOID_E *penVideoId, AVI_AUDIOID_E *penAudioId);

/** Turns the G.711 or AAC frame in hand into MPEG audio in the TS file. @param dulAudioStamp its time, 90 kHz */
MODULE_API ULONG_32 Port_RecordTSAudio(PLAEYR_PORT_S *pstPort, DULONG dulAudioStamp);

/* Callbacks of the encoders; pUser is the port. */

/** Takes an AAC frame with ADTS head; dlTimeStamp in milliseconds. */
MODULE_API void Player_AacWriteToMp4(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
/** Takes an MP2 frame; its time is that of the newest picture. Nothing uses it in this version. */
MODULE_API void Player_Mp2WriteToMp4(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
/** Takes an MP2 frame; its time is that of the newest picture. */
MODULE_API void Player_Mp2WriteToAvi(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
/** Takes an MP2 frame; dlTimeStamp in 90 kHz ticks. */
MODULE_API void Player_Mp2WriteToTS(UCHAR *pucData, LONG_32 lLen, DLONG dlTimeStamp, void *pUser);
}

#endif
