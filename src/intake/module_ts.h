/**
 * @file module_ts.h
 * @brief MPEG-2 transport streams (ISO/IEC 13818-1) in the dialect of this platform's devices: demux and mux.
 *
 * The dialect: packets of 188 bytes; the transport priority bit marks the last packet of a frame; every packet that
 * carries PES has an adaptation field, so that its payload starts at byte 4 + 5; PAT and PMT fit one packet each and
 * stand ahead of key frames alone. A stream without these habits is read without harm and gives no frames.
 *
 * The module holds no state of its own but the count of a limited log line: each record belongs to the thread that
 * calls with it. Functions that take a record or buffer return PLAYER_ERR_PARAM (2) for a null pointer.
 */
#ifndef ZELVANE_INTAKE_MODULE_TS_H
#define ZELVANE_INTAKE_MODULE_TS_H

#include <stdio.h>

#include "foundations/player_types.h"

/** Sizes of the write side, bytes. */
enum : ULONG_32 {
    /** Room for the packets of one frame: 2 MiB of frame grow by 188/182, and PAT, PMT and the first head come on top.
     */
    TS_PACKET_BUFFER_SIZE = 2200000,
};

/** What a packet carries, found by its PID. */
typedef enum tagTSPacketTypeE {
    TS_PAT = 0,
    TS_PMT = 1,
    TS_PES_VIDEO = 2,
    TS_PES_AUDIO = 3,
    TS_PES_DATA = 4,
    TS_PES_RIGHT_AUDIO = 5,
    TS_PACKET_TYPE_NUM = 6 /**< how many there are; also the type of a packet whose PID nothing announced */
} TS_PACKET_TYPE_E;

/** Continuity of one packet type. */
typedef struct tagTSCCInfoS {
    USHORT usLoseNum;          /**< packets lost so far, modulo 2^16 */
    UCHAR ucCCFlag;            /**< 1: the counter below is the one of the packet before */
    UCHAR ucContinuityCounter; /**< 0 to 15 */
} TS_CC_INFO_S;

/** Receive state of a port. Starts zeroed but for pucFrameData. */
typedef struct tagTSStreamInfoS {
    USHORT usPMTPid;                              /**< from the PAT */
    USHORT usVideoPid;                            /**< from the PMT, as are the three below */
    USHORT usAudioPid;                            /**< left or only track */
    USHORT usDataPid;                             /**< analytics records */
    USHORT usRightAudioPid;                       /**< right track */
    USHORT usReserved;                            /**< unused */
    ULONG_32 ulUpacketContinue;                   /**< 0 after an error or a whole frame, until the next unit start */
    TS_CC_INFO_S astTSCCInfo[TS_PACKET_TYPE_NUM]; /**< by TS_PACKET_TYPE_E */
    ULONG_32 ulTotalLoseNum;                      /**< packets lost over all types */
    ULONG_32 ulVideoType;                         /**< PLAYER_PAYLOAD_E, as are the three below */
    ULONG_32 ulAudioType;                         /**< left or only track */
    ULONG_32 ulRightAudioType;                    /**< right track */
    ULONG_32 ulDataType;                          /**< data */
    UCHAR *pucFrameData;                          /**< caller's buffer of VIDEO_FRAME_BUFFER_SIZE bytes */
    ULONG_32 ulFrameLen;                          /**< bytes of the frame gathered so far */
    LONG_32 lPayload;                             /**< PLAYER_PAYLOAD_E of the finished frame */
    LONG_32 lFrameType;                           /**< video: 0 behind a PAT, else 1; audio 0; right audio 4; data -1 */
    DULONG dulPCR;                                /**< newest PCR base, 90 kHz */
    ULONG_32 ulPlayBackTime;                      /**< newest playback time of the private data */
} TS_STREAM_INFO_S;

/** One parsed packet. */
typedef struct tagTSPacketInfoS {
    UCHAR ucPayLoadUnitStartIndicator; /**< a PES packet or a section starts here */
    UCHAR ucTransportPriority;         /**< last packet of its frame */
    UCHAR ucAdaptationFieldFlag;       /**< the head says that an adaptation field follows */
    UCHAR ucContinuityCounter;         /**< 0 to 15 */
    UCHAR ucAdaptationFieldLen;        /**< byte 4, whatever the flag says */
    UCHAR ucPCRFlag;                   /**< dulPCR is there */
    UCHAR ucOPCRFlag;                  /**< dulOPCR is there */
    UCHAR ucTransportPrivateDataFlag;  /**< private data are there */
    UCHAR ucPesOffset;                 /**< unit start: where the PES head stands; 188 when outside the packet */
    UCHAR ucPtsFlag;                   /**< dulPts is there */
    UCHAR ucDtsFlag;                   /**< dulDts is there */
    UCHAR ucEsOffset;                  /**< where the payload starts; 188 when there is none */
    USHORT usPid;                      /**< 13 bits */
    USHORT usReserved1;                /**< unused */
    TS_PACKET_TYPE_E enType;           /**< by the PID */
    ULONG_32 ulReserved2;              /**< unused */
    DULONG dulPCR;                     /**< base, 90 kHz */
    DULONG dulOPCR;                    /**< base, 90 kHz */
    DULONG dulPts;                     /**< 90 kHz */
    DULONG dulDts;                     /**< 90 kHz */
} TS_PACKET_INFO_S;

/** Write state of one recording. Zeroed, then the three types, then TS_CreatePAT() and TS_CreatePMT(). */
typedef struct tagRecordInfoS {
    LONG_32 lVideoType;                       /**< PLAYER_PAYLOAD_E; 9 for none */
    LONG_32 lAudioTyp;                        /**< PLAYER_PAYLOAD_E; 9 for none */
    LONG_32 lElemType;                        /**< PLAYER_PAYLOAD_E of the data stream; 9 for none */
    UCHAR ucPatCC;                            /**< counter of the next PAT, as the four below */
    UCHAR ucPmtCC;                            /**< PMT */
    UCHAR ucVideocc;                          /**< video */
    UCHAR ucAudiocc;                          /**< audio */
    UCHAR ucElemcc;                           /**< data */
    UCHAR ucReserved;                         /**< unused */
    ULONG_32 ulPasCrc;                        /**< CRC of the PAT */
    ULONG_32 ulPmsCrc;                        /**< CRC of the PMT */
    CHAR szPatBuffer[TS_PACKET_SIZE];         /**< PAT packet, but for its counter */
    CHAR szPmtBuffer[TS_PACKET_SIZE];         /**< PMT packet, but for its counter */
    CHAR szPacketBuff[TS_PACKET_BUFFER_SIZE]; /**< packets of the frame at hand */
    ULONG_32 ulPacketDataLen;   /**< bytes of szPacketBuff in use; the caller clears it after each frame */
    ULONG_32 ulEsPacketDataLen; /**< bytes of the frame packed; the caller clears it after each frame */
    DULONG dulAudioTimestamp;   /**< for the caller's use */
    ULONG_32 ulJpegPSIcount;    /**< calls since the recording began, JPEG streams */
    ULONG_32 ulAudioPSIcount;   /**< audio frames since the recording began, streams without video */
    ULONG_32 ulVideoPCR;        /**< half the newest video timestamp: the clock of all streams */
} TS_PACKET_DEC_S;

/** A frame to be packed. */
typedef struct tagTsFrameDataS {
    UCHAR *pucData;              /**< frame */
    LONG_32 lDataLen;            /**< its bytes */
    ULONG_32 ulMallocLen;        /**< for the caller's use */
    LONG_32 lPayload;            /**< PLAYER_PAYLOAD_E below 9 */
    LONG_32 lFormatType;         /**< video: 0 is a key frame */
    DULONG dulTimestamp;         /**< 90 kHz */
    UCHAR *pucPrivateData;       /**< for the caller's use, as the two below */
    ULONG_32 ulPrivateDataLen;   /**< bytes */
    ULONG_32 ulMallocPrivateLen; /**< bytes */
} TS_FRAMEDATA_S;

extern "C" {

/**
 * Demultiplexes a block of packets. One frame may come in many blocks; a block must not hold two frames.
 *
 * @param pcRecvDataAddr block; a rest behind the last whole 188 bytes is ignored
 * @param ulRecvDataLen its bytes
 * @param pstStream receive state; pucFrameData receives the frame
 * @return 0: the block ended a frame, whose payload, type, length and time stand in the record;
 *         PLAYER_ERR_NEED_MORE_DATA (526): the frame goes on, or the block has no whole packet;
 *         PLAYER_ERR_PACKET_LOST (525): loss, damage, or a frame above VIDEO_FRAME_BUFFER_SIZE: dropped up to the next
 *         unit start; PLAYER_ERR_UNKNOWN_STREAM (524): a PID that no PMT announced
 */
MODULE_API ULONG_32 TS_Unpack(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, TS_STREAM_INFO_S *pstStream);

/**
 * Reads the head of one packet: PAT and PMT into the stream's record, of others the adaptation field and the PES head.
 *
 * @param pucData packet
 * @param ulLen bytes there, at least 188
 * @param pstPacket receives what the head says
 * @param pstStream receive state
 * @return 0; PLAYER_ERR_PACKET_LOST (525): loss or damage; PLAYER_ERR_UNKNOWN_STREAM (524): a PID that no PMT announced
 */
MODULE_API ULONG_32 TS_ParseTSHeader(const UCHAR *pucData, ULONG_32 ulLen, TS_PACKET_INFO_S *pstPacket,
                                     TS_STREAM_INFO_S *pstStream);

/**
 * Appends the payload of a packet to the stream's frame; PAT and PMT add nothing.
 *
 * @param pucData packet
 * @param ulLen bytes there, at least 188
 * @param pstPacket what TS_ParseTSHeader() made of it
 * @param pstStream pucFrameData holds VIDEO_FRAME_BUFFER_SIZE bytes
 * @return 0; PLAYER_ERR_PACKET_LOST (525): the frame outgrows its buffer and is dropped, or the record fits no packet
 */
MODULE_API ULONG_32 TS_PacketTogether(const UCHAR *pucData, ULONG_32 ulLen, const TS_PACKET_INFO_S *pstPacket,
                                      TS_STREAM_INFO_S *pstStream);

/**
 * Ends a frame: writes lPayload, and lFrameType of sound and data, by the kind of its last packet.
 *
 * @return 0; PLAYER_ERR_UNKNOWN_STREAM (524) for a packet that carries no payload
 */
MODULE_API ULONG_32 TS_GetPayLoadType(const TS_PACKET_INFO_S *pstPacket, TS_STREAM_INFO_S *pstStream);

/** @return 1 if the first byte at pcData is the sync byte, else 0. Reads 1 byte. */
MODULE_API BOOL_T TS_IsTSPacket(CHAR *pcData);

/** @return 1 if the packet at pcData is the last of its frame, else 0. Reads 2 bytes. */
MODULE_API BOOL_T TS_IsTSFrameTail(CHAR *pcData);

/** @return 1 if the packet at pucData has PID 0, else 0. Reads 3 bytes. */
MODULE_API BOOL_T TS_IsPATFrame(const UCHAR *pucData);

/**
 * Reads the PCR base (2.4.3.5) of a packet that starts a unit and has an adaptation field.
 *
 * @param pucData packet of 188 bytes
 * @param usPid in and out: 0 takes the PID of the packet, another value must equal it
 * @param pdulPCR 33-bit base, 90 kHz
 * @return 0; PLAYER_ERR_FAILED (1) when the packet is none of that kind, with nothing written
 */
MODULE_API ULONG_32 TS_GetPCR(const UCHAR *pucData, USHORT *usPid, DULONG *pdulPCR);

/**
 * Finds the first offset with a sync byte there and another one packet on.
 *
 * @param pucData data
 * @param ulMaxLen up to 188: how many offsets to try, the data holding 188 bytes more than that; above 188: bytes of
 *        the data, and nothing behind them is read
 * @param pulOffset offset found
 * @return 0; PLAYER_ERR_FAILED (1) if there is none
 */
MODULE_API ULONG_32 TS_FindHead(const UCHAR *pucData, ULONG_32 ulMaxLen, ULONG_32 *pulOffset);

/** @return 1 if the file begins with two packets, else 0. The read position is put back. */
MODULE_API BOOL_T TS_IsTSFile(FILE *pFile);

/**
 * Reads the packets of the next frame that the frame control lets through.
 *
 * @param pFile file, read on from its position
 * @param ulFrameCtrl 0: video frames; 4: key frames; 5: key frames and SP frames; others: every frame
 * @param pucTsDataAddr receives the packets; VIDEO_FRAME_BUFFER_SIZE bytes
 * @param pulReadLen bytes stored; 0 after an error
 * @return 0; PLAYER_ERR_FILE_END (263); PLAYER_ERR_FAILED (1) at a packet without sync byte; PLAYER_ERR_FILE_READ (265)
 *         at a cut packet. A frame whose packets outgrow the buffer is passed over.
 */
MODULE_API ULONG_32 TS_GetOneFrameData(FILE *pFile, ULONG_32 ulFrameCtrl, UCHAR *pucTsDataAddr, ULONG_32 *pulReadLen);

/**
 * Finds out what a block carries: reads PAT and PMT on the way and stops at the first packet that is neither.
 *
 * @param pucDataAddr block
 * @param ulLen its bytes
 * @param pstPacket cleared, then unit start, priority, PID and enType of the packet that decided
 * @param pstStream PIDs and types, updated from PAT and PMT
 * @return 0; PLAYER_ERR_UNKNOWN_STREAM (524) for a PID that no PMT announced; PLAYER_ERR_PACKET_LOST (525) for a cut
 * PAT or PMT; PLAYER_ERR_NEED_MORE_DATA (526) if the block has no packet head
 */
MODULE_API ULONG_32 TS_GetTSType(UCHAR *pucDataAddr, ULONG_32 ulLen, TS_PACKET_INFO_S *pstPacket,
                                 TS_STREAM_INFO_S *pstStream);

/**
 * Reads a PAT packet (2.4.4.3): the PID of its first program goes to usPMTPid.
 *
 * @return 0; PLAYER_ERR_PACKET_LOST (525) if ulLen cuts the entry off
 */
MODULE_API ULONG_32 TS_ParsePAT(const UCHAR *pucData, ULONG_32 ulLen, TS_STREAM_INFO_S *pstStream);

/**
 * Reads a PMT packet (2.4.4.8): PIDs and payloads of the streams. Ends at a stream type that the dialect lacks, and at
 * the end of the packet.
 *
 * @return 0; PLAYER_ERR_PACKET_LOST (525) if ulLen cuts the section's head off
 */
MODULE_API ULONG_32 TS_ParsePMT(const UCHAR *pucData, ULONG_32 ulLen, TS_STREAM_INFO_S *pstStream);

/** Builds szPatBuffer and ulPasCrc for the types of the record. @return 0 */
MODULE_API ULONG_32 TS_CreatePAT(TS_PACKET_DEC_S *pstPacketDec);

/** Writes the counter into szPatBuffer and raises it. @return 0 */
MODULE_API ULONG_32 TS_UpdatePAT(TS_PACKET_DEC_S *pstPacketDec);

/** Builds szPmtBuffer and ulPmsCrc for the types of the record. @return 0 */
MODULE_API ULONG_32 TS_CreatePMT(TS_PACKET_DEC_S *pstPacketDec);

/** Writes the counter into szPmtBuffer and raises it. @return 0 */
MODULE_API ULONG_32 TS_UpdatePMT(TS_PACKET_DEC_S *pstPacketDec);

/** @return the CRC of annex A: polynomial 0x04C11DB7, start value all ones, no final inversion. */
MODULE_API ULONG_32 TS_Crc32(UCHAR *pucData, ULONG_32 ulLen);

/**
 * Sets the PID of a frame's stream in the two bytes at pucBuf, which are bytes 1 and 2 of the packet; the three flags
 * above the PID stay.
 *
 * @return 0; PLAYER_ERR_PARAM (2) for a payload that has no stream
 */
MODULE_API ULONG_32 TS_InsertPID(TS_FRAMEDATA_S *pstFrame, UCHAR *pucBuf);

/** Gives half of a 90 kHz time, as the upper 32 bits of a PCR base carry it. @return 0 */
MODULE_API ULONG_32 TS_CreatePCR(DULONG dulTimestamp, ULONG_32 *pulPcrBase);

/**
 * Packs the first packet of a frame behind what szPacketBuff holds, with PAT and PMT ahead where they are due: at key
 * frames; in a JPEG stream at every 25th call; in a stream without video at every 25th audio frame.
 *
 * @return 0: the frame is finished; PLAYER_ERR_PACK_AGAIN (267): TS_PackOtherPacket() is to go on;
 *         PLAYER_ERR_PARAM (2): bad frame, or szPacketBuff is full: nothing more is packed
 */
MODULE_API ULONG_32 TS_PackFirstPacket(TS_FRAMEDATA_S *pstFrame, TS_PACKET_DEC_S *pstPacketDec);

/** Packs one more packet of the frame. @return as TS_PackFirstPacket() */
MODULE_API ULONG_32 TS_PackOtherPacket(TS_FRAMEDATA_S *pstFrame, TS_PACKET_DEC_S *pstPacketDec);

}  // extern "C"

/** TS_GetOneFrameData() that gives PLAYER_ERR_FAILED (1) within a bufferful once the word is 0; null: it never is. */
ULONG_32 TS_GetOneFrameDataWhile(FILE *pFile, ULONG_32 ulFrameCtrl, UCHAR *pucTsDataAddr, ULONG_32 *pulReadLen,
                                 const BOOL_T *pbRun);

#endif
