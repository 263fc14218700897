// From group to group of a KRDF record: the next one, one by its time, the next usable one.
#include <algorithm>
#include <climits>

#include "file/krdf/krdf_inner.h"
#include "foundations/guards.h"

namespace {

const ULONG_32 DEFAULT_FRAME_RATE = 25;
const ULONG_32 MAX_RETRIES = 16 * KRDF_MAX_SUB_ENTRIES; /**< more groups than 16 units hold are the same ones again */
const ULONG_32 RETRIES_A_LOG = 1000;

/* ---- loading a group ---- */

/** Notes when the current group begins. Others read stCurTime meanwhile. */
void SetCurTime(KRDF_PARSER_S *pstKrdfParser, const TIME_STAMP_S &stStamp) {
    const ZARDO_DATE_TIME_S stTime = KrdfInner_DateOf(stStamp);
    pstKrdfParser->stPreTime = pstKrdfParser->stCurTime;
    {
        const CMutexGuard oGuard(&pstKrdfParser->oMutexSourceControl);
        pstKrdfParser->stCurTime = stTime;
    }
    const DLONG dlPlayTime = Krdf_compareTime(&stTime, &pstKrdfParser->stBeginTime);
    pstKrdfParser->lPlayTime = static_cast<LONG_32>(std::clamp<DLONG>(dlPlayTime, INT_MIN, INT_MAX));
}

ULONG_32 ReadEntry(KRDF_PARSER_S *pstKrdfParser, SUB_INDEX_S *pstEntry) {
    if (!KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulSubIndexPos)) {
        KRDF_LOG(pstKrdfParser, "Failed to Seek File Point[FileReadPos :%lld] of File[%s] to SubIndex.",
                 KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    if (!KrdfInner_ReadSubEntry(pstKrdfParser, pstEntry)) {
        KRDF_LOG(pstKrdfParser, "Failed to Read SubIndex[SubIndexNumber: %u][FileReadPos: %lld] of File[%s].",
                 pstKrdfParser->ulCurSubIndexNum, KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    return PLAYER_ERR_OK;
}

/** Reads what a group says of itself. */
ULONG_32 ReadBlockInfo(KRDF_PARSER_S *pstKrdfParser, const SUB_INDEX_S &stEntry) {
    pstKrdfParser->ulGOPMaxDataLen = stEntry.ulBlockNum * KRDF_BLOCK_SIZE;
    if (!KrdfInner_Seek(pstKrdfParser,
                        pstKrdfParser->ulSubIndexBegin + DULONG{stEntry.ulBlockOffset} * KRDF_BLOCK_SIZE)) {
        KRDF_LOG(pstKrdfParser, "Failed to Seek File Point[FileReadPos :%lld] of File[%s] to GOP Begin.",
                 KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->stDataWindow.ulLen = 0;  // another group may have been written since
    UCHAR aucInfo[KRDF_BLOCK_INFO_SIZE];
    const ULONG_32 ulAhead = std::min<ULONG_32>(pstKrdfParser->ulGOPMaxDataLen, KRDF_BLOCK_SIZE);
    if (!KrdfInner_ReadData(pstKrdfParser, aucInfo, sizeof(aucInfo), ulAhead)) {
        KRDF_LOG(pstKrdfParser, "Failed to Read stBlockInfo[FileReadPos :%lld] of File[%s]",
                 KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    bytes::Reader stReader(aucInfo, sizeof(aucInfo));
    const ULONG_32 ulMark = stReader.U32Le();
    const ULONG_32 ulLength = stReader.U32Le();
    if (ulMark != KRDF_BLOCK_INFO_MARK) {
        KRDF_LOG(pstKrdfParser, "The stBlockInfo.ulreserved[%u] isn't 0x2006. The Position in File[%s] is %d.", ulMark,
                 pstKrdfParser->strLocalFilePath, static_cast<LONG_32>(pstKrdfParser->ulFileReadPos));
        return PLAYER_ERR_KRDF_INDEX;
    }
    if (ulLength > pstKrdfParser->ulGOPMaxDataLen) {
        KRDF_LOG(pstKrdfParser, "stBlockInfo.ulLength[length :%u] is Error. The Position in File is %d.", ulLength,
                 static_cast<LONG_32>(pstKrdfParser->ulFileReadPos));
        return PLAYER_ERR_KRDF_INDEX;
    }
    pstKrdfParser->ulGOPDataLen = ulLength;
    pstKrdfParser->ulReadDataLenInGOP = KRDF_BLOCK_INFO_SIZE;
    return PLAYER_ERR_OK;
}

/** Learns coding and frame rate from the group's first packet, and stays in front of it. */
ULONG_32 LookAtFirstHead(KRDF_PARSER_S *pstKrdfParser) {
    const DULONG dulFirst = pstKrdfParser->ulFileReadPos;
    if (!KrdfInner_ReadHead(pstKrdfParser, KrdfInner_GroupLeft(pstKrdfParser))) {
        KRDF_LOG(pstKrdfParser, "Failed to Read pstKrdfParser->stBlockDataHead [FileReadPos :%lld] of File[%s]",
                 KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    const BLOCK_DATAHEAD_S &stHead = pstKrdfParser->stBlockDataHead;
    if (stHead.ulPacketHead != KRDF_PACKET_HEAD_MARK) {
        KRDF_LOG(pstKrdfParser,
                 "The pstKrdfParser->stBlockDataHead.ulPacketHead isn't 0x1357. The Position in File[%s] is %lld.",
                 pstKrdfParser->strLocalFilePath, KrdfInner_Pos(pstKrdfParser));
        return PLAYER_ERR_KRDF_INDEX;
    }
    pstKrdfParser->ulFrameRate = stHead.ulVideoFrameRate != 0 ? stHead.ulVideoFrameRate : DEFAULT_FRAME_RATE;
    pstKrdfParser->enVideoCodec = static_cast<VIDEO_CODEC_E>(stHead.usStreamType & 7);
    pstKrdfParser->enAudioCodec = AUDIO_CODEC_G711U;
    pstKrdfParser->ulFrameseq = 0;
    if (pstKrdfParser->bFrameGopDestroyed == 1) {  // that was another group
        pstKrdfParser->bFrameGopDestroyed = pstKrdfParser->bReadPacketHead = 0;
    }
    KrdfInner_Seek(pstKrdfParser, dulFirst);
    return PLAYER_ERR_OK;
}

/* ---- entering a unit ---- */

/** Goes to a unit's sub index info and reads how many groups it lists. The current entry stays the caller's. */
ULONG_32 EnterUnit(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulSeekError) {
    KrdfInner_DropIndex(pstKrdfParser);
    pstKrdfParser->ulMainIndexPos = KrdfInner_MainEntryPos(pstKrdfParser, pstKrdfParser->ulMainIndexNum);
    pstKrdfParser->ulSubIndexBegin = KrdfInner_SubIndexPos(pstKrdfParser, pstKrdfParser->ulMainIndexNum);
    if (!KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulSubIndexBegin)) {
        LOG_ERROR(ulSeekError == PLAYER_ERR_KRDF_SEEK
                      ? "Failed to Seek File Point[%lld] to SubIndex Begin of File[%s]"
                      : "Failed to Seek Point[FileReadPos :%lld] of File[%s] to Sub Index Begin",
                  KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return ulSeekError;
    }
    ULONG_32 ulItems = 0;
    if (!KrdfInner_ReadItems(pstKrdfParser, 1, &ulItems)) {
        LOG_ERROR("Failed to Read SubIndexInfo[FileReadPos :%lld] of File[%s]", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    if (ulItems < 2) {
        LOG_ERROR("The SubIndexInfo is Error[FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_INDEX;
    }
    pstKrdfParser->ulMaxSubIndexNum = KrdfInner_Usable(ulItems, KRDF_MAX_SUB_ENTRIES);
    return PLAYER_ERR_OK;
}

/** The first entry of the unit that was entered. */
void ReadFirstEntry(KRDF_PARSER_S *pstKrdfParser) {
    pstKrdfParser->ulCurSubIndexNum = 1;
    pstKrdfParser->ulSubIndexPos = KrdfInner_SubEntryPos(pstKrdfParser, 1);
}

/** Both directions come to their end alike. */
ULONG_32 ReachEnd(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser->bHaveReadEnd == 0) {
        pstKrdfParser->bHaveReadEnd = 1;
        LOG_ERROR("Have Read File[%s] Completely.", pstKrdfParser->strLocalFilePath);
    }
    return PLAYER_ERR_KRDF_READ_END;
}

/** Loads the group that the walk has come to. */
ULONG_32 LoadGroup(KRDF_PARSER_S *pstKrdfParser) {
    KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulSubIndexPos);
    const ULONG_32 ulResult = Krdf_refreshFileInfo(pstKrdfParser);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Refresh File Info of File[%s], The Position of File is %lld.",
                  pstKrdfParser->strLocalFilePath, KrdfInner_Pos(pstKrdfParser));
    }
    return ulResult;
}

/* ---- by time ---- */

/** Times of entries as seconds. Entries follow each other closely: the calendar is asked once a minute of theirs. */
class EntryClock {
 public:
    DLONG SecondsOf(ZARDO_DATE_TIME_S stTime) {
        const LONG_32 lSecond = stTime.lSecond;
        stTime.lSecond = 0;
        if (!m_bKnown || stTime.lMinute != m_stMinute.lMinute || stTime.lHour != m_stMinute.lHour ||
            stTime.lDay != m_stMinute.lDay || stTime.lMonth != m_stMinute.lMonth || stTime.lYear != m_stMinute.lYear) {
            m_dlMinute = Krdf_xpMkTime(&stTime);
            m_stMinute = stTime;
            m_bKnown = true;
        }
        return m_dlMinute + lSecond;
    }

 private:
    bool m_bKnown = false;
    ZARDO_DATE_TIME_S m_stMinute = {};
    DLONG m_dlMinute = 0;
};

/**
 * Reads entries from the first on until one lies behind a time: the number of the one before it, or of the last.
 * @param pfnRead reads the time of the entry at the current place
 * @return 0 if an entry can't be read; *pulFailed is its number then
 */
template <class READ>
ULONG_32 FindEntry(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulMax, DLONG dlTarget, READ pfnRead, ULONG_32 *pulFailed) {
    EntryClock stClock;
    for (ULONG_32 i = 1; i <= ulMax; i++) {
        ZARDO_DATE_TIME_S stTime = {};
        if (!pfnRead(pstKrdfParser, &stTime)) {
            *pulFailed = i;
            return 0;
        }
        if (stClock.SecondsOf(stTime) > dlTarget) {
            return std::max<ULONG_32>(i - 1, 1);
        }
    }
    return ulMax;
}

/** Finds the unit of a time and enters it. */
ULONG_32 JumpToUnit(KRDF_PARSER_S *pstKrdfParser, DLONG dlTarget) {
    KrdfInner_DropIndex(pstKrdfParser);
    if (!KrdfInner_Seek(pstKrdfParser, KrdfInner_MainEntryPos(pstKrdfParser, 1))) {
        LOG_ERROR("Failed to Seek File Point[%lld] of File[%s] to MainIndex Begin", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    ULONG_32 ulFailed = 0;
    const ULONG_32 ulUnit =
        FindEntry(pstKrdfParser, pstKrdfParser->ulMaxMainIndexNum, dlTarget, KrdfInner_ReadMainEntry, &ulFailed);
    if (ulUnit == 0) {
        LOG_ERROR("Failed to Read MainIndex[MainIndexNumber: %u][FileReadPos: %lld] of File[%s].", ulFailed,
                  KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->ulMainIndexNum = ulUnit;
    pstKrdfParser->ulMainIndexPos = KrdfInner_MainEntryPos(pstKrdfParser, ulUnit);
    pstKrdfParser->ulSubIndexBegin = KrdfInner_SubIndexPos(pstKrdfParser, ulUnit);
    ULONG_32 ulItems = 0;
    if (!KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulSubIndexBegin) ||
        !KrdfInner_ReadItems(pstKrdfParser, 1, &ulItems)) {
        LOG_ERROR("Failed to Seek Point[FileReadPos :%lld] of File[%s] to SubDataBlock Begin",
                  KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->ulMaxSubIndexNum = KrdfInner_Usable(ulItems, KRDF_MAX_SUB_ENTRIES);
    return pstKrdfParser->ulMaxSubIndexNum != 0 ? PLAYER_ERR_OK : PLAYER_ERR_KRDF_INDEX;
}

/** Finds the group of a time in the unit that was entered. */
ULONG_32 JumpToGroup(KRDF_PARSER_S *pstKrdfParser, DLONG dlTarget) {
    const auto pfnRead = [](KRDF_PARSER_S *pstParser, ZARDO_DATE_TIME_S *pstTime) {
        SUB_INDEX_S stEntry = {};
        const bool bRead = KrdfInner_ReadSubEntry(pstParser, &stEntry);
        *pstTime = KrdfInner_DateOf(stEntry.stTime);
        return bRead;
    };
    ULONG_32 ulFailed = 0;
    const ULONG_32 ulEntry = FindEntry(pstKrdfParser, pstKrdfParser->ulMaxSubIndexNum, dlTarget, pfnRead, &ulFailed);
    if (ulEntry == 0) {
        LOG_ERROR("Failed to Read CurSubIndexItem[FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->ulCurSubIndexNum = ulEntry;
    pstKrdfParser->ulSubIndexPos = KrdfInner_SubEntryPos(pstKrdfParser, ulEntry);
    return PLAYER_ERR_OK;
}

ULONG_32 CheckJump(const KRDF_PARSER_S *pstKrdfParser, LONG_32 lSeconds) {
    if (pstKrdfParser->hFile == nullptr) {
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    if (lSeconds < 0) {
        LOG_ERROR("The Parameter is Invalid[pstKrdfParser->stJumpTime: %d(s)].", lSeconds);
        return PLAYER_ERR_PARAM;
    }
    if (lSeconds > pstKrdfParser->stTotalTime.lSeconds) {
        LOG_ERROR("The JumpTime[%d] is Over TotalTime[%d].", lSeconds, pstKrdfParser->stTotalTime.lSeconds);
        return PLAYER_ERR_KRDF_JUMP_OVER;
    }
    return PLAYER_ERR_OK;
}

/* ---- the next usable one ---- */

/** Tries the current entry; the lines of all but each thousandth are kept back. */
ULONG_32 TryGroup(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulTried) {
    pstKrdfParser->ulSubIndexPos = KrdfInner_SubEntryPos(pstKrdfParser, pstKrdfParser->ulCurSubIndexNum);
    pstKrdfParser->bQuiet = ulTried % RETRIES_A_LOG != 0;
    const ULONG_32 ulResult = Krdf_refreshFileInfo(pstKrdfParser);
    if (ulResult == PLAYER_ERR_KRDF_INDEX) {
        KRDF_LOG(pstKrdfParser, "Failed to Refresh File Info of File[%s] When Refresh the Index  %u-%u",
                 pstKrdfParser->strLocalFilePath, pstKrdfParser->ulMainIndexNum, pstKrdfParser->ulCurSubIndexNum);
    }
    pstKrdfParser->bQuiet = 0;
    if (ulResult == PLAYER_ERR_OK) {
        LOG_ERROR("Succeed to Open File[%s].", pstKrdfParser->strLocalFilePath);
    } else if (ulResult != PLAYER_ERR_KRDF_INDEX) {
        LOG_ERROR("Failed to Retry Refresh File Info of File[%s].", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    return ulResult;
}

}  // namespace

ULONG_32 Krdf_refreshFileInfo(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstKrdfParser->hFile == nullptr) {
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    pstKrdfParser->dulReadBytes += KRDF_BLOCK_SIZE;
    SUB_INDEX_S stEntry = {};
    ULONG_32 ulResult = ReadEntry(pstKrdfParser, &stEntry);
    if (ulResult == PLAYER_ERR_OK) {
        SetCurTime(pstKrdfParser, stEntry.stTime);
        ulResult = ReadBlockInfo(pstKrdfParser, stEntry);
    }
    return ulResult == PLAYER_ERR_OK ? LookAtFirstHead(pstKrdfParser) : ulResult;
}

ULONG_32 Krdf_refreshFileInfo_retry(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulTried = 0;
    for (; pstKrdfParser->ulMainIndexNum <= pstKrdfParser->ulMaxMainIndexNum; pstKrdfParser->ulMainIndexNum++) {
        ULONG_32 ulResult = EnterUnit(pstKrdfParser, PLAYER_ERR_FILE_READ);
        if (ulResult != PLAYER_ERR_OK) {
            return ulResult;
        }
        while (++pstKrdfParser->ulCurSubIndexNum <= pstKrdfParser->ulMaxSubIndexNum) {
            ulResult = TryGroup(pstKrdfParser, ulTried);
            if (ulResult != PLAYER_ERR_KRDF_INDEX || ++ulTried >= MAX_RETRIES) {
                return ulResult;
            }
        }
        pstKrdfParser->ulCurSubIndexNum = 0;
    }
    return PLAYER_ERR_KRDF_INDEX;
}

ULONG_32 Krdf_goIFrame(KRDF_PARSER_S *pstKrdfParser, LONG_32 lDirection) {
    return lDirection == 1 ? Krdf_goAheadIFrame(pstKrdfParser) : Krdf_goBackIFrame(pstKrdfParser);
}

ULONG_32 Krdf_goAheadIFrame(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstKrdfParser->hFile == nullptr) {
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    if (++pstKrdfParser->ulCurSubIndexNum <= pstKrdfParser->ulMaxSubIndexNum) {
        pstKrdfParser->ulSubIndexPos += KRDF_SUB_ENTRY_SIZE;
        return LoadGroup(pstKrdfParser);
    }
    if (++pstKrdfParser->ulMainIndexNum > pstKrdfParser->ulMaxMainIndexNum) {
        --pstKrdfParser->ulMainIndexNum;
        --pstKrdfParser->ulCurSubIndexNum;
        return ReachEnd(pstKrdfParser);
    }
    const ULONG_32 ulResult = EnterUnit(pstKrdfParser, PLAYER_ERR_KRDF_SEEK);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    ReadFirstEntry(pstKrdfParser);
    return LoadGroup(pstKrdfParser);
}

ULONG_32 Krdf_goBackIFrame(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (pstKrdfParser->hFile == nullptr) {
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    if (pstKrdfParser->ulCurSubIndexNum > 1) {
        --pstKrdfParser->ulCurSubIndexNum;
        pstKrdfParser->ulSubIndexPos -= KRDF_SUB_ENTRY_SIZE;
        return LoadGroup(pstKrdfParser);
    }
    if (pstKrdfParser->ulMainIndexNum <= 1) {
        return ReachEnd(pstKrdfParser);
    }
    --pstKrdfParser->ulMainIndexNum;
    const ULONG_32 ulResult = EnterUnit(pstKrdfParser, PLAYER_ERR_FILE_READ);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    ReadFirstEntry(pstKrdfParser);
    return LoadGroup(pstKrdfParser);
}

ULONG_32 Krdf_jumpByTime(KRDF_PARSER_S *pstKrdfParser, LONG_32 lSeconds) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstKrdfParser->bHaveJump = 1;
    pstKrdfParser->stJumpTime.lSeconds = lSeconds;
    pstKrdfParser->bHaveReadEnd = 0;
    pstKrdfParser->bReadPacketHead = 0;
    return PLAYER_ERR_OK;
}

ULONG_32 Krdf_jumpFileByTime(KRDF_PARSER_S *pstKrdfParser, LONG_32 lSeconds) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = CheckJump(pstKrdfParser, lSeconds);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    // Kept in seconds: by way of a local time and back, a record of the other half of the year would be off by an hour.
    const DLONG dlTarget = Krdf_xpMkTime(&pstKrdfParser->stBeginTime) + lSeconds;
    ulResult = JumpToUnit(pstKrdfParser, dlTarget);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = JumpToGroup(pstKrdfParser, dlTarget);
    }
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    pstKrdfParser->dlOverTime = -1;
    ulResult = Krdf_refreshFileInfo(pstKrdfParser);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Refresh File Info of File[%s], JumpTime is %d(s).", pstKrdfParser->strLocalFilePath,
                  lSeconds);
        return ulResult;
    }
    LOG_ERROR("Successed to Refresh File Info of File[%s], JumpTime is %d(s).", pstKrdfParser->strLocalFilePath,
              lSeconds);
    pstKrdfParser->bHaveReadEnd = 0;
    pstKrdfParser->bFrameBroken = 0;
    return PLAYER_ERR_OK;
}
