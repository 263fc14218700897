// One data packet of a KRDF record after the other.
#include <string.h>
#include <unistd.h>

#include "file/krdf/krdf_inner.h"

namespace {

const ULONG_32 GO_ON = 0xFFFFFFFF; /**< of a step: the read is not over */
const ULONG_32 IDLE_SLEEP_US = 30000;
const DLONG OVER_TIME = -2;
const ULONG_32 RTP_HEAD_LEN = 12;
const ULONG_32 RTP_VERSION = 2;
const ULONG_32 RTP_SSRC_OFFSET = 8;
const ULONG_32 RTP_JUMP_AMOUNT = 3;

/* ---- the steps of a read, in their order: each gives a result or GO_ON ---- */

ULONG_32 CheckArguments(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    if (pstKrdfParser->bHaveReadEnd == 1) {
        usleep(IDLE_SLEEP_US);
        return PLAYER_ERR_KRDF_READ_END;
    }
    if (pstPacket->pcData == nullptr) {
        LOG_ERROR("No Memory Save Data.");
        return PLAYER_ERR_PARAM;
    }
    if (pstKrdfParser->hFile == nullptr) {
        LOG_ERROR("The File[%s] has been Opened.", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    return GO_ON;
}

ULONG_32 ServeJump(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *) {
    if (pstKrdfParser->bHaveJump != 1) {
        return GO_ON;
    }
    if (Krdf_jumpFileByTime(pstKrdfParser, pstKrdfParser->stJumpTime.lSeconds) != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Jump by Time : [FileReadPos :%lld].", KrdfInner_Pos(pstKrdfParser));
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->bHaveJump = 0;
    return GO_ON;
}

ULONG_32 CheckState(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *) {
    if (pstKrdfParser->enSourceState != MODULESTATE_ID_RUN) {
        usleep(IDLE_SLEEP_US);
        return PLAYER_ERR_KRDF_NOT_RUNNING;
    }
    return pstKrdfParser->dlOverTime == OVER_TIME ? ULONG_32{PLAYER_ERR_KRDF_OVER_TIME} : GO_ON;
}

ULONG_32 GoToNextGroup(KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser->bReadForward ? Krdf_goAheadIFrame(pstKrdfParser) : Krdf_goBackIFrame(pstKrdfParser);
}

/** Steps over what is left of a damaged group. One that can't be entered counts as damaged again. */
ULONG_32 LeaveDamagedGroup(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    if (pstKrdfParser->bFrameGopDestroyed != 1) {
        return GO_ON;
    }
    const ULONG_32 ulResult = GoToNextGroup(pstKrdfParser);
    pstKrdfParser->bFrameGopDestroyed = 0;
    pstKrdfParser->bReadPacketHead = 0;
    switch (ulResult) {
        case PLAYER_ERR_OK:
            return GO_ON;
        case PLAYER_ERR_KRDF_INDEX:
            pstKrdfParser->bFrameGopDestroyed = 1;
            pstPacket->ulLength = 0;
            return PLAYER_ERR_OK;
        case PLAYER_ERR_KRDF_READ_END:
            LOG_ERROR("The File Read End");
            return ulResult;
        default:
            LOG_ERROR("Read Packet Data Error When Jumping GOP Frames.");
            return ulResult;
    }
}

void CountBytes(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulCount) {
    pstKrdfParser->ulReadDataLenInGOP += ulCount;
    pstKrdfParser->dulReadBytes += ulCount;
}

ULONG_32 ReadHead(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    if (pstKrdfParser->bReadPacketHead != 0) {
        return GO_ON;
    }
    if (!KrdfInner_ReadHead(pstKrdfParser, KrdfInner_GroupLeft(pstKrdfParser))) {
        return PLAYER_ERR_FILE_READ;
    }
    CountBytes(pstKrdfParser, KRDF_PACKET_HEAD_SIZE);
    const BLOCK_DATAHEAD_S &stHead = pstKrdfParser->stBlockDataHead;
    if (stHead.ulPacketHead == KRDF_PACKET_HEAD_MARK) {
        pstKrdfParser->bReadPacketHead = 1;
        return GO_ON;
    }
    LOG_ERROR(
        "The DataPacketHead of File[%s] is Error, The pstKrdfParser->stBlockDataHead.ulPacketHead[%u] isn't 0x1357, "
        "[FileReadPos :%lld].",
        pstKrdfParser->strLocalFilePath, stHead.ulPacketHead, KrdfInner_Pos(pstKrdfParser));
    pstKrdfParser->bFrameGopDestroyed = 1;
    pstPacket->enVideoAudio = stHead.ulType == 1 ? AUDIO_ONLY : VIDEO_ONLY;
    return PLAYER_ERR_OK;
}

/** Judges the head and hands out what the caller gets of it. */
ULONG_32 AdoptHead(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    const BLOCK_DATAHEAD_S &stHead = pstKrdfParser->stBlockDataHead;
    if (stHead.ulType == 0 && stHead.ulEndOfFrame == 1) {
        pstKrdfParser->ulFrameseq++;
        if (pstKrdfParser->enFileReadUnit == FILE_READUNIT_ID_FRAME && pstKrdfParser->ulFrameRate == 0) {
            LOG_ERROR("The pstKrdfParser->ulFrameRate is 0.");
            return PLAYER_ERR_PARAM;
        }
    }
    if (pstPacket->ulLength < stHead.usLength + KRDF_PACKET_OUT_HEAD_SIZE) {
        LOG_ERROR("The Memory(Input) Length is %u, The Data Length is %u", pstPacket->ulLength, stHead.usLength + 12);
        return PLAYER_ERR_MALLOC;
    }
    memcpy(pstPacket->pcData, stHead.aucOut, sizeof(stHead.aucOut));
    if (stHead.usLength >= KRDF_MAX_PAYLOAD) {
        LOG_ERROR("DataPacketLength[%u] is Over.", stHead.usLength);
        pstKrdfParser->bFrameGopDestroyed = 1;
        return PLAYER_ERR_OK;
    }
    return GO_ON;
}

ULONG_32 ReadPayload(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    const ULONG_32 ulLength = pstKrdfParser->stBlockDataHead.usLength;
    UCHAR *pucPayload = pstPacket->pcData + KRDF_PACKET_OUT_HEAD_SIZE;
    if (!KrdfInner_ReadData(pstKrdfParser, pucPayload, ulLength, KrdfInner_GroupLeft(pstKrdfParser))) {
        LOG_ERROR("Failed to Read DatapacketData[FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    pstPacket->ulLength = ulLength + KRDF_PACKET_OUT_HEAD_SIZE;
    CountBytes(pstKrdfParser, ulLength);
    Krdf_checkIfRtpExist(pstKrdfParser, pucPayload, ulLength);
    pstKrdfParser->ulJumpFrameAmount = pstKrdfParser->bRtpExist ? RTP_JUMP_AMOUNT : 1;
    return GO_ON;
}

/** A wrong tail ends the group, but the packet in front of it counts. */
ULONG_32 ReadTail(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *) {
    UCHAR aucTail[KRDF_PACKET_TAIL_SIZE];
    if (!KrdfInner_ReadData(pstKrdfParser, aucTail, sizeof(aucTail), KrdfInner_GroupLeft(pstKrdfParser))) {
        LOG_ERROR("Failed to Read DataPacketTail Flag [FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    CountBytes(pstKrdfParser, sizeof(aucTail));
    if (bytes::Reader(aucTail, sizeof(aucTail)).U32Le() != KRDF_PACKET_TAIL_MARK) {
        pstKrdfParser->bFrameGopDestroyed = 1;
        return PLAYER_ERR_OK;
    }
    return GO_ON;
}

/** Makes ready for the packet behind this one, which may be another group's. */
ULONG_32 MoveOn(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *) {
    if (pstKrdfParser->ulReadDataLenInGOP + KRDF_PACKET_TAIL_SIZE < pstKrdfParser->ulGOPDataLen &&
        pstKrdfParser->ulJumpFrameAmount != pstKrdfParser->ulJumpFrameCount) {
        pstKrdfParser->bReadPacketHead = 0;
        return PLAYER_ERR_OK;
    }
    pstKrdfParser->ulJumpFrameCount = 0;
    const ULONG_32 ulResult = GoToNextGroup(pstKrdfParser);
    switch (ulResult) {
        case PLAYER_ERR_OK:
            pstKrdfParser->bReadPacketHead = 0;
            return PLAYER_ERR_OK;
        case PLAYER_ERR_KRDF_INDEX:
            pstKrdfParser->bFrameGopDestroyed = 1;
            return PLAYER_ERR_OK;
        case PLAYER_ERR_KRDF_READ_END:
            LOG_ERROR("Have Read File[%s] Completely.", pstKrdfParser->strLocalFilePath);
            return ulResult;
        default:
            LOG_ERROR("Read Packet Data Error When Jumping GOP Frames.");
            return ulResult;
    }
}

ULONG_32(*const gapfnStep[])
(KRDF_PARSER_S *, PACKET_DATA_S *) = {CheckArguments, ServeJump, CheckState, LeaveDamagedGroup, ReadHead, AdoptHead,
                                      ReadPayload,    ReadTail,  MoveOn};

}  // namespace

ULONG_32 Krdf_readDataPacket(KRDF_PARSER_S *pstKrdfParser, PACKET_DATA_S *pstPacket) {
    if (pstKrdfParser == nullptr || pstPacket == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = GO_ON;
    for (const auto &pfnStep : gapfnStep) {
        ulResult = pfnStep(pstKrdfParser, pstPacket);
        if (ulResult != GO_ON) {
            break;
        }
    }
    return ulResult;
}

ULONG_32 Krdf_checkIfRtpExist(KRDF_PARSER_S *pstKrdfParser, const UCHAR *pucPayload, ULONG_32 ulLength) {
    if (pstKrdfParser == nullptr || pucPayload == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (ulLength < RTP_HEAD_LEN) {
        return PLAYER_ERR_OK;
    }
    if (ULONG_32{pucPayload[0]} >> 6 != RTP_VERSION) {
        if (pstKrdfParser->bRtpSSRCInit) {
            pstKrdfParser->bRtpSSRCInit = pstKrdfParser->bRtpExist = 0;
        }
        return PLAYER_ERR_OK;
    }
    const ULONG_32 ulSSRC = bytes::Reader(pucPayload + RTP_SSRC_OFFSET, sizeof(ULONG_32)).U32Le();
    if (pstKrdfParser->bRtpSSRCInit) {
        pstKrdfParser->bRtpExist = ulSSRC == pstKrdfParser->ulRtpSSRC;
    }
    pstKrdfParser->ulRtpSSRC = ulSSRC;
    pstKrdfParser->bRtpSSRCInit = 1;
    return PLAYER_ERR_OK;
}
