/**
 * @file module_ts.cpp
 * @brief The demux. The mux is ts_pack.cpp, the reading of files ts_file.cpp.
 *
 * The receive path looks at six bytes of a packet and copies its payload once. Every offset inside a packet is kept in
 * an unsigned int and compared with 188 before it is used, so a packet is never read past its end.
 */
#include "intake/module_ts.h"

#include <atomic>
#include <cstring>

#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

constexpr UCHAR SYNC_BYTE = 0x47;
constexpr unsigned PAT_PROGRAM_OFFSET = 13;     // program number, then PMT PID
constexpr unsigned PAT_LEN = 17;                // head, pointer field, section up to the first program
constexpr unsigned PMT_LOOP_OFFSET = 17;        // head, pointer field, section up to the program info
constexpr unsigned PMT_ENTRY_LEN = 5;           // stream type, PID, ES info length
constexpr unsigned PES_HEAD_LEN = 9;            // up to and with the header data length
constexpr unsigned PES_TIME_LEN = 5;            // a PTS or DTS
constexpr ULONG_32 UNKNOWN_PID_LOG_LIMIT = 10;  // lines in the process

/** What a stream type of the PMT stands for. */
struct STREAM_TYPE_ROW {
    UCHAR ucType;
    USHORT TS_STREAM_INFO_S::*pusPid;
    ULONG_32 TS_STREAM_INFO_S::*pulType;
    PLAYER_PAYLOAD_E enPayload;
};

constexpr STREAM_TYPE_ROW STREAM_TYPES[] = {
    {27, &TS_STREAM_INFO_S::usVideoPid, &TS_STREAM_INFO_S::ulVideoType, PLAYER_PAYLOAD_H264},
    {36, &TS_STREAM_INFO_S::usVideoPid, &TS_STREAM_INFO_S::ulVideoType, PLAYER_PAYLOAD_H265},
    {144, &TS_STREAM_INFO_S::usVideoPid, &TS_STREAM_INFO_S::ulVideoType, PLAYER_PAYLOAD_JPEG},
    {128, &TS_STREAM_INFO_S::usAudioPid, &TS_STREAM_INFO_S::ulAudioType, PLAYER_PAYLOAD_G711U},
    {129, &TS_STREAM_INFO_S::usAudioPid, &TS_STREAM_INFO_S::ulAudioType, PLAYER_PAYLOAD_G711A},
    {3, &TS_STREAM_INFO_S::usAudioPid, &TS_STREAM_INFO_S::ulAudioType, PLAYER_PAYLOAD_MP1L2},
    {15, &TS_STREAM_INFO_S::usAudioPid, &TS_STREAM_INFO_S::ulAudioType, PLAYER_PAYLOAD_AAC},
    {134, &TS_STREAM_INFO_S::usAudioPid, &TS_STREAM_INFO_S::ulAudioType, PLAYER_PAYLOAD_PCM},
    {130, &TS_STREAM_INFO_S::usRightAudioPid, &TS_STREAM_INFO_S::ulRightAudioType, PLAYER_PAYLOAD_G711U},
    {131, &TS_STREAM_INFO_S::usRightAudioPid, &TS_STREAM_INFO_S::ulRightAudioType, PLAYER_PAYLOAD_G711A},
    {133, &TS_STREAM_INFO_S::usRightAudioPid, &TS_STREAM_INFO_S::ulRightAudioType, PLAYER_PAYLOAD_AAC},
    {164, &TS_STREAM_INFO_S::usDataPid, &TS_STREAM_INFO_S::ulDataType, PLAYER_PAYLOAD_DATA},
};

std::atomic<ULONG_32> gulUnknownPidCount{0};

inline bool IsUnitStart(const UCHAR *pucData) { return (pucData[1] & 0x40) != 0; }
inline bool HasAdaptationField(const UCHAR *pucData) { return (pucData[3] & 0x20) != 0; }
inline USHORT ReadPid(const UCHAR *pucAt) { return bytes::Be16(pucAt) & 0x1FFF; }
inline unsigned ReadLen12(const UCHAR *pucAt) { return bytes::Be16(pucAt) & 0x0FFFU; }

inline ULONG_32 ReadU32(const UCHAR *pucAt) { return bytes::Be32(pucAt); }

/** The 33-bit base of a clock reference of six bytes. */
inline DULONG ReadClockBase(const UCHAR *pucAt) { return DULONG{ReadU32(pucAt)} << 1 | pucAt[4] >> 7; }

/** A PTS or DTS of five bytes (2.4.3.7). */
DULONG ReadTime(const UCHAR *pucAt) {
    return DULONG{pucAt[0] >> 1 & 0x07U} << 30 | DULONG{pucAt[1]} << 22 | DULONG{pucAt[2] >> 1 & 0x7FU} << 15 |
           DULONG{pucAt[3]} << 7 | pucAt[4] >> 1;
}

/** The field's width wraps at 256, so that what lies outside the packet is held at its end. */
inline UCHAR ClampOffset(unsigned ulOffset) {
    return static_cast<UCHAR>(ulOffset < TS_PACKET_SIZE ? ulOffset : static_cast<unsigned>(TS_PACKET_SIZE));
}

TS_PACKET_TYPE_E FindType(USHORT usPid, const TS_STREAM_INFO_S &stStream) {
    if (usPid == 0) {
        return TS_PAT;
    }
    if (usPid == stStream.usPMTPid) {
        return TS_PMT;
    }
    if (usPid == stStream.usVideoPid) {
        return TS_PES_VIDEO;
    }
    if (usPid == stStream.usAudioPid) {
        return TS_PES_AUDIO;
    }
    if (usPid == stStream.usDataPid) {
        return TS_PES_DATA;
    }
    return usPid == stStream.usRightAudioPid ? TS_PES_RIGHT_AUDIO : TS_PACKET_TYPE_NUM;
}

inline void ReadHead(const UCHAR *pucData, TS_PACKET_INFO_S &stPacket) {
    stPacket.ucPayLoadUnitStartIndicator = IsUnitStart(pucData) ? 1 : 0;
    stPacket.ucTransportPriority = pucData[1] >> 5 & 1;
    stPacket.usPid = ReadPid(pucData + 1);
}

/** Finds the packet's type by its PID; a PAT or PMT is read on the spot. */
ULONG_32 ParseByPid(const UCHAR *pucData, ULONG_32 ulLen, TS_PACKET_INFO_S &stPacket, TS_STREAM_INFO_S &stStream) {
    stPacket.enType = FindType(stPacket.usPid, stStream);
    switch (stPacket.enType) {
        case TS_PAT:
            stStream.lFrameType = PLAYER_VIDEO_FRAME_I;
            return TS_ParsePAT(pucData, ulLen, &stStream);
        case TS_PMT:
            return TS_ParsePMT(pucData, ulLen, &stStream);
        case TS_PES_AUDIO:
            stStream.lFrameType = 0;
            return PLAYER_ERR_OK;
        case TS_PES_RIGHT_AUDIO:
            stStream.lFrameType = 4;
            return PLAYER_ERR_OK;
        case TS_PACKET_TYPE_NUM:
            return PLAYER_ERR_UNKNOWN_STREAM;
        default:
            return PLAYER_ERR_OK;
    }
}

/** A jump of the counter. Sound survives a gap, so an audio packet goes on. */
ULONG_32 CountLoss(ULONG_32 ulLost, TS_PACKET_TYPE_E enType, TS_STREAM_INFO_S &stStream) {
    TS_CC_INFO_S &stCC = stStream.astTSCCInfo[enType];
    stCC.usLoseNum = static_cast<USHORT>(stCC.usLoseNum + ulLost);
    stStream.ulTotalLoseNum += ulLost;
    stCC.ucCCFlag = 0;
    if (enType != TS_PES_AUDIO) {
        return PLAYER_ERR_PACKET_LOST;
    }
    LOG_WARN("Loss of Audio Data");
    return PLAYER_ERR_OK;
}

ULONG_32 CheckContinuity(const UCHAR *pucData, TS_PACKET_INFO_S &stPacket, TS_STREAM_INFO_S &stStream) {
    TS_CC_INFO_S &stCC = stStream.astTSCCInfo[stPacket.enType];
    stPacket.ucContinuityCounter = pucData[3] & 0x0F;
    ULONG_32 ulStep = (stPacket.ucContinuityCounter + 16U - stCC.ucContinuityCounter) % 16;
    if (ulStep != 1 && stCC.ucCCFlag == 1 && stPacket.ucPayLoadUnitStartIndicator == 0) {
        ULONG_32 ulResult = CountLoss((ulStep + 15) % 16, stPacket.enType, stStream);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    stCC.ucContinuityCounter = stPacket.ucContinuityCounter;
    stCC.ucCCFlag = 1;
    return PLAYER_ERR_OK;
}

/** Reads the optional fields of the adaptation field (2.4.3.4): at most 17 bytes from byte 6 on. */
void ParseAdaptationField(const UCHAR *pucData, TS_PACKET_INFO_S &stPacket, TS_STREAM_INFO_S &stStream) {
    stPacket.ucPCRFlag = pucData[5] >> 4 & 1;
    stPacket.ucOPCRFlag = pucData[5] >> 3 & 1;
    stPacket.ucTransportPrivateDataFlag = pucData[5] >> 1 & 1;
    const UCHAR *pucAt = pucData + 6;
    if (stPacket.ucPCRFlag != 0) {
        stPacket.dulPCR = ReadClockBase(pucAt);
        word::Store(stStream.dulPCR, stPacket.dulPCR);
        pucAt += 6;
    }
    if (stPacket.ucOPCRFlag != 0) {
        stPacket.dulOPCR = ReadClockBase(pucAt);
        pucAt += 6;
    }
    if (stPacket.ucTransportPrivateDataFlag != 0 && pucAt[0] == 4) {
        word::Store(stStream.ulPlayBackTime, ReadU32(pucAt + 1));
    }
}

/** Reads the PES head (2.4.3.6) of a packet that starts a unit. */
ULONG_32 ParsePesHead(const UCHAR *pucData, unsigned ulOffset, TS_PACKET_INFO_S &stPacket) {
    stPacket.ucPesOffset = ClampOffset(ulOffset);
    if (ulOffset + PES_HEAD_LEN > TS_PACKET_SIZE) {
        return PLAYER_ERR_PACKET_LOST;
    }
    const UCHAR *pucPes = pucData + ulOffset;
    if (pucPes[0] != 0 || pucPes[1] != 0 || pucPes[2] != 1) {
        return PLAYER_ERR_PACKET_LOST;
    }
    stPacket.ucPtsFlag = pucPes[7] >> 7;
    stPacket.ucDtsFlag = pucPes[7] >> 6 & 1;
    stPacket.ucEsOffset = ClampOffset(ulOffset + PES_HEAD_LEN + pucPes[8]);
    unsigned ulTimes = stPacket.ucDtsFlag != 0 ? 2 : stPacket.ucPtsFlag;
    if (ulOffset + PES_HEAD_LEN + ulTimes * PES_TIME_LEN > TS_PACKET_SIZE) {
        return PLAYER_ERR_PACKET_LOST;
    }
    if (stPacket.ucPtsFlag != 0) {
        stPacket.dulPts = ReadTime(pucPes + PES_HEAD_LEN);
    }
    if (stPacket.ucDtsFlag != 0) {
        stPacket.dulDts = ReadTime(pucPes + PES_HEAD_LEN + PES_TIME_LEN);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 ParseHead(const UCHAR *pucData, TS_PACKET_INFO_S &stPacket, TS_STREAM_INFO_S &stStream) {
    stPacket = {};
    ReadHead(pucData, stPacket);
    ULONG_32 ulResult = ParseByPid(pucData, TS_PACKET_SIZE, stPacket, stStream);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    stPacket.ucAdaptationFieldFlag = HasAdaptationField(pucData) ? 1 : 0;
    ulResult = CheckContinuity(pucData, stPacket, stStream);
    if (ulResult != PLAYER_ERR_OK || stPacket.enType < TS_PES_VIDEO) {
        return ulResult;
    }
    // Byte 4 counts whatever the flag says: a packet with PES always has the field in this dialect.
    stPacket.ucAdaptationFieldLen = pucData[4];
    unsigned ulOffset = pucData[4] + 5U;
    if (stPacket.ucAdaptationFieldFlag != 0) {
        ParseAdaptationField(pucData, stPacket, stStream);
    }
    if (stPacket.ucPayLoadUnitStartIndicator != 0) {
        return ParsePesHead(pucData, ulOffset, stPacket);
    }
    stPacket.ucEsOffset = ClampOffset(ulOffset);
    return PLAYER_ERR_OK;
}

/**
 * Copies less than a packet: 16 bytes at a time, the last ones overlapping. For lengths known to be small compilers put
 * a string instruction in place of memcpy, whose start alone takes longer than this.
 */
inline void CopyPayload(UCHAR *pucTo, const UCHAR *pucFrom, unsigned ulLen) {
    constexpr unsigned ulStep = 16;
    if (ulLen < ulStep) {
        for (unsigned i = 0; i < ulLen; ++i) {
            pucTo[i] = pucFrom[i];
        }
        return;
    }
    for (unsigned i = 0; i + ulStep <= ulLen; i += ulStep) {
        memcpy(pucTo + i, pucFrom + i, ulStep);
    }
    memcpy(pucTo + ulLen - ulStep, pucFrom + ulLen - ulStep, ulStep);
}

/** Appends the payload of a packet to the frame. A frame that never ends must not outgrow the buffer. */
inline ULONG_32 AppendPayload(const UCHAR *pucData, const TS_PACKET_INFO_S &stPacket, TS_STREAM_INFO_S &stStream) {
    if (stPacket.enType < TS_PES_VIDEO) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulLen = TS_PACKET_SIZE - stPacket.ucEsOffset;
    if (stStream.ulFrameLen > VIDEO_FRAME_BUFFER_SIZE || ulLen > VIDEO_FRAME_BUFFER_SIZE - stStream.ulFrameLen) {
        stStream.ulUpacketContinue = 0;
        return PLAYER_ERR_PACKET_LOST;
    }
    CopyPayload(stStream.pucFrameData + stStream.ulFrameLen, pucData + stPacket.ucEsOffset, ulLen);
    stStream.ulFrameLen += ulLen;
    return PLAYER_ERR_OK;
}

/** Ends a frame: what it carries follows from the type of its last packet. */
ULONG_32 EndFrame(TS_PACKET_TYPE_E enType, TS_STREAM_INFO_S &stStream) {
    stStream.ulUpacketContinue = 0;
    switch (enType) {
        case TS_PES_VIDEO:
            stStream.lPayload = static_cast<LONG_32>(stStream.ulVideoType);
            return PLAYER_ERR_OK;
        case TS_PES_AUDIO:
            stStream.lPayload = static_cast<LONG_32>(stStream.ulAudioType);
            stStream.lFrameType = 0;
            return PLAYER_ERR_OK;
        case TS_PES_RIGHT_AUDIO:
            stStream.lPayload = static_cast<LONG_32>(stStream.ulRightAudioType);
            stStream.lFrameType = 4;
            return PLAYER_ERR_OK;
        case TS_PES_DATA:
            stStream.lPayload = static_cast<LONG_32>(stStream.ulDataType);
            stStream.lFrameType = -1;
            return PLAYER_ERR_OK;
        default:
            return PLAYER_ERR_UNKNOWN_STREAM;
    }
}

const STREAM_TYPE_ROW *FindStreamType(UCHAR ucType) {
    for (const STREAM_TYPE_ROW &stRow : STREAM_TYPES) {
        if (stRow.ucType == ucType) {
            return &stRow;
        }
    }
    return nullptr;
}

void LogUnknownPid(USHORT usPid) {
    if (gulUnknownPidCount.load(std::memory_order_relaxed) < UNKNOWN_PID_LOG_LIMIT &&
        gulUnknownPidCount.fetch_add(1, std::memory_order_relaxed) < UNKNOWN_PID_LOG_LIMIT) {
        LOG_WARN("Unknown Elementary_PID:[%d].", static_cast<int>(usPid));
    }
}

}  // namespace

ULONG_32 TS_ParsePAT(const UCHAR *pucData, ULONG_32 ulLen, TS_STREAM_INFO_S *pstStream) {
    if (pucData == nullptr || pstStream == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulLen < PAT_LEN) {
        return PLAYER_ERR_PACKET_LOST;
    }
    const UCHAR *pucProgram = pucData + PAT_PROGRAM_OFFSET;
    if (pucProgram[0] != 0 || pucProgram[1] != 0) {
        pstStream->usPMTPid = ReadPid(pucProgram + 2);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 TS_ParsePMT(const UCHAR *pucData, ULONG_32 ulLen, TS_STREAM_INFO_S *pstStream) {
    if (pucData == nullptr || pstStream == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulLen < PMT_LOOP_OFFSET) {
        return PLAYER_ERR_PACKET_LOST;
    }
    // The section has 3 bytes ahead of its counted ones, and a CRC of 4 behind its entries of at least 5.
    unsigned ulEnd = ReadLen12(pucData + 6) + 2;
    bool bHaveH264 = false;
    unsigned ulAt = PMT_LOOP_OFFSET + ReadLen12(pucData + 15);
    while (ulAt < ulEnd && ulAt + PMT_ENTRY_LEN <= ulLen && ulAt + PMT_ENTRY_LEN <= TS_PACKET_SIZE) {
        const UCHAR *pucEntry = pucData + ulAt;
        USHORT usPid = ReadPid(pucEntry + 1);
        const STREAM_TYPE_ROW *pstRow = FindStreamType(pucEntry[0]);
        if (pstRow == nullptr) {
            LogUnknownPid(usPid);
            break;
        }
        bHaveH264 = bHaveH264 || pstRow->enPayload == PLAYER_PAYLOAD_H264;
        if (pstRow->enPayload != PLAYER_PAYLOAD_JPEG || !bHaveH264) {
            pstStream->*pstRow->pusPid = usPid;
            pstStream->*pstRow->pulType = pstRow->enPayload;
        }
        ulAt += PMT_ENTRY_LEN + ReadLen12(pucEntry + 3);
    }
    return PLAYER_ERR_OK;
}

ULONG_32 TS_Unpack(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, TS_STREAM_INFO_S *pstStream) {
    if (pcRecvDataAddr == nullptr || pstStream == nullptr || pstStream->pucFrameData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulRecvDataLen < TS_PACKET_SIZE) {
        return PLAYER_ERR_NEED_MORE_DATA;
    }
    const UCHAR *pucData = reinterpret_cast<const UCHAR *>(pcRecvDataAddr);
    if (IsUnitStart(pucData)) {
        pstStream->ulUpacketContinue = 1;
        pstStream->lFrameType = PLAYER_VIDEO_FRAME_P;
        pstStream->ulFrameLen = 0;
    }
    if (pstStream->ulUpacketContinue == 0) {
        return PLAYER_ERR_PACKET_LOST;
    }
    TS_PACKET_INFO_S stPacket;
    for (ULONG_32 ulLeft = ulRecvDataLen; ulLeft >= TS_PACKET_SIZE; ulLeft -= TS_PACKET_SIZE) {
        ULONG_32 ulResult = ParseHead(pucData, stPacket, *pstStream);
        if (ulResult != PLAYER_ERR_OK) {
            pstStream->ulUpacketContinue = 0;
            return ulResult;
        }
        ulResult = AppendPayload(pucData, stPacket, *pstStream);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        pucData += TS_PACKET_SIZE;
    }
    return stPacket.ucTransportPriority != 0 ? EndFrame(stPacket.enType, *pstStream)
                                             : ULONG_32{PLAYER_ERR_NEED_MORE_DATA};
}

ULONG_32 TS_ParseTSHeader(const UCHAR *pucData, ULONG_32 ulLen, TS_PACKET_INFO_S *pstPacket,
                          TS_STREAM_INFO_S *pstStream) {
    if (pucData == nullptr || pstPacket == nullptr || pstStream == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    return ulLen >= TS_PACKET_SIZE ? ParseHead(pucData, *pstPacket, *pstStream) : ULONG_32{PLAYER_ERR_PACKET_LOST};
}

ULONG_32 TS_PacketTogether(const UCHAR *pucData, ULONG_32 ulLen, const TS_PACKET_INFO_S *pstPacket,
                           TS_STREAM_INFO_S *pstStream) {
    if (pucData == nullptr || pstPacket == nullptr || pstStream == nullptr || pstStream->pucFrameData == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const bool bWhole = ulLen >= TS_PACKET_SIZE && pstPacket->ucEsOffset <= TS_PACKET_SIZE;
    return bWhole ? AppendPayload(pucData, *pstPacket, *pstStream) : ULONG_32{PLAYER_ERR_PACKET_LOST};
}

ULONG_32 TS_GetPayLoadType(const TS_PACKET_INFO_S *pstPacket, TS_STREAM_INFO_S *pstStream) {
    return pstPacket != nullptr && pstStream != nullptr ? EndFrame(pstPacket->enType, *pstStream)
                                                        : ULONG_32{PLAYER_ERR_PARAM};
}

ULONG_32 TS_GetTSType(UCHAR *pucDataAddr, ULONG_32 ulLen, TS_PACKET_INFO_S *pstPacket, TS_STREAM_INFO_S *pstStream) {
    if (pucDataAddr == nullptr || pstPacket == nullptr || pstStream == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pstPacket = {};
    pstPacket->enType = TS_PACKET_TYPE_NUM;
    ULONG_32 ulResult = PLAYER_ERR_NEED_MORE_DATA;
    for (ULONG_32 ulAt = 0; ulLen - ulAt >= 4; ulAt += TS_PACKET_SIZE) {
        ULONG_32 ulLeft = ulLen - ulAt;
        ReadHead(pucDataAddr + ulAt, *pstPacket);
        ulResult = ParseByPid(pucDataAddr + ulAt, ulLeft, *pstPacket, *pstStream);
        if (ulResult != PLAYER_ERR_OK || pstPacket->enType >= TS_PES_VIDEO || ulLeft < TS_PACKET_SIZE) {
            break;
        }
    }
    if (ulResult == PLAYER_ERR_UNKNOWN_STREAM) {
        LOG_ERROR("Unknow Stream");
    } else if (ulResult == PLAYER_ERR_PACKET_LOST && pstPacket->enType == TS_PAT) {
        LOG_ERROR("TS_ParsePAT Failed, Error:[0x%x].", ulResult);
    } else if (ulResult == PLAYER_ERR_PACKET_LOST) {
        LOG_ERROR("TS_ParsePMT Failed, Error:[0x%x].", ulResult);
    }
    return ulResult;
}

BOOL_T TS_IsTSPacket(CHAR *pcData) { return pcData != nullptr && static_cast<UCHAR>(pcData[0]) == SYNC_BYTE ? 1 : 0; }

BOOL_T TS_IsTSFrameTail(CHAR *pcData) { return pcData != nullptr && (pcData[1] & 0x20) != 0 ? 1 : 0; }

BOOL_T TS_IsPATFrame(const UCHAR *pucData) { return pucData != nullptr && ReadPid(pucData + 1) == 0 ? 1 : 0; }

ULONG_32 TS_GetPCR(const UCHAR *pucData, USHORT *usPid, DULONG *pdulPCR) {
    if (pucData == nullptr || usPid == nullptr || pdulPCR == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (!IsUnitStart(pucData) || !HasAdaptationField(pucData)) {
        return PLAYER_ERR_FAILED;
    }
    USHORT usPacketPid = ReadPid(pucData + 1);
    if (*usPid != 0 && *usPid != usPacketPid) {
        return PLAYER_ERR_FAILED;
    }
    *usPid = usPacketPid;
    *pdulPCR = ReadClockBase(pucData + 6);
    return PLAYER_ERR_OK;
}

ULONG_32 TS_FindHead(const UCHAR *pucData, ULONG_32 ulMaxLen, ULONG_32 *pulOffset) {
    if (pucData == nullptr || pulOffset == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulTries = ulMaxLen > TS_PACKET_SIZE ? ulMaxLen - TS_PACKET_SIZE : ulMaxLen;
    for (ULONG_32 i = 0; i < ulTries; ++i) {
        if (pucData[i] == SYNC_BYTE && pucData[i + TS_PACKET_SIZE] == SYNC_BYTE) {
            *pulOffset = i;
            return PLAYER_ERR_OK;
        }
    }
    return PLAYER_ERR_FAILED;
}
