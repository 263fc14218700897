// Frames of KRDF records by what is asked for.
#include "file/module_krdf.h"

#include "bits/sp_mark.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"

namespace {

const ULONG_32 PACKET_BUFFER_SIZE = 1500;
const ULONG_32 MAX_FAILURES = 10;               /**< of packets in one frame */
const DULONG MAX_FRAME_READ = 32 * 1024 * 1024; /**< for one frame */
const DULONG MAX_SCAN_READ = 64 * 1024 * 1024;  /**< for key and SP frames among others: the measure at the open */

KRDF_PARSER_S *ParserOf(HANDLE hParser) { return static_cast<KRDF_PARSER_S *>(hParser); }

/** Puts packets together until a frame is whole, with reads up to a limit of dulReadBytes. */
ULONG_32 GatherFrame(KRDF_PARSER_S *pstParser, DULONG dulLimit) {
    PACKET_INFO_S &stInfo = pstParser->pstPacketInfo;
    UCHAR aucPacket[PACKET_BUFFER_SIZE] = {};
    PACKET_DATA_S stPacket = {};
    stPacket.pcData = aucPacket;
    ULONG_32 ulFailures = 0;
    while (pstParser->dulReadBytes <= dulLimit) {
        stPacket.ulLength = PACKET_BUFFER_SIZE;
        stPacket.enVideoAudio = VIDEO_AUDIO_NONE;  // one damaged head of sound drops no packets behind it
        const bool bFailed = Krdf_readDataPacket(pstParser, &stPacket) != PLAYER_ERR_OK;
        if (bFailed) {
            LOG_ERROR("Krdf_readDataPacket Failed");
            // What the buffer holds goes on nevertheless: behind the last packet of a record the read fails as well.
            if (++ulFailures >= MAX_FAILURES) {
                return PLAYER_ERR_FILE_END;
            }
        }
        if (stPacket.enVideoAudio == AUDIO_ONLY && pstParser->bOnlyVideo == 1) {
            continue;
        }
        if (KRDF_SpellPacket_R1R3(&stInfo, aucPacket, stPacket.ulLength) != PLAYER_ERR_OK) {
            LOG_ERROR("KRDF_SpellPacket_R1R3 Failed");
            return PLAYER_ERR_KRDF_SPELL;
        }
        // A read that fails for good may give the same end of a frame each time: one counts, or play would never end.
        if (stInfo.bFrameHaveEnd == 1 && !(bFailed && pstParser->bFrameBroken == 1)) {
            pstParser->bFrameBroken = bFailed;
            return PLAYER_ERR_OK;
        }
    }
    LOG_ERROR("KRDF_SpellFrame Failed, No Frame Ends Within What May Be Read For One.");
    return PLAYER_ERR_KRDF_SPELL;
}

ULONG_32 SpellFrame(KRDF_PARSER_S *pstParser, KRDF_FRAME_INFO_S *pstFrame, DULONG dulLimit) {
    PACKET_INFO_S &stInfo = pstParser->pstPacketInfo;
    stInfo.pucFrameStreamBuf = pstFrame->pcDataBuf;
    const ULONG_32 ulResult = GatherFrame(pstParser, dulLimit);
    pstFrame->dulTimeStamp = stInfo.bVideoOrAudioFrame ? stInfo.dulVideoTimeStamp : stInfo.dulAudioTimeStamp;
    pstFrame->ulDataLen = stInfo.ulCurFrameLen;
    pstFrame->ulFrameRate = stInfo.ulFrameRate;
    pstFrame->ulFrameType = stInfo.enFrameType;
    pstFrame->ulPayload = KRDF_TransferPayload(&stInfo, stInfo.usStreamType);
    stInfo.ulCurFrameLen = 0;
    stInfo.ulCurAudioLen = 0;
    return ulResult;
}

/** Whether a frame is a key or an SP frame; PLAYER_ERR_FAILED where that can't be told. */
ULONG_32 IsKeyOrSp(const KRDF_FRAME_INFO_S &stFrame, bool *pbWanted) {
    const LONG_32 lPayload = static_cast<LONG_32>(stFrame.ulPayload);
    *pbWanted = stFrame.ulFrameType == I_FRAME;
    if (*pbWanted) {
        return PLAYER_ERR_OK;
    }
    if (lPayload != PLAYER_PAYLOAD_H264 && lPayload != PLAYER_PAYLOAD_H265) {
        const ULONG_32 ulResult = PLAYER_ERR_FAILED;
        LOG_ERROR("KRDF_GetOneFrameData Failed, Unknow PayLoad[%d] Failed, Error:[0x%x].", lPayload, ulResult);
        return ulResult;
    }
    *pbWanted = SpMark_Scan(lPayload, stFrame.pcDataBuf, stFrame.ulDataLen) == SpVerdict::kSp;
    return PLAYER_ERR_OK;
}

/** Reads on to the next key or SP frame. A record without them is not read to its end: the client waits for its open.
 */
ULONG_32 ReadKeyOrSpFrame(KRDF_PARSER_S *pstParser, KRDF_FRAME_INFO_S *pstFrame) {
    pstParser->bOnlyVideo = 1;
    if (pstParser->dulReadBytes >= pstParser->dulScanEnd) {
        pstParser->dulScanEnd = pstParser->dulReadBytes + MAX_SCAN_READ;
    }
    bool bWanted = false;
    while (!bWanted) {
        ULONG_32 ulResult = SpellFrame(pstParser, pstFrame, pstParser->dulScanEnd);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("KRDF_GetOneFrameData Failed, KRDF_SpellFrame Failed, Error:[0x%x].", ulResult);
            return ulResult;
        }
        ulResult = IsKeyOrSp(*pstFrame, &bWanted);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
    }
    return PLAYER_ERR_OK;
}

/** Carries a pending jump out; one that fails stays pending, and the reads that follow tell of it. */
void ServeJump(KRDF_PARSER_S *pstParser) {
    if (pstParser->bHaveJump == 1 && pstParser->enSourceState == MODULESTATE_ID_RUN &&
        Krdf_jumpFileByTime(pstParser, pstParser->stJumpTime.lSeconds) == PLAYER_ERR_OK) {
        pstParser->bHaveJump = 0;
    }
}

/** The end comes as the last group is reached, whose begin is all that is known of a record's end. */
ULONG_32 ReadNextFrame(KRDF_PARSER_S *pstParser, ULONG_32 ulGetType, KRDF_FRAME_INFO_S *pstFrame) {
    if (ulGetType == KRDF_FRAME_GET_TYPE_ONLY_I_FRAME) {
        Krdf_goIFrame(pstParser, 1);
    }
    pstParser->bOnlyVideo =
        ulGetType == KRDF_FRAME_GET_TYPE_ONLY_I_FRAME || ulGetType == KRDF_FRAME_GET_TYPE_ONLY_VIDEO_FRAME;
    ServeJump(pstParser);
    if (pstParser->lPlayTime >= pstParser->stTotalTime.lSeconds && pstParser->bHaveJump == 0) {
        LOG_INFO("KRDF_GetOneFrameData Info, File Read Complete");
        return PLAYER_ERR_FILE_END;
    }
    return KRDF_SpellFrame(pstParser, pstFrame);
}

}  // namespace

BOOL_T KRDF_IsKrdfFile(FILE *pFile) {
    UCHAR aucHead[KRDF_SUPER_DATA_SIZE];
    const off_t lPos = pFile != nullptr ? ftello(pFile) : -1;
    if (lPos < 0 || fseeko(pFile, 0, SEEK_SET) != 0) {
        return 0;
    }
    const bool bRead = fread(aucHead, 1, sizeof(aucHead), pFile) == sizeof(aucHead);
    fseeko(pFile, lPos, SEEK_SET);
    return bRead && bytes::Reader(aucHead, sizeof(aucHead)).U32Le() == KRDF_MAGIC;
}

HANDLE KRDF_CreateKrdfParser(const CHAR *pcFileName, DULONG dulStartPos) {
    KRDF_PARSER_S *pstParser = Krdf_CreateParser(pcFileName, dulStartPos);
    if (pstParser == nullptr) {
        LOG_ERROR("No Memory Create Krdf Parser, Error:[0x%x].", static_cast<ULONG_32>(PLAYER_ERR_MALLOC));
    }
    return pstParser;
}

void KRDF_DestroyKrdfParser(HANDLE hParser) { Krdf_DestroyParser(ParserOf(hParser)); }

ULONG_32 KRDF_GetKrdfInfo(HANDLE hParser, KRDF_INFO_S *pstInfo) {
    if (hParser == nullptr || pstInfo == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    KRDF_PARSER_S *pstParser = ParserOf(hParser);
    ULONG_32 ulResult = Krdf_openDestSource(pstParser);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Krdf File Parser Failed, Error:[0x%x].", ulResult);
        return ulResult;
    }
    pstInfo->dulFirstTime = 0;
    pstInfo->ulLastTime = Krdf_getTotalTime(pstParser);
    pstInfo->lFrameRate = static_cast<LONG_32>(Krdf_getFrameRate(pstParser));
    pstInfo->enVideoCodec = Krdf_getVideoCodecType(pstParser);
    pstInfo->enAudioCodec = Krdf_getAudioCodecType(pstParser);
    return PLAYER_ERR_OK;
}

ULONG_32 KRDF_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, KRDF_FRAME_INFO_S *pstFrame) {
    if (hParser == nullptr || pstFrame == nullptr || pstFrame->pcDataBuf == nullptr) {
        LOG_ERROR("KRDF_GetOneFrameData Input Param Invaild, Error:[0x%x].", static_cast<ULONG_32>(PLAYER_ERR_PARAM));
        return PLAYER_ERR_PARAM;
    }
    return ulGetType == KRDF_FRAME_GET_TYPE_ONLY_I_SP_FRAME ? ReadKeyOrSpFrame(ParserOf(hParser), pstFrame)
                                                            : ReadNextFrame(ParserOf(hParser), ulGetType, pstFrame);
}

ULONG_32 KRDF_SpellFrame(HANDLE hParser, KRDF_FRAME_INFO_S *pstFrame) {
    if (hParser == nullptr || pstFrame == nullptr || pstFrame->pcDataBuf == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    KRDF_PARSER_S *pstParser = ParserOf(hParser);
    return SpellFrame(pstParser, pstFrame, pstParser->dulReadBytes + MAX_FRAME_READ);
}

ULONG_32 KRDF_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds) {
    if (hParser == nullptr || ulSeconds == 0) {
        LOG_ERROR("KRDF_SetPlayTime Input Param Invaild, Error:[0x%x].", static_cast<ULONG_32>(PLAYER_ERR_PARAM));
        return PLAYER_ERR_PARAM;
    }
    return Krdf_jumpByTime(ParserOf(hParser), static_cast<LONG_32>(ulSeconds));
}

ULONG_32 KRDF_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime) {
    if (hParser == nullptr || pulPlayTime == nullptr) {
        LOG_ERROR("KRDF_GetPlayTime Input Param Invaild, Error:[0x%x].", static_cast<ULONG_32>(PLAYER_ERR_PARAM));
        return PLAYER_ERR_PARAM;
    }
    return Krdf_getCurPlayTime(ParserOf(hParser), pulPlayTime);
}
