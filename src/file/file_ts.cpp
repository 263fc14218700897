// MPEG-TS files: times by their clock references, frames by their packets.
#include <string.h>

#include <algorithm>

#include "file/file_container.h"
#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"

namespace {

const DULONG TICKS_A_SECOND = 90000;
const DULONG TICKS_A_MS = 90;
const DULONG PCR_WRAP = 1ULL << 33;
const DULONG SEARCH_TOLERANCE = 2 * TICKS_A_SECOND;
const ULONG_32 SEARCH_DEPTH = 999;
const ULONG_32 TAIL_BIT_BYTES = 2; /**< of a packet, up to the one with the tail bit */
const ULONG_32 TAIL_PACKETS = 64;  /**< read at one go when the end of a file is searched */

ULONG_32 BadRead(ULONG_32 ulLen) {
    LOG_ERROR("Read Data != %d, Read Len = %lu", static_cast<LONG_32>(TS_PACKET_SIZE),
              static_cast<unsigned long>(ulLen));
    return PLAYER_ERR_FILE_READ;
}

ULONG_32 ReadBytes(FILE *pFile, UCHAR *pucTo, ULONG_32 ulWanted) {
    ULONG_32 ulLen = ulWanted;
    ULONG_32 ulResult = WYK_FileRead(pFile, pucTo, &ulLen);
    if (ulResult != PLAYER_ERR_OK) {
        ulLen = 0;
    }
    return ulLen == ulWanted ? static_cast<ULONG_32>(PLAYER_ERR_OK) : BadRead(ulLen);
}

bool IsPacket(UCHAR *pucPacket) { return TS_IsTSPacket(reinterpret_cast<CHAR *>(pucPacket)) == 1; }

ULONG_32 ReadPacket(FILE *pFile, UCHAR *pucPacket) {
    ULONG_32 ulResult = ReadBytes(pFile, pucPacket, TS_PACKET_SIZE);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    return IsPacket(pucPacket) ? static_cast<ULONG_32>(PLAYER_ERR_OK) : static_cast<ULONG_32>(PLAYER_ERR_FILE_READ);
}

bool SeekTo(FILE *pFile, DULONG dulPos) {
    if (dulPos > static_cast<DULONG>(INT64_MAX) || fseeko(pFile, static_cast<off_t>(dulPos), SEEK_SET) != 0) {
        LOG_ERROR("Parser Failed, No Seek To:[%lu].", static_cast<unsigned long>(dulPos));
        return false;
    }
    return true;
}

bool IsStopped(const FILE_INFO_S *pstFileInfo) {
    return pstFileInfo->pbRun != nullptr && !word::Load(*pstFileInfo->pbRun);
}

/* ---- first and last clock reference ---- */

ULONG_32 FindNextPcr(FILE *pFile, USHORT *pusPid, DULONG *pdulPCR) {
    UCHAR aucPacket[TS_PACKET_SIZE];
    for (;;) {
        ULONG_32 ulResult = ReadPacket(pFile, aucPacket);
        if (ulResult != PLAYER_ERR_OK || TS_GetPCR(aucPacket, pusPid, pdulPCR) == PLAYER_ERR_OK) {
            return ulResult;
        }
    }
}

/** Looks through packets from the last to the first. 0; PLAYER_ERR_FILE_READ at what is none; 526 if none has a PCR. */
ULONG_32 FindPcrInBlock(UCHAR *pucBlock, DULONG dulPackets, USHORT *pusPid, DULONG *pdulPCR) {
    while (dulPackets > 0) {
        UCHAR *pucPacket = pucBlock + --dulPackets * TS_PACKET_SIZE;
        if (!IsPacket(pucPacket)) {
            return PLAYER_ERR_FILE_READ;
        }
        if (TS_GetPCR(pucPacket, pusPid, pdulPCR) == PLAYER_ERR_OK) {
            return PLAYER_ERR_OK;
        }
    }
    return PLAYER_ERR_NEED_MORE_DATA;
}

ULONG_32 FindLastPcr(FILE *pFile, USHORT *pusPid, DULONG *pdulPCR) {
    UCHAR aucBlock[TAIL_PACKETS * TS_PACKET_SIZE];
    DULONG dulEnd = File_Length(pFile);
    while (dulEnd >= TS_PACKET_SIZE) {
        const DULONG dulPackets = std::min<DULONG>(TAIL_PACKETS, dulEnd / TS_PACKET_SIZE);
        const ULONG_32 ulLen = static_cast<ULONG_32>(dulPackets * TS_PACKET_SIZE);
        dulEnd -= ulLen;
        ULONG_32 ulResult = SeekTo(pFile, dulEnd) ? ReadBytes(pFile, aucBlock, ulLen) : BadRead(0);
        if (ulResult == PLAYER_ERR_OK) {
            ulResult = FindPcrInBlock(aucBlock, dulPackets, pusPid, pdulPCR);
        }
        if (ulResult != PLAYER_ERR_NEED_MORE_DATA) {
            return ulResult;
        }
    }
    return BadRead(0);
}

/** The frame rate is read off the distance of two clock references. */
ULONG_32 ReadFrameRate(FILE_INFO_S *pstFileInfo, USHORT *pusPid, DULONG dulFirst) {
    DULONG dulNext = dulFirst;
    for (ULONG_32 i = 0; i < 2 && dulNext == dulFirst; i++) {
        ULONG_32 ulResult = File_GetPCR(pstFileInfo->pFile, FILE_PCR_FORWARD, pusPid, &dulNext);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("File_GetFileProperty Failed, File_GetPCR Get Next Frame Pcr Failed.");
            return ulResult;
        }
    }
    if (dulNext == dulFirst) {
        LOG_ERROR("File_GetFileProperty Failed, NextNextPCR - FirstPCR = 0.");
        return PLAYER_ERR_OK;
    }
    // A clock that runs backward gives a huge distance and so the rate 0, which means play without pacing.
    const DULONG dulMs = (dulNext - dulFirst) / TICKS_A_MS;
    if (dulMs != 0) {
        pstFileInfo->lFrameRate = static_cast<LONG_32>(1000 / dulMs);
    }
    return PLAYER_ERR_OK;
}

/** Seconds from one clock reference to a later one, across the wrap of their 33 bits. */
ULONG_32 SecondsBetween(DULONG dulFirst, DULONG dulLast) {
    const DULONG dulTicks = (dulLast < dulFirst ? dulLast + PCR_WRAP : dulLast) - dulFirst;
    return static_cast<ULONG_32>(dulTicks / TICKS_A_SECOND);
}

/* ---- search ---- */

/** Finds the first PCR behind the first packet at or behind this place. */
ULONG_32 FindPcrBehind(FILE_INFO_S *pstFileInfo, DULONG dulFrom, UCHAR *pucScratch, DULONG *pdulPos, DULONG *pdulPCR) {
    ULONG_32 ulResult = SeekTo(pstFileInfo->pFile, dulFrom)
                            ? ReadBytes(pstFileInfo->pFile, pucScratch, 2 * TS_PACKET_SIZE)
                            : BadRead(0);
    ULONG_32 ulOffset = 0;
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = TS_FindHead(pucScratch, TS_PACKET_SIZE, &ulOffset);
    }
    *pdulPos = dulFrom + ulOffset;
    if (ulResult == PLAYER_ERR_OK && !SeekTo(pstFileInfo->pFile, *pdulPos)) {
        ulResult = BadRead(0);
    }
    while (ulResult == PLAYER_ERR_OK) {
        ulResult = IsStopped(pstFileInfo) ? static_cast<ULONG_32>(PLAYER_ERR_FAILED)
                                          : ReadBytes(pstFileInfo->pFile, pucScratch, TS_PACKET_SIZE);
        if (ulResult == PLAYER_ERR_OK && TS_GetPCR(pucScratch, &pstFileInfo->usPid, pdulPCR) == PLAYER_ERR_OK) {
            return PLAYER_ERR_OK;
        }
        *pdulPos += TS_PACKET_SIZE;
    }
    return ulResult;
}

/** Moves on to the next packet of PID 0. */
ULONG_32 SkipToPat(FILE_INFO_S *pstFileInfo) {
    UCHAR aucPacket[TS_PACKET_SIZE];
    ULONG_32 ulResult = PLAYER_ERR_OK;
    do {
        ulResult = IsStopped(pstFileInfo) ? static_cast<ULONG_32>(PLAYER_ERR_FAILED)
                                          : ReadBytes(pstFileInfo->pFile, aucPacket, TS_PACKET_SIZE);
    } while (ulResult == PLAYER_ERR_OK && TS_IsPATFrame(aucPacket) != 1);
    if (ulResult == PLAYER_ERR_OK && fseeko(pstFileInfo->pFile, -static_cast<off_t>(TS_PACKET_SIZE), SEEK_CUR) != 0) {
        ulResult = PLAYER_ERR_FILE_READ;
    }
    return ulResult;
}

/* ---- behind the file layer ---- */

ULONG_32 Create(const CHAR *, FILE_INFO_S *pstFileInfo) {
    pstFileInfo->pucTsDataAddr = File_AllocFrameBuffer();
    if (pstFileInfo->pucTsDataAddr == nullptr) {
        return PLAYER_ERR_MALLOC;
    }
    pstFileInfo->stTsStreamInfo = {};
    return PLAYER_ERR_OK;
}

ULONG_32 GetProperty(FILE_INFO_S *pstFileInfo) {
    FILE *pFile = pstFileInfo->pFile;
    USHORT usPid = 0;
    DULONG dulFirst = 0;
    DULONG dulLast = 0;
    ULONG_32 ulResult = SeekTo(pFile, 0) ? File_GetPCR(pFile, FILE_PCR_FORWARD, &usPid, &dulFirst)
                                         : static_cast<ULONG_32>(PLAYER_ERR_FILE_READ);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, File_GetPCR Get First Frame Pcr Failed.");
        return ulResult;
    }
    ulResult = ReadFrameRate(pstFileInfo, &usPid, dulFirst);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    ulResult = File_GetPCR(pFile, FILE_PCR_BACKWARD, &usPid, &dulLast);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("File_GetFileProperty Failed, File_GetPCR Get Last Frame Pcr Failed.");
        return ulResult;
    }
    pstFileInfo->dulFileSize = File_Length(pFile);
    if (pstFileInfo->dulFileSize == 0) {
        LOG_ERROR("File_GetFileProperty Failed, File Len Is Zero.");
        return PLAYER_ERR_FAILED;
    }
    SeekTo(pFile, 0);
    pstFileInfo->dulFirstTime = dulFirst;
    pstFileInfo->ulLastTime = SecondsBetween(dulFirst, dulLast);
    pstFileInfo->usPid = usPid;
    return PLAYER_ERR_OK;
}

ULONG_32 ReadFrame(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    TS_STREAM_INFO_S *pstStream = &pstFileInfo->stTsStreamInfo;
    ULONG_32 ulResult = TS_GetOneFrameDataWhile(pstFileInfo->pFile, ulFrameCtrl, pstFileInfo->pucTsDataAddr,
                                                &pstFileInfo->ulReadLen, pstFileInfo->pbRun);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstStream->pucFrameData = pstFileInfo->pucFrameDataAddr;
    pstStream->ulFrameLen = 0;
    ulResult = TS_Unpack(reinterpret_cast<CHAR *>(pstFileInfo->pucTsDataAddr), pstFileInfo->ulReadLen, pstStream);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstFrame->dulTimestamp = pstStream->dulPCR;
    pstFrame->lPayload = pstStream->lPayload;
    pstFrame->lFormatType = pstStream->lFrameType;
    pstFrame->pucBuffer = pstStream->pucFrameData;
    pstFrame->ulBufferLen = pstStream->ulFrameLen;
    return PLAYER_ERR_OK;
}

ULONG_32 LogTsRead(ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_UNKNOWN_STREAM) {
        LOG_ERROR("Unknown Stream Type.");
    } else if (ulResult != PLAYER_ERR_OK && ulResult != PLAYER_ERR_FILE_END) {
        LOG_ERROR("Parser Failed,Error[%lu].", static_cast<unsigned long>(ulResult));
    }
    return ulResult;
}

ULONG_32 Read(FILE_INFO_S *pstFileInfo, FILE_FRAME_INFO_S *pstFrame, ULONG_32 ulFrameCtrl) {
    return LogTsRead(ReadFrame(pstFileInfo, pstFrame, ulFrameCtrl));
}

ULONG_32 Seek(FILE_INFO_S *pstFileInfo, ULONG_32 ulSeconds, LONG_32) {
    if (ulSeconds >= pstFileInfo->ulLastTime && ulSeconds != 0) {
        return PLAYER_ERR_OK;
    }
    ULONG_32 ulResult = PLAYER_ERR_OK;
    if (ulSeconds == 0) {
        SeekTo(pstFileInfo->pFile, 0);
    } else {
        ulResult = File_GetFileOffset(pstFileInfo, pstFileInfo->dulFirstTime + ulSeconds * TICKS_A_SECOND);
    }
    memset(pstFileInfo->stTsStreamInfo.astTSCCInfo, 0, sizeof(pstFileInfo->stTsStreamInfo.astTSCCInfo));
    return ulResult;
}

ULONG_32 PlayTime(FILE_INFO_S *pstFileInfo, ULONG_32 *pulPlayTime) {
    const DULONG dulPCR = word::Load(pstFileInfo->stTsStreamInfo.dulPCR);
    *pulPlayTime = dulPCR != 0 ? SecondsBetween(pstFileInfo->dulFirstTime, dulPCR) : 0;
    return PLAYER_ERR_OK;
}

}  // namespace

const FILE_CONTAINER_S gstTsContainer = {nullptr, TS_IsTSFile, Create,  GetProperty, Read,
                                         Seek,    PlayTime,    nullptr, nullptr,     {nullptr, nullptr, nullptr}};

ULONG_32 File_GetPCR(FILE *pFile, ULONG_32 ulDirection, USHORT *pusPid, DULONG *pdulPCR) {
    if (pFile == nullptr || pusPid == nullptr || pdulPCR == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    return ulDirection == FILE_PCR_BACKWARD ? FindLastPcr(pFile, pusPid, pdulPCR) : FindNextPcr(pFile, pusPid, pdulPCR);
}

ULONG_32 File_DivToFindPCR(FILE_INFO_S *pstFileInfo, ULONG_32 ulDepth, DULONG dulLow, DULONG dulHigh, UCHAR *pucScratch,
                           DULONG dulTarget, DULONG *pdulOffset) {
    if (pstFileInfo == nullptr || pstFileInfo->pFile == nullptr || pucScratch == nullptr || pdulOffset == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    for (;; ulDepth++) {
        DULONG dulPos = 0;
        DULONG dulPCR = 0;
        ULONG_32 ulResult =
            FindPcrBehind(pstFileInfo, dulLow / 2 + dulHigh / 2 + (dulLow & dulHigh & 1), pucScratch, &dulPos, &dulPCR);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        const bool bAbove = dulPCR > dulTarget;
        DULONG &dulBound = bAbove ? dulHigh : dulLow;
        const bool bFound = bAbove ? dulTarget + SEARCH_TOLERANCE >= dulPCR : dulTarget + SEARCH_TOLERANCE <= dulPCR;
        // A bound that stays where it is would stay there until the last step.
        if (bFound || dulBound == dulPos || ulDepth >= SEARCH_DEPTH) {
            *pdulOffset = dulPos;
            return PLAYER_ERR_OK;
        }
        dulBound = dulPos;
    }
}

ULONG_32 File_GetFileOffset(FILE_INFO_S *pstFileInfo, DULONG dulTarget) {
    if (pstFileInfo == nullptr || pstFileInfo->pFile == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    UCHAR aucScratch[2 * TS_PACKET_SIZE];
    DULONG dulOffset = 0;
    const off_t lBefore = ftello(pstFileInfo->pFile);
    ULONG_32 ulResult =
        File_DivToFindPCR(pstFileInfo, 1, 0, pstFileInfo->dulFileSize, aucScratch, dulTarget, &dulOffset);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Get Offset Failed.");
        fseeko(pstFileInfo->pFile, std::max<off_t>(lBefore, 0), SEEK_SET);
        return ulResult;
    }
    return SeekTo(pstFileInfo->pFile, dulOffset) ? SkipToPat(pstFileInfo) : static_cast<ULONG_32>(PLAYER_ERR_FILE_READ);
}

ULONG_32 File_ReadTSPacket(FILE *pFile, UCHAR *pucBuffer, ULONG_32 *pulLen) {
    if (pFile == nullptr || pucBuffer == nullptr || pulLen == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const ULONG_32 ulRoom = *pulLen;
    const ULONG_32 ulPackets = ulRoom / TS_PACKET_SIZE;
    *pulLen = 0;
    for (ULONG_32 i = 0; i < ulPackets; i++) {
        ULONG_32 ulResult = ReadPacket(pFile, pucBuffer + *pulLen);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        *pulLen += TS_PACKET_SIZE;
        // What the caller's buffer holds behind the packet decides; behind its end there is no tail.
        const bool bInside = ulRoom - *pulLen >= TAIL_BIT_BYTES;
        if (bInside && TS_IsTSFrameTail(reinterpret_cast<CHAR *>(pucBuffer + *pulLen)) == 1) {
            break;
        }
    }
    return PLAYER_ERR_OK;
}
