/**
 * @file port_record.h
 * @brief A port's slice of recording and snapshots.
 */
#ifndef ZELVANE_PORT_PORT_RECORD_H
#define ZELVANE_PORT_PORT_RECORD_H

#include "codec/module_code.h"
#include "codec/zvmp4.h"
#include "file/mp4_parse.h"
#include "foundations/player_types.h"
#include "intake/module_rtp.h"
#include "intake/module_ts.h"
#include "queue/module_queue.h"

/** Asynchronous snapshot of a port. */
typedef struct tagPlayerSnatchInfoS {
    CHAR pcFileName[PLAYER_FILE_NAME_LEN]; /**< target */
    ULONG_32 ulPicFormat;                  /**< picture format */
    BOOL_T bSnatchFinish;                  /**< 1 when none is running */
    QLOM_SDK_MUTEX_S stMutex;              /**< one snapshot of a port at a time; taken before a picture's stLock */
} PLAYER_SNATCH_INFO_S;

/** Recording of a port. */
typedef struct tagPortRecordS {
    /* ---- the recording: set by start and stop under the API lock, used by the record thread between */
    BOOL_T bStartRecord;                       /**< the record thread runs while set; a word */
    QLOM_SDK_THREAD_S hRecordThread;           /**< 0 for none */
    PACKET_BUFFER_QUEUE_S stRecordBufferQueue; /**< packets for the record thread; guards itself */
    struct tagPlayerPortS *pstReordPort;       /**< helper port, whose parser the record thread uses */
    ULONG_32 ulMediaFileFormat;                /**< PLAYER_FILE_FORMATE_E */
    CODEC_INFO_S stRecordAudioEncode;          /**< transcoder of sound, encoding side */
    CODEC_INFO_S stRecordAudioDecode;          /**< and decoding side */
    BOOL_T bHaveAudio;                         /**< the transcoder was made */

    /* ---- the file being written: record thread, else start and stop */
    CHAR szFileName[PLAYER_FILE_NAME_LEN];     /**< its name on disk, with ".temp" */
    LONG_32 lClaim;                            /**< descriptor that holds the claim on it, plus 1; 0 for none */
    BOOL_T bClaimMade;                         /**< the claim made the file */
    BOOL_T bDiskFullTold;                      /**< the client knows that this recording's disk is full */
    CHAR szFileNameTemp[PLAYER_FILE_NAME_LEN]; /**< name that the final one is made of */
    FILE *pRecordFile;                         /**< TS file */
    TS_PACKET_DEC_S *pstTsRecordInfo;          /**< TS packer */
    BOOL_T bInitTsRecordInfo;                  /**< the packer knows its streams */
    DLONG dlVideoSequence;                     /**< pictures in an MP4 file */
    HANDLE hAviHandle;                         /**< AVI writer */
    BOOL_T bInitAviRecordInfo;                 /**< it knows its streams */
    HANDLE hMp4File;                           /**< MP4 file */
    HANDLE hMp4Handle;                         /**< its muxer, once it knows its streams */
    FORMAT_STREAM_INFO_S stRecFormat;          /**< what the MP4 file announces */
    RTP_AUDIO_INFO_S stRecAac;                 /**< AAC as the heads of the recording's own frames describe it */
    BOOL_T bRecAacKnown;                       /**< one was read */
    DULONG dulMp4Room;                         /**< bytes that the MP4 file had ahead of its first frame */
    MP4_SPS_PPS_INFO *pstMp4SpsPpsInfo;        /**< parameter sets of the MP4 file's H.264 stream */

    /* ---- rollover: record thread; limits are words of the client's */
    ULONG_32 ulFileCount;           /**< rollovers so far */
    DULONG ulFileMaxSize;           /**< bytes of a record file; 0 for no limit */
    ULONG_32 ulFileMaxTime;         /**< seconds of a record file; 0 for no limit */
    time_t lStartTime;              /**< begin of the file by the wall clock */
    DULONG dulPreTimeStamp;         /**< time stamp of the frame before */
    DULONG dulTotalTimeStamp;       /**< time within the recording */
    ULONG_32 ulRecordFileBeginTime; /**< the stream's time at the file's begin, seconds */
    ULONG_32 ulRecordFileEndTime;   /**< and at its end */
    ULONG_32 ulRecWidth;            /**< what the file's video is like; a change begins a new file */
    ULONG_32 ulRecHeight;
    ULONG_32 ulRecPayload;
    ULONG_32 ulRecFrameRate;
    ULONG_32 ulRecAudioPayload; /**< payload of its sound */
    BOOL_T bRecAudioChange;     /**< the sound's coding changed: the transcoder is to be made anew */

    /* ---- files written: appended under release by the record thread and stop, read by the client */
    PLAYER_RECORD_FILES_NAME_INFO_S *pstRecordFilesName; /**< list with its count */
    PLAYER_RECORD_FILENAME_LIST_S *pstFileNameCurNode;   /**< its last node; writer alone */

    /* ---- snapshots */
    PLAYER_SNATCH_INFO_S stSnatchInfo; /**< under its own mutex */
    QLOM_SDK_THREAD_S hSnatchThread;   /**< thread of the last asynchronous snapshot, 0 for none */
} PORT_RECORD_S;

#endif
