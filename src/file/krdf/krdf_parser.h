/**
 * @file krdf_parser.h
 * @brief Reads the private record format KRDF: opens a record, walks it group by group, jumps by time, steps over
 * damage and gives one data packet at a time. module_krdf.h makes frames of those.
 *
 * A record is a file of disk blocks. All numbers are little-endian, and bit-fields begin with the lowest bit of their
 * word; places are relative to the record's base but for the super data.
 *
 *     0 (absolute)                         144 bytes    super data; its first word is KRDF_MAGIC
 *     0x4000                               16 bytes     main index info: number of entries plus 1, and 12 bytes more
 *     0x4010                               8 an entry   main index: when each unit of 256 MiB begins
 *     0x14000 + (n - 1) * 256 MiB          16 bytes     sub index info of unit n: a word, number of entries plus 1
 *     behind that                          16 an entry  sub index: when each group begins, where, how many blocks
 *     that info + offset * 16 KiB                       a group: block info of 8 bytes, then packets
 *
 * A group begins with a key frame. The places of units are worked out in 32 bits, so from the 17th on they wrap.
 *
 * A parser belongs to one thread at a time; Krdf_getCurPlayTime() alone may be called from others meanwhile. Functions
 * return 0 or a code of player_public.h, PLAYER_ERR_PARAM (2) for null and PLAYER_ERR_KRDF_NOT_OPEN (273) without a
 * file.
 */
#ifndef ZELVANE_FILE_KRDF_KRDF_PARSER_H
#define ZELVANE_FILE_KRDF_KRDF_PARSER_H

#include <stdio.h>

#include "file/krdf/common_datatype.h"

/** Sizes and marks of the format. */
enum : ULONG_32 {
    KRDF_SUPER_DATA_SIZE = 144,
    KRDF_MAGIC = 0x1367,
    KRDF_BLOCK_INFO_MARK = 0x2006,
    KRDF_PACKET_HEAD_MARK = 0x1357,
    KRDF_PACKET_TAIL_MARK = 0x1358,
    KRDF_MAIN_INDEX_POS = 0x4000,       /**< of the main index info */
    KRDF_FIRST_SUB_INDEX_POS = 0x14000, /**< of the first unit's sub index info */
    KRDF_UNIT_SHIFT = 28,               /**< a unit has 256 MiB */
    KRDF_INDEX_INFO_SIZE = 16,
    KRDF_MAIN_ENTRY_SIZE = 8,
    KRDF_SUB_ENTRY_SIZE = 16,
    KRDF_BLOCK_SIZE = 16384,
    KRDF_BLOCK_INFO_SIZE = 8,
    KRDF_PACKET_HEAD_SIZE = 24,
    KRDF_PACKET_OUT_HEAD_SIZE = 20, /**< of a head as it is handed out: without its mark */
    KRDF_PACKET_TAIL_SIZE = 4,
    KRDF_MAX_PAYLOAD = 1500,      /**< a packet's payload is shorter */
    KRDF_MAX_MAIN_ENTRIES = 8190, /**< as many as stand in front of the first sub index */
    KRDF_MAX_SUB_ENTRIES = 16384  /**< as many as there are block offsets */
};

/** A time as it stands in a record: 8 bytes. Fields may be out of range. */
typedef struct tagTimeStamp {
    ULONG_32 ulYear;   /**< full, 12 bits */
    ULONG_32 ulMonth;  /**< from 1, 4 bits */
    ULONG_32 ulDay;    /**< 5 bits */
    ULONG_32 ulHour;   /**< 5 bits */
    ULONG_32 ulMinute; /**< 6 bits */
    ULONG_32 ulSecond; /**< 6 bits */
} TIME_STAMP_S;

/** A sub index entry: 16 bytes. */
typedef struct tagSubIndex {
    TIME_STAMP_S stTime;    /**< when the group begins */
    ULONG_32 ulBlockNum;    /**< blocks that the group has at most, 10 bits */
    ULONG_32 ulBlockOffset; /**< blocks from the unit's sub index info to the group, 14 bits */
} SUB_INDEX_S;

/** A packet's head: 24 bytes. */
typedef struct tagBlockDataHead {
    ULONG_32 ulPacketHead;                   /**< KRDF_PACKET_HEAD_MARK, or it is damaged */
    ULONG_32 ulType;                         /**< 0 video, 1 audio */
    ULONG_32 ulEndOfFrame;                   /**< 1 for the last packet of a frame */
    ULONG_32 ulVideoFrameRate;               /**< frames a second, 5 bits */
    ULONG_32 usStreamType;                   /**< coding */
    ULONG_32 usLength;                       /**< payload bytes */
    UCHAR aucOut[KRDF_PACKET_OUT_HEAD_SIZE]; /**< the head from its time on, as it is handed out */
} BLOCK_DATAHEAD_S;

/** One packet for the caller. */
typedef struct tagPacketData {
    BOOL_T bAssemble; /**< unused, as all fields without a word */
    ULONG_32 ulGOPNumber;
    DLONG dlTimeStamp;
    PACKET_TYPE_E enPacketType;
    VIDEO_AUDIO_E enVideoAudio; /**< set when a damaged head was met: what that head said */
    ULONG_32 ulLength;          /**< in: size of pcData; out: bytes in it */
    UCHAR *pcData;              /**< the caller's; 8 bytes of time, 12 of R7K_DATAHEAD_S, then the payload */
    DLONG dlRecvTimeStamp;
} PACKET_DATA_S;

/** How frames are put together; module_krdf.h works on it. */
typedef struct tagPacketInfo {
    UCHAR ucflagPktCnt;       /**< a video packet was taken */
    UCHAR ucPreFrameEnd;      /**< the last video packet ended a frame */
    ULONG_32 ulPreFrameCnt;   /**< highest frame number so far */
    ULONG_32 ulPrePackCnt;    /**< packet number of the last video packet */
    UCHAR *pucFrameStreamBuf; /**< the caller's buffer of VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulCurFrameLen;   /**< bytes of the frame gathered so far */
    ULONG_32 ulCurAudioLen;   /**< the same of sound */
    BOOL_T bFrameDisorder;    /**< cleared where a key frame begins */
    ULONG_32 ulDspRecvPacketsNum;
    ULONG_32 ulNetLostPacketsNum;
    ULONG_32 ulLostFrmCnt;
    ULONG_32 ulAllFrmCnt;
    ULONG_32 ulVideoFrmCnt;
    ULONG_32 ulAudioFrmCnt;
    DULONG dulVideoTimeStamp;    /**< of the last video frame, 90 kHz */
    DULONG dulAudioTimeStamp;    /**< of the last sound: that of the video before it, plus milliseconds of sound */
    ULONG_32 ulAudioPacketSeq;   /**< audio packets since the last video frame */
    BOOL_T bHaveVideoFrame;      /**< sound before the first video frame is dropped */
    ULONG_32 ulPreFrameCntBase;  /**< first frame number of the record */
    BOOL_T bPreFrameCntBaseFlag; /**< that is known */
    ULONG_32 ulPreFrameResetCnt; /**< how often the frame number fell */
    ULONG_32 ulFrameRate;        /**< of the last video frame's head */
    ULONG_32 ulAudioType;        /**< of the last audio head */
    ULONG_32 enFrameType;        /**< R7K_FRAMETYPE_E of the last video head */
    ULONG_32 ulSamplePerSecond;
    BOOL_T bFrameHaveEnd;      /**< a frame is complete */
    BOOL_T bVideoOrAudioFrame; /**< which: 1 video, 0 audio */
    USHORT usStreamType;       /**< of the finished frame */
} PACKET_INFO_S;

/** A part of the file in memory. */
typedef struct tagKrdfWindow {
    UCHAR *pucData;
    ULONG_32 ulSize; /**< room */
    ULONG_32 ulLen;  /**< bytes in it */
    DULONG dulPos;   /**< where they stand in the file */
} KRDF_WINDOW_S;

/** A record being read. */
typedef struct tagKrdfParser {
    FILE *hFile;            /**< its own; read by its descriptor alone */
    BOOL_T bReadPacketHead; /**< the current packet's head is read already */
    MODULE_STATE_E enSourceState;
    FILE_READ_UNIT_E enFileReadUnit;
    BOOL_T bReadForward;         /**< which way to go from group to group; always 1 */
    ULONG_32 ulMainIndexNum;     /**< current unit, from 1 */
    ULONG_32 ulMaxMainIndexNum;  /**< last usable one */
    DULONG ulMainIndexPos;       /**< where its entry stands */
    ULONG_32 ulCurSubIndexNum;   /**< current sub index entry, from 1 */
    ULONG_32 ulMaxSubIndexNum;   /**< last usable one */
    DULONG ulSubIndexPos;        /**< where the current one stands */
    DULONG ulSubIndexBegin;      /**< where the unit's sub index info stands */
    ULONG_32 ulFrameseq;         /**< video frames that ended in this group */
    ULONG_32 ulFrameRate;        /**< of the group's first packet; 25 if that says 0 */
    ULONG_32 ulGOPDataLen;       /**< bytes of the group */
    ULONG_32 ulGOPMaxDataLen;    /**< bytes of its blocks */
    ULONG_32 ulReadDataLenInGOP; /**< bytes read in it */
    DULONG ulFileReadPos;        /**< where the next read begins */
    DULONG ulFileInitPos;        /**< the record's base in the file */
    VIDEO_CODEC_E enVideoCodec;
    AUDIO_CODEC_E enAudioCodec;
    ZARDO_DATE_TIME_S stBeginTime;
    ZARDO_DATE_TIME_S stPreTime; /**< of the group before */
    ZARDO_DATE_TIME_S stCurTime; /**< of the current group; written under oMutexSourceControl */
    ZARDO_DATE_TIME_S stEndTime; /**< of the last group */
    ZARDO_TIME_S stTotalTime;    /**< from the first group's begin to the last one's */
    ULONG_32 ulTimeOfOneGop;     /**< unused */
    DLONG dlOverTime;            /**< -1; -2 refuses reads */
    CHAR strLocalFilePath[256];
    BLOCK_DATAHEAD_S stBlockDataHead; /**< of the current packet */
    BOOL_T bHaveReadEnd;              /**< the end was reached */
    ULONG_32 ulJumpFrameCount;        /**< 0 */
    ULONG_32 ulJumpFrameAmount;       /**< 1; 3 in a record that carries RTP */
    QLOM_SDK_MUTEX_S oMutexSourceControl;
    BOOL_T bHaveJump;          /**< a jump is pending */
    ZARDO_TIME_S stJumpTime;   /**< to so many seconds from the start */
    BOOL_T bFrameGopDestroyed; /**< the current group is damaged: its rest is stepped over */
    BOOL_T bRtpSSRCInit;       /**< ulRtpSSRC holds one */
    BOOL_T bRtpExist;          /**< two payloads in a row were RTP of one source */
    ULONG_32 ulRtpSSRC;
    BOOL_T bOnlyVideo; /**< the reader wants no sound */
    PACKET_INFO_S pstPacketInfo;

    KRDF_WINDOW_S stIndexWindow; /**< of the indexes */
    KRDF_WINDOW_S stDataWindow;  /**< of the groups */
    LONG_32 lPlayTime;           /**< stCurTime less stBeginTime, for this thread: once a group, not once a frame */
    DULONG dulReadBytes;         /**< what reading has cost so far: bytes, and a block for each group entered */
    DULONG dulScanEnd;           /**< up to where of that a scan for key and SP frames may read */
    BOOL_T bFrameBroken;         /**< the last read of the frame before failed */
    BOOL_T bQuiet;               /**< a search logs every 1000th group only */
} KRDF_PARSER_S;

extern "C" {

/* ---- life ------------------------------------------------------------------------------------------------------ */

/**
 * Makes a parser; the file is opened later.
 * @param pcFileName path; cut to 255 characters
 * @param dulInitPos where the record begins in the file
 * @return the parser, for Krdf_DestroyParser(); null for null, or without memory
 */
MODULE_API KRDF_PARSER_S *Krdf_CreateParser(const CHAR *pcFileName, DULONG dulInitPos);

/** Closes and releases; null is fine. */
MODULE_API void Krdf_DestroyParser(KRDF_PARSER_S *pstKrdfParser);

/**
 * Opens the file, reads the time span and loads the first usable group. A file that is open is closed first.
 * @return 0; PLAYER_ERR_FILE_OPEN; PLAYER_ERR_KRDF_INDEX for a bad index or no total time; PLAYER_ERR_FILE_READ
 */
MODULE_API ULONG_32 Krdf_openDestSource(KRDF_PARSER_S *pstKrdfParser);

/** Closes the file and forgets all of it, path and run state included: it can't be opened again. */
MODULE_API ULONG_32 Krdf_closeFile(KRDF_PARSER_S *pstKrdfParser);

/* ---- what is known --------------------------------------------------------------------------------------------- */

/** Reads how many units there are and when the first begins. 0, PLAYER_ERR_FILE_READ or PLAYER_ERR_KRDF_INDEX. */
MODULE_API ULONG_32 Krdf_getFileBeginTime(KRDF_PARSER_S *pstKrdfParser);

/** Reads when the last group of the last unit begins; codes as above, and PLAYER_ERR_KRDF_SEEK. */
MODULE_API ULONG_32 Krdf_getFileEndTime(KRDF_PARSER_S *pstKrdfParser);

/**
 * When the current group begins, in seconds from the start. Any thread. Without a file the time is set as well.
 */
MODULE_API ULONG_32 Krdf_getCurPlayTime(KRDF_PARSER_S *pstKrdfParser, ULONG_32 *pulPlayTime);

/** Seconds from the begin of the first group to that of the last; 0 for null, as the following. */
MODULE_API ULONG_32 Krdf_getTotalTime(const KRDF_PARSER_S *pstKrdfParser);
/** VIDEO_CODEC_UNKNOW for null. */
MODULE_API VIDEO_CODEC_E Krdf_getVideoCodecType(const KRDF_PARSER_S *pstKrdfParser);
/** AUDIO_CODEC_NONE for null. The value is a guess: G.711 mu-law, whatever the packets hold. */
MODULE_API AUDIO_CODEC_E Krdf_getAudioCodecType(const KRDF_PARSER_S *pstKrdfParser);
/** Frames a second of the current group. */
MODULE_API ULONG_32 Krdf_getFrameRate(const KRDF_PARSER_S *pstKrdfParser);
/** 1 once the end was reached. */
MODULE_API BOOL_T Krdf_getReadFileEndState(const KRDF_PARSER_S *pstKrdfParser);
/** Always 0. */
MODULE_API BOOL_T Krdf_getReadFileBeginState(const KRDF_PARSER_S *pstKrdfParser);

/** Sets enFileReadUnit. */
MODULE_API ULONG_32 Krdf_setReadMode(KRDF_PARSER_S *pstKrdfParser, FILE_READ_UNIT_E enFileReadUnit);

/* ---- packets --------------------------------------------------------------------------------------------------- */

/**
 * Gives the next packet. Damage in a group is no failure: what is left of the group is stepped over by the next read,
 * and a packet behind which the damage begins still comes.
 * @return 0, with ulLength 0 when a group could not be entered; PLAYER_ERR_KRDF_READ_END and
 *         PLAYER_ERR_KRDF_NOT_RUNNING after 30 ms; PLAYER_ERR_FILE_READ also for a jump that failed, which stays
 *         pending; PLAYER_ERR_MALLOC for a payload larger than the buffer; PLAYER_ERR_KRDF_OVER_TIME
 */
MODULE_API ULONG_32 Krdf_readDataPacket(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket);

/** Looks whether a record's payloads are RTP packets: two of one source in a row set bRtpExist. Returns 0. */
MODULE_API ULONG_32 Krdf_checkIfRtpExist(KRDF_PARSER_S *pstKrdfParser, const UCHAR *pucPayload, ULONG_32 ulLength);

/* ---- groups ---------------------------------------------------------------------------------------------------- */

/** Loads the group of the sub index entry at ulSubIndexPos. 0; PLAYER_ERR_KRDF_INDEX if it is damaged; _FILE_READ. */
MODULE_API ULONG_32 Krdf_refreshFileInfo(KRDF_PARSER_S *pstKrdfParser);

/**
 * Walks forward to the next group that can be loaded, over 262,144 groups at most.
 * @return 0; PLAYER_ERR_KRDF_INDEX if there is none; PLAYER_ERR_FILE_READ
 */
MODULE_API ULONG_32 Krdf_refreshFileInfo_retry(KRDF_PARSER_S *pstKrdfParser);

/** Next group: Krdf_goAheadIFrame() for direction 1, else Krdf_goBackIFrame(). */
MODULE_API ULONG_32 Krdf_goIFrame(KRDF_PARSER_S *pstKrdfParser, LONG_32 lDirection);

/** Loads the next group. 0; PLAYER_ERR_KRDF_READ_END behind the last one; the code of Krdf_refreshFileInfo(). */
MODULE_API ULONG_32 Krdf_goAheadIFrame(KRDF_PARSER_S *pstKrdfParser);

/** Loads the group before; of an earlier unit the first one. Codes as above. */
MODULE_API ULONG_32 Krdf_goBackIFrame(KRDF_PARSER_S *pstKrdfParser);

/** Notes a jump for the next read, to so many seconds from the start. Returns 0. */
MODULE_API ULONG_32 Krdf_jumpByTime(KRDF_PARSER_S *pstKrdfParser, LONG_32 lSeconds);

/**
 * Jumps to the group that begins at a time or last before it.
 * @return 0; PLAYER_ERR_PARAM below 0; PLAYER_ERR_KRDF_JUMP_OVER past the total time; the code of
 *         Krdf_refreshFileInfo()
 */
MODULE_API ULONG_32 Krdf_jumpFileByTime(KRDF_PARSER_S *pstKrdfParser, LONG_32 lSeconds);

/* ---- helpers --------------------------------------------------------------------------------------------------- */

/** Seconds since 1970 of a record's local time, under today's daylight saving; -1 for null. */
MODULE_API DLONG Krdf_xpMkTime(const ZARDO_DATE_TIME_S *pstDateTime);

/** The first less the second, seconds. */
MODULE_API DLONG Krdf_compareTime(const ZARDO_DATE_TIME_S *pstFirst, const ZARDO_DATE_TIME_S *pstSecond);

/** Frame rate by its code, 0 to 7; PLAYER_ERR_PARAM for another. */
MODULE_API ULONG_32 Krdf_transferFrameRate(ULONG_32 ulCode, ULONG_32 *pulFrameRate);
}

#endif
