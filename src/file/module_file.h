/**
 * @file module_file.h
 * @brief One view of a local media file, whatever its container: open, read a frame, move to a time.
 *
 * Behind it stand MP4 (mp4_parse.h), MPEG-TS in the dialect of module_ts.h, that of other makers (foreign_ts.h), AVI
 * (module_avi.h) and KRDF (module_krdf.h). The one parser handle that is set tells the format; with none the file is
 * MPEG-TS in our dialect.
 *
 * A record belongs to one thread at a time. File_GetPlayTime() and File_GetFileTime() may be called from another one
 * while that thread reads. Functions return 0 or an error code of player_public.h, and PLAYER_ERR_PARAM (2) for null.
 */
#ifndef ZELVANE_FILE_MODULE_FILE_H
#define ZELVANE_FILE_MODULE_FILE_H

#include <stdio.h>
#include <sys/time.h>

#include "foundations/player_types.h"
#include "intake/module_ts.h"

/** What the play thread is to do, and what it asks of a parser. */
typedef enum tagFileFrameCtrlTypeE {
    FRAME_CTRL_PAUSE = 0,          /**< paused */
    FRAME_CTRL_PLAY = 1,           /**< every frame */
    FRAME_CTRL_AFRAME_GO = 2,      /**< one step forward */
    FRAME_CTRL_AFRAME_BACK = 3,    /**< one step back */
    FRAME_CTRL_ONLY_I_FRAME = 4,   /**< key frames only */
    FRAME_CTRL_ONLY_I_SP_FRAME = 5 /**< key frames and marked P frames */
} FILE_FRAME_CTRL_TYPE_E;

/** A file being played. The one parser handle that is set tells the format; none means MPEG-TS. */
typedef struct tagFileInfoS {
    FILE *pFile;                     /**< the file */
    DULONG dulFirstTime;             /**< TS: first PCR, 90 kHz ticks; otherwise 0 */
    ULONG_32 ulLastTime;             /**< play time, seconds */
    USHORT usPid;                    /**< TS: PID that carries the PCR */
    DULONG dulFileSize;              /**< TS: file length; KRDF: length of the region played */
    LONG_32 lFrameRate;              /**< frames a second */
    HANDLE hMp4Parser;               /**< or null */
    HANDLE hAviParser;               /**< or null */
    HANDLE hKrdfParser;              /**< or null */
    UCHAR *pucFrameDataAddr;         /**< frame buffer, VIDEO_FRAME_BUFFER_SIZE */
    ULONG_32 ulReadLen;              /**< TS: bytes of the last raw frame */
    UCHAR *pucTsDataAddr;            /**< TS: packets of one frame, VIDEO_FRAME_BUFFER_SIZE */
    TS_STREAM_INFO_S stTsStreamInfo; /**< TS demux state */
    ULONG_32 ulFrameTotalSize;       /**< statistics */
    ULONG_32 ulLastFrameTotalSize;
    ULONG_32 ulFrameCount;
    ULONG_32 ulPreIFrameTime;  /**< timestamp of the key frame shown before, all ones for none */
    FLOAT fIFrameIntervalTime; /**< milliseconds between two key frames */
    BOOL_T bUcodeFile;         /**< key-frame play takes marked P frames too */
    DULONG dulFileStartPos;    /**< region of a record inside a larger file; both 0 for a whole file */
    DULONG dulFileEndPos;
    struct timeval tiProTime; /**< when the last paced frame went; the second field holds milliseconds */

    HANDLE hForeignTsParser; /**< MPEG-TS of other makers, or null */

    CHAR *pcStreamBuffer; /**< buffer of pFile, released after it */
    const BOOL_T *pbRun;  /**< searches through the file end when this becomes 0; null: they run on */
} FILE_INFO_S;

/** What one read of a file gives. */
typedef struct tagFileFrameInfoS {
    UCHAR ucAudioType;      /**< MP4 with AAC only: index of the sampling rate */
    UCHAR ucFrequencyIndex; /**< MP4 with AAC only: audio object type */
    UCHAR ucChannelNum;     /**< MP4 with AAC only: channel configuration */
    UCHAR *pucBuffer;       /**< the frame, in the file record's frame buffer until the next read */
    ULONG_32 ulBufferLen;   /**< its bytes */
    LONG_32 lPayload;       /**< PLAYER_PAYLOAD_E */
    LONG_32 lFormatType;    /**< as PLAYER_FRAMEDATA_S */
    DULONG dulTimestamp;    /**< 90 kHz ticks */
} FILE_FRAME_INFO_S;

/** Which way File_GetPCR() goes. */
enum : ULONG_32 { FILE_PCR_FORWARD = 0, FILE_PCR_BACKWARD = 1 };

/** The one kind of recording that File_CreatePacketDec() and File_PacketData() mux: MPEG-TS. */
enum : ULONG_32 { FILE_PACKET_TYPE_TS = 1 };

extern "C" {

/* ---- open and release ------------------------------------------------------------------------------------------ */

/**
 * Opens a file for reading. A named pipe is refused: it can't be moved in, and to open it waits for a writer that may
 * never come.
 * @param pulError receives the code, and 0 with a file
 * @return the file, or null
 */
FILE *File_OpenForReading(const CHAR *pcFileName, ULONG_32 *pulError);

/**
 * Opens a file, finds out what it is (MP4, then TS, AVI, KRDF, and at last TS that does not begin with a packet), makes its parser and fills in the properties.
 * @param pcFileName  path
 * @param pstFileInfo zeroed record, but for dulFileStartPos and dulFileEndPos, and for ulPreIFrameTime and
 *                    fIFrameIntervalTime, which stay
 * @return 0; PLAYER_ERR_FILE_OPEN; PLAYER_ERR_MALLOC; PLAYER_ERR_NOT_SUPPORT for a file of no known kind, or of one
 *         without a parser; PLAYER_ERR_PARAM for a damaged MP4 file; the code of File_GetFileProperty(). On failure
 *         nothing is left open
 */
MODULE_API ULONG_32 File_CreateFileParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo);

/** Releases all and zeroes the record. An AVI parser is the caller's to close before that. */
MODULE_API ULONG_32 File_ReleaseFileParser(FILE_INFO_S *pstFileInfo);

/**
 * Opens a file that is known to be MPEG-TS, without frame buffers: for callers that read packets themselves. The record
 * is zeroed first.
 * @return 0; PLAYER_ERR_FILE_OPEN; the code of File_GetFileProperty()
 */
MODULE_API ULONG_32 File_CreateTsParser(const CHAR *pcFileName, FILE_INFO_S *pstFileInfo);

/** Counterpart of File_CreateTsParser(). */
MODULE_API ULONG_32 File_ReleaseTsParser(FILE_INFO_S *pstFileInfo);

/** Fills in total time, frame rate, first time and size, and measures the distance of key frames; rewinds. */
MODULE_API ULONG_32 File_GetFileProperty(FILE_INFO_S *pstFileInfo);

/* ---- frames and times ------------------------------------------------------------------------------------------ */

/** What a parser is asked for under a frame control value: MP4_FRAME_GET_TYPE_E and its like. */
MODULE_API ULONG_32 File_FileCtrlToMp4Ctrl(ULONG_32 ulFrameCtrl);
MODULE_API ULONG_32 File_FileCtrlToAviCtrl(ULONG_32 ulFrameCtrl);
MODULE_API ULONG_32 File_FileCtrlToKrdfCtrl(ULONG_32 ulFrameCtrl);

/**
 * Reads the next frame that the control value lets through.
 * @param pstFrame    result
 * @param ulFrameCtrl FILE_FRAME_CTRL_TYPE_E
 * @return 0; PLAYER_ERR_FILE_END at the end; otherwise what the parser said
 */
MODULE_API ULONG_32 File_ReadOneFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl);

/**
 * Moves to the key frame behind a time.
 * @param ulSeconds  since the start; MPEG-TS: at or past the total time nothing moves, with success
 * @param lFrameRate frames a second, where time is counted in frames; outside 1 to 60 it counts as 25
 * @return 0; 1 when an MP4 or AVI file has no such frame; PLAYER_ERR_FILE_READ
 */
MODULE_API ULONG_32 File_SetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32 lFrameRate);

/** Gives the time of the frame read last, seconds since the start. */
MODULE_API ULONG_32 File_GetPlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime);

/** Gives the total time, seconds. */
MODULE_API ULONG_32 File_GetFileTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulFileTime);

/** Measures fIFrameIntervalTime on the first two key or SP frames and rewinds; without two of them it stays. */
MODULE_API ULONG_32 File_GetIFrameIntervalTime(FILE_INFO_S *pstFileInfo);

/* ---- MPEG-TS --------------------------------------------------------------------------------------------------- */

/**
 * Finds the next packet with a PCR.
 * @param ulDirection FILE_PCR_FORWARD from the position; FILE_PCR_BACKWARD from the end, in steps of a packet
 * @param pusPid      in and out: 0 takes the PID found, another value must be equal to it
 * @param pdulPCR     90 kHz
 * @return 0, the position being behind the packet (backward: anywhere); PLAYER_ERR_FILE_READ at either end of the file
 *         and at what is no packet
 */
MODULE_API ULONG_32 File_GetPCR(FILE *pFile, ULONG_32 ulDirection, USHORT *pusPid, DULONG *pdulPCR);

/**
 * Halves a range until the PCR found is above the target by two seconds at most, or after 999 steps.
 * @param ulDepth    step to begin with, 1
 * @param dulLow     range, bytes
 * @param pucScratch room for two packets
 * @param dulTarget  90 kHz
 * @param pdulOffset packet that carries the PCR found last
 * @return 0; PLAYER_ERR_FILE_READ; PLAYER_ERR_FAILED when no packet begins at the middle
 */
MODULE_API ULONG_32 File_DivToFindPCR(FILE_INFO_S *pstFileInfo, ULONG_32 ulDepth, DULONG dulLow, DULONG dulHigh,
                                      UCHAR *pucScratch, DULONG dulTarget, DULONG *pdulOffset);

/** Moves to the first PAT behind the place that File_DivToFindPCR() gives. If that gives none, nothing moves. */
MODULE_API ULONG_32 File_GetFileOffset(FILE_INFO_S *pstFileInfo, DULONG dulTarget);

/**
 * Reads packets up to the one that ends a frame.
 * @param pulLen in: room; out: bytes stored
 * @return 0; PLAYER_ERR_FILE_READ
 */
MODULE_API ULONG_32 File_ReadTSPacket(FILE *pFile, UCHAR *pucBuffer, ULONG_32 *pulLen);

/**
 * Whether a file is MPEG-TS of another maker: it begins with a packet, as our own files do, but no packet of its head
 * ends a frame by the transport priority bit, or a unit starts where ours never do; and its tables name a stream that
 * can be played. The read position is put back.
 */
MODULE_API BOOL_T File_IsForeignTs(FILE *pFile);

/** Whether a file that does not begin with a packet is MPEG-TS: cut somewhere, or with time stamps between packets. */
MODULE_API BOOL_T File_IsCutTs(FILE *pFile);

/* ---- muxing, for recordings ------------------------------------------------------------------------------------ */

/** Prepares a recording of type FILE_PACKET_TYPE_TS with these payloads; nothing for another type. */
MODULE_API ULONG_32 File_CreatePacketDec(ULONG_32 ulType, LONG_32 lVideoType, LONG_32 lAudioType,
                                         TS_PACKET_DEC_S *pstRecordInfo);

/** Does nothing: the record holds nothing to release. */
MODULE_API ULONG_32 File_DestoryPacketDec(TS_PACKET_DEC_S *pstRecordInfo);

/**
 * Muxes one frame. G.711 and AAC are announced as MPEG audio: the recorder has turned them into that.
 * @param pstFrame frame; its payload is changed accordingly
 * @param ppucData packets, inside the record, valid until the next call
 * @param pulLen   bytes
 */
MODULE_API ULONG_32 File_PacketData(TS_PACKET_DEC_S *pstRecordInfo, TS_FRAMEDATA_S *pstFrame, ULONG_32 ulType,
                                    UCHAR **ppucData, ULONG_32 *pulLen);

/** 0 becomes the present time in whole thousands of seconds; another value grows by 3600. */
MODULE_API ULONG_32 File_GetBaseTimestamp(DULONG *pdulValue);

}  // extern "C"

#endif
