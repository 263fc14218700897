// KRDF records: life of a parser, opening, and what is known of a record.
#include "file/krdf/krdf_parser.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "file/krdf/krdf_inner.h"
#include "foundations/guards.h"

namespace {

const ULONG_32 INDEX_WINDOW_SIZE = 64 * 1024;
const ULONG_32 DATA_WINDOW_SIZE = 256 * 1024;
const DLONG NO_OVER_TIME = -1;
const LONG_32 YEAR_BASE = 1900;

void CloseStream(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser->hFile != nullptr) {
        fclose(pstKrdfParser->hFile);
        pstKrdfParser->hFile = nullptr;
    }
    pstKrdfParser->stIndexWindow.ulLen = 0;
    pstKrdfParser->stDataWindow.ulLen = 0;
}

bool MakeWindow(KRDF_WINDOW_S *pstWindow, ULONG_32 ulSize) {
    pstWindow->pucData = static_cast<UCHAR *>(malloc(ulSize));
    pstWindow->ulSize = ulSize;
    return pstWindow->pucData != nullptr;
}

/* ---- the steps of opening ---- */

ULONG_32 OpenStream(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser->hFile != nullptr) {
        LOG_ERROR("The File[%s] has been Opened.", pstKrdfParser->strLocalFilePath);
        CloseStream(pstKrdfParser);
    }
    pstKrdfParser->hFile = fopen(pstKrdfParser->strLocalFilePath, "rbe");
    if (pstKrdfParser->hFile != nullptr) {
        return PLAYER_ERR_OK;
    }
    LOG_ERROR("Failed to Open File[%s], System Error is %d", pstKrdfParser->strLocalFilePath,
              static_cast<LONG_32>(PLAYER_ERR_FILE_OPEN));
    return PLAYER_ERR_FILE_OPEN;
}

/** A record with a single group has no total time and can't be opened. */
ULONG_32 ReadTimeSpan(KRDF_PARSER_S *pstKrdfParser) {
    if (Krdf_getFileBeginTime(pstKrdfParser) != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Read Begin Time of File[%s].", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_INDEX;
    }
    if (Krdf_getFileEndTime(pstKrdfParser) != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Read End Time of File[%s].", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_INDEX;
    }
    const DLONG dlTotal = Krdf_compareTime(&pstKrdfParser->stEndTime, &pstKrdfParser->stBeginTime);
    pstKrdfParser->stTotalTime.lSeconds = static_cast<LONG_32>(std::clamp<DLONG>(dlTotal, INT_MIN, INT_MAX));
    if (dlTotal <= 0) {
        LOG_ERROR("Total Time[%d(s)] of File[%s] is Error.", pstKrdfParser->stTotalTime.lSeconds,
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_INDEX;
    }
    return PLAYER_ERR_OK;
}

/** Reads the first sub index info. An info without entries leaves the file open. */
ULONG_32 EnterFirstUnit(KRDF_PARSER_S *pstKrdfParser, bool *pbKeepOpen) {
    pstKrdfParser->ulMainIndexNum = 1;
    pstKrdfParser->ulMainIndexPos = KrdfInner_MainEntryPos(pstKrdfParser, 1);
    const DULONG dulBegin = KrdfInner_SubIndexPos(pstKrdfParser, 1);
    if (!KrdfInner_Seek(pstKrdfParser, dulBegin)) {
        LOG_ERROR("Failed to Seek Point[FileReadPos :%lld] of File[%s] to First SubDataBlock Begin",
                  KrdfInner_Pos(pstKrdfParser), pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    ULONG_32 ulItems = 0;
    if (!KrdfInner_ReadItems(pstKrdfParser, 1, &ulItems)) {
        LOG_ERROR("Failed to Read First SubIndexInfo [FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    if (ulItems <= 1) {
        LOG_ERROR("The SubIndexInfo of File[%s] is Error [FileReadPos :%lld].", pstKrdfParser->strLocalFilePath,
                  KrdfInner_Pos(pstKrdfParser));
        *pbKeepOpen = true;
        return PLAYER_ERR_KRDF_INDEX;
    }
    pstKrdfParser->ulMaxSubIndexNum = KrdfInner_Usable(ulItems, KRDF_MAX_SUB_ENTRIES);
    pstKrdfParser->ulCurSubIndexNum = 1;
    pstKrdfParser->ulSubIndexBegin = dulBegin;
    pstKrdfParser->ulSubIndexPos = KrdfInner_SubEntryPos(pstKrdfParser, 1);
    pstKrdfParser->dlOverTime = NO_OVER_TIME;
    return PLAYER_ERR_OK;
}

/** Loads the first group that can be loaded. */
ULONG_32 EnterFirstGroup(KRDF_PARSER_S *pstKrdfParser) {
    ULONG_32 ulResult = Krdf_refreshFileInfo(pstKrdfParser);
    if (ulResult == PLAYER_ERR_KRDF_INDEX) {
        LOG_ERROR("Failed to Refresh File Info of File[%s] When Refresh the First Index %u-%u  ",
                  pstKrdfParser->strLocalFilePath, pstKrdfParser->ulMainIndexNum, pstKrdfParser->ulCurSubIndexNum);
        ulResult = Krdf_refreshFileInfo_retry(pstKrdfParser);
    }
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Failed to Refresh File Info of File[%s].", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    LOG_ERROR("Succeed to Open File[%s].", pstKrdfParser->strLocalFilePath);
    return PLAYER_ERR_OK;
}

/** Reads the main index info, which both ends of the time span begin with. */
ULONG_32 ReadMainItems(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulSeekError) {
    if (pstKrdfParser->hFile == nullptr) {
        LOG_ERROR("The File[%s] has not been Open.", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    KrdfInner_DropIndex(pstKrdfParser);
    if (!KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulFileInitPos + KRDF_MAIN_INDEX_POS)) {
        LOG_ERROR("Failed to Seek File Point[%lld] to MainIndexinfo Begin of File[%s]", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return ulSeekError;
    }
    ULONG_32 ulItems = 0;
    if (!KrdfInner_ReadItems(pstKrdfParser, 0, &ulItems)) {
        LOG_ERROR("Failed to Read MainIndexInfo[FileReadPos :%lld] of File[%s]", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    if (ulItems <= 1) {
        LOG_ERROR("The MainIndexInfo is Error[FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_INDEX;
    }
    pstKrdfParser->ulMaxMainIndexNum = KrdfInner_Usable(ulItems, KRDF_MAX_MAIN_ENTRIES);
    return PLAYER_ERR_OK;
}

}  // namespace

/* ---- life ---- */

KRDF_PARSER_S *Krdf_CreateParser(const CHAR *pcFileName, DULONG dulInitPos) {
    KRDF_PARSER_S *pstKrdfParser =
        pcFileName != nullptr ? static_cast<KRDF_PARSER_S *>(calloc(1, sizeof(KRDF_PARSER_S))) : nullptr;
    if (pstKrdfParser == nullptr || !MakeWindow(&pstKrdfParser->stIndexWindow, INDEX_WINDOW_SIZE) ||
        !MakeWindow(&pstKrdfParser->stDataWindow, DATA_WINDOW_SIZE)) {
        LOG_ERROR("No Memory Create Krdf Parser.");
        Krdf_DestroyParser(pstKrdfParser);
        return nullptr;
    }
    pstKrdfParser->enSourceState = MODULESTATE_ID_RUN;
    pstKrdfParser->enFileReadUnit = FILE_READUNIT_ID_FRAME;
    pstKrdfParser->bReadForward = 1;
    pstKrdfParser->ulFileInitPos = dulInitPos;
    pstKrdfParser->enVideoCodec = VIDEO_CODEC_UNKNOW;
    pstKrdfParser->enAudioCodec = AUDIO_CODEC_NONE;
    pstKrdfParser->dlOverTime = NO_OVER_TIME;
    pstKrdfParser->ulJumpFrameAmount = 1;
    strncpy(pstKrdfParser->strLocalFilePath, pcFileName, sizeof(pstKrdfParser->strLocalFilePath) - 1);
    QLOM_SDK_mutex_init(0, nullptr, &pstKrdfParser->oMutexSourceControl);
    return pstKrdfParser;
}

void Krdf_DestroyParser(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return;
    }
    if (pstKrdfParser->ulJumpFrameAmount != 0) {  // made to its end
        Krdf_closeFile(pstKrdfParser);
        QLOM_SDK_mutex_destroy(&pstKrdfParser->oMutexSourceControl);
    }
    free(pstKrdfParser->stIndexWindow.pucData);
    free(pstKrdfParser->stDataWindow.pucData);
    free(pstKrdfParser);
}

ULONG_32 Krdf_openDestSource(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    bool bKeepOpen = false;
    ULONG_32 ulResult = OpenStream(pstKrdfParser);
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = ReadTimeSpan(pstKrdfParser);
    }
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = EnterFirstUnit(pstKrdfParser, &bKeepOpen);
    }
    if (ulResult == PLAYER_ERR_OK) {
        ulResult = EnterFirstGroup(pstKrdfParser);
    }
    if (ulResult != PLAYER_ERR_OK && !bKeepOpen) {
        CloseStream(pstKrdfParser);
    }
    return ulResult;
}

ULONG_32 Krdf_closeFile(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    CloseStream(pstKrdfParser);
    pstKrdfParser->bReadPacketHead = 0;
    pstKrdfParser->enSourceState = MODULESTATE_ID_STOP;
    pstKrdfParser->ulMainIndexNum = pstKrdfParser->ulMaxMainIndexNum = 0;
    pstKrdfParser->ulCurSubIndexNum = pstKrdfParser->ulMaxSubIndexNum = 0;
    pstKrdfParser->ulMainIndexPos = pstKrdfParser->ulSubIndexPos = pstKrdfParser->ulSubIndexBegin = 0;
    pstKrdfParser->ulFileReadPos = pstKrdfParser->ulFileInitPos = 0;
    {
        const CMutexGuard oGuard(&pstKrdfParser->oMutexSourceControl);
        pstKrdfParser->stBeginTime = pstKrdfParser->stPreTime = {};
        pstKrdfParser->stCurTime = pstKrdfParser->stEndTime = {};
    }
    pstKrdfParser->stTotalTime = {};
    pstKrdfParser->lPlayTime = 0;
    pstKrdfParser->dlOverTime = 0;
    pstKrdfParser->strLocalFilePath[0] = '\0';
    pstKrdfParser->bHaveReadEnd = 0;
    pstKrdfParser->stBlockDataHead = {};
    pstKrdfParser->enVideoCodec = VIDEO_CODEC_UNKNOW;
    pstKrdfParser->enAudioCodec = AUDIO_CODEC_NONE;
    return PLAYER_ERR_OK;
}

/* ---- what is known ---- */

ULONG_32 Krdf_getFileBeginTime(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = ReadMainItems(pstKrdfParser, PLAYER_ERR_FILE_READ);
    if (ulResult == PLAYER_ERR_OK && !KrdfInner_ReadMainEntry(pstKrdfParser, &pstKrdfParser->stBeginTime)) {
        LOG_ERROR("Failed to Read MainIndex[FileReadPos :%lld] of File[%s]", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        ulResult = PLAYER_ERR_FILE_READ;
    }
    return ulResult;
}

ULONG_32 Krdf_getFileEndTime(KRDF_PARSER_S *pstKrdfParser) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ULONG_32 ulResult = ReadMainItems(pstKrdfParser, PLAYER_ERR_KRDF_SEEK);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    const DULONG dulInfo = KrdfInner_SubIndexPos(pstKrdfParser, pstKrdfParser->ulMaxMainIndexNum);
    ULONG_32 ulItems = 0;
    SUB_INDEX_S stEntry = {};
    if (!KrdfInner_Seek(pstKrdfParser, dulInfo) || !KrdfInner_ReadItems(pstKrdfParser, 1, &ulItems)) {
        return PLAYER_ERR_FILE_READ;
    }
    const ULONG_32 ulLast = KrdfInner_Usable(ulItems, KRDF_MAX_SUB_ENTRIES);
    if (ulLast == 0) {
        LOG_ERROR("The SubIndexInfo is Error[FileReadPos :%lld] of File[%s].", KrdfInner_Pos(pstKrdfParser),
                  pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_FILE_READ;
    }
    if (!KrdfInner_Seek(pstKrdfParser, pstKrdfParser->ulFileReadPos + DULONG{ulLast - 1} * KRDF_SUB_ENTRY_SIZE) ||
        !KrdfInner_ReadSubEntry(pstKrdfParser, &stEntry)) {
        return PLAYER_ERR_FILE_READ;
    }
    pstKrdfParser->stEndTime = KrdfInner_DateOf(stEntry.stTime);
    return PLAYER_ERR_OK;
}

ULONG_32 Krdf_getCurPlayTime(KRDF_PARSER_S *pstKrdfParser, ULONG_32 *pulPlayTime) {
    if (pstKrdfParser == nullptr || pulPlayTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    ZARDO_DATE_TIME_S stCurTime;
    {
        const CMutexGuard oGuard(&pstKrdfParser->oMutexSourceControl);
        stCurTime = pstKrdfParser->stCurTime;
    }
    // A damaged entry may lie before the begin.
    *pulPlayTime = static_cast<ULONG_32>(
        std::clamp<DLONG>(Krdf_compareTime(&stCurTime, &pstKrdfParser->stBeginTime), 0, UINT_MAX));
    if (pstKrdfParser->hFile == nullptr) {
        LOG_ERROR("The File[%s] has not been Open.", pstKrdfParser->strLocalFilePath);
        return PLAYER_ERR_KRDF_NOT_OPEN;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 Krdf_getTotalTime(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser != nullptr ? static_cast<ULONG_32>(pstKrdfParser->stTotalTime.lSeconds) : 0;
}

VIDEO_CODEC_E Krdf_getVideoCodecType(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser != nullptr ? pstKrdfParser->enVideoCodec : VIDEO_CODEC_UNKNOW;
}

AUDIO_CODEC_E Krdf_getAudioCodecType(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser != nullptr ? pstKrdfParser->enAudioCodec : AUDIO_CODEC_NONE;
}

ULONG_32 Krdf_getFrameRate(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser != nullptr ? pstKrdfParser->ulFrameRate : 0;
}

BOOL_T Krdf_getReadFileEndState(const KRDF_PARSER_S *pstKrdfParser) {
    return pstKrdfParser != nullptr ? pstKrdfParser->bHaveReadEnd : 0;
}

BOOL_T Krdf_getReadFileBeginState(const KRDF_PARSER_S *) { return 0; }

ULONG_32 Krdf_setReadMode(KRDF_PARSER_S *pstKrdfParser, FILE_READ_UNIT_E enFileReadUnit) {
    if (pstKrdfParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstKrdfParser->enFileReadUnit = enFileReadUnit;
    return PLAYER_ERR_OK;
}

/* ---- helpers ---- */

DLONG Krdf_xpMkTime(const ZARDO_DATE_TIME_S *pstDateTime) {
    if (pstDateTime == nullptr || pstDateTime->lYear < INT_MIN + YEAR_BASE || pstDateTime->lMonth == INT_MIN) {
        return -1;
    }
    ZARDO_DATE_TIME_S stLocal = *pstDateTime;
    stLocal.lYear -= YEAR_BASE;
    stLocal.lMonth -= 1;
    return ZARDO_mktime_withdst(&stLocal);
}

DLONG Krdf_compareTime(const ZARDO_DATE_TIME_S *pstFirst, const ZARDO_DATE_TIME_S *pstSecond) {
    return Krdf_xpMkTime(pstFirst) - Krdf_xpMkTime(pstSecond);
}

ULONG_32 Krdf_transferFrameRate(ULONG_32 ulCode, ULONG_32 *pulFrameRate) {
    static const ULONG_32 aulRate[] = {3, 5, 8, 10, 15, 20, 25, 30};
    if (pulFrameRate == nullptr || ulCode >= sizeof(aulRate) / sizeof(aulRate[0])) {
        LOG_ERROR("[ERROR] traseferFrameRate: Unknown Frame Rate %u with R1 Board.\n", ulCode);
        return PLAYER_ERR_PARAM;
    }
    *pulFrameRate = aulRate[ulCode];
    return PLAYER_ERR_OK;
}
