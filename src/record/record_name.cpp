#include "record/record_name.h"

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "foundations/com_log.h"
#include "foundations/com_public_fun.h"
#include "foundations/shared_word.h"
#include "record/record_container.h"

namespace {

using NAME = CHAR[PLAYER_FILE_NAME_LEN];

const CHAR *const STAMP_START = "_S%04d%02d%02d%02d%02d%02d";
const CHAR *const STAMP_END = "_E%04d%02d%02d%02d%02d%02d";
const CHAR *const TEMP_ENDING = ".temp";
const ULONG_32 STAMP_ROOM = 80; /**< six numbers of any width */
const ULONG_32 MAX_TRIES = 99999;
const ULONG_32 TEN_YEARS = 315360000;
const ULONG_32 NTP_TO_UNIX = 0x83AA7E80; /**< seconds from 1900 to 1970 */

struct DATE_S {
    int lYear, lMonth, lDay, lHour, lMinute, lSecond;
};

/** A date in a name. */
struct STAMP_S {
    CHAR szText[STAMP_ROOM];

    STAMP_S(const CHAR *pcFormat, const DATE_S &st) {
        snprintf(szText, sizeof(szText), pcFormat, st.lYear, st.lMonth, st.lDay, st.lHour, st.lMinute, st.lSecond);
    }
};

DATE_S Now() {
    SYSTEMTIME st = {};
    GetLocalTime(&st);
    return {st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond};
}

DATE_S DateOf(ULONG_32 ulSeconds) {
    struct tm st = {};
    Player_SecondsToDate(ulSeconds, &st);
    return {st.tm_year, st.tm_mon, st.tm_mday, st.tm_hour, st.tm_min, st.tm_sec};
}

/** Overwrites a name from a place inside it on with these texts, as far as there is room. */
void Overwrite(NAME &szName, CHAR *pcAt, std::initializer_list<const CHAR *> oTexts) {
    CHAR *const pcLast = szName + sizeof(szName) - 1;
    for (const CHAR *pcText : oTexts) {
        const size_t ulLen = std::min(strlen(pcText), static_cast<size_t>(pcLast - pcAt));
        memcpy(pcAt, pcText, ulLen);
        pcAt += ulLen;
    }
    *pcAt = '\0';
}

void Append(NAME &szName, std::initializer_list<const CHAR *> oTexts) {
    Overwrite(szName, szName + strnlen(szName, sizeof(szName) - 1), oTexts);
}

void Copy(NAME &szName, const CHAR *pcFrom) {
    CHAR *pcEnd = szName + strnlen(pcFrom, sizeof(szName) - 1);
    memmove(szName, pcFrom, static_cast<size_t>(pcEnd - szName));
    *pcEnd = '\0';
}

/** Cuts an extension of a container off, whichever the format is. */
void CutExtension(NAME &szName) {
    CHAR *pcPoint = strrchr(szName, '.');
    for (RECORD_CONTAINER_E en : {RECORD_CONTAINER_TS, RECORD_CONTAINER_MP4, RECORD_CONTAINER_AVI}) {
        if (pcPoint != nullptr && strcmp(pcPoint, RecordContainer_Of(en).pcExtension) == 0) {
            *pcPoint = '\0';
        }
    }
}

void SetTempName(PORT_RECORD_S *pstRecording) {
    Copy(pstRecording->szFileName, pstRecording->szFileNameTemp);
    Append(pstRecording->szFileName, {TEMP_ENDING});
}

/**
 * Where what tells a further file from the one before goes: at pcAt if that and the ending fit, else further to the
 * front of the file's own name. Names that are all cut at the same place are one name, and each file would replace the
 * one before.
 */
CHAR *PlaceFor(NAME &szName, CHAR *pcAt, size_t ulLen, size_t ulEnding) {
    if (ulLen + ulEnding <= static_cast<size_t>(szName + sizeof(szName) - 1 - pcAt)) {
        return pcAt;
    }
    CHAR *pcSlash = strrchr(szName, '/');
    CHAR *pcOwn = pcSlash != nullptr ? pcSlash + 1 : szName;
    return std::min(pcAt, std::max(pcOwn, szName + sizeof(szName) - 1 - STAMP_ROOM));
}

/** Plain files are counted; what the client's name has behind a "_part" of its own is lost. */
void CountPart(PORT_RECORD_S *pstRecording) {
    CHAR szCount[STAMP_ROOM];
    snprintf(szCount, sizeof(szCount), "_part%d", static_cast<LONG_32>(++pstRecording->ulFileCount));
    CHAR *pcAt = strstr(pstRecording->szFileNameTemp, "_part");
    pcAt = pcAt != nullptr ? pcAt : strchr(pstRecording->szFileNameTemp, '\0');
    Overwrite(pstRecording->szFileNameTemp,
              PlaceFor(pstRecording->szFileNameTemp, pcAt, strlen(szCount), strlen(TEMP_ENDING)), {szCount});
}

void RenewStartStamp(PLAEYR_PORT_S *pstPort) {
    CHAR *pcAt = strrchr(pstPort->szFileNameTemp, '_');
    if (pcAt == nullptr) {
        LOG_WARN("Port[%03d] Player_CreateNewFile Warning, Not Find File Name.", pstPort->ulPort);
        pcAt = strchr(pstPort->szFileNameTemp, '\0');
        if (pcAt != pstPort->szFileNameTemp + sizeof(pstPort->szFileNameTemp) - 1) {
            return;
        }
    }
    const STAMP_S stStamp(STAMP_START, Now());
    const size_t ulLen = strlen(stStamp.szText);
    pcAt = PlaceFor(pstPort->szFileNameTemp, pcAt, ulLen, ulLen + strlen(".mp4"));  // the end's stamp is as long
    Overwrite(pstPort->szFileNameTemp, pcAt, {stStamp.szText});
}

/** The stream's own times take the place of the stamp that the name got at the start. */
void PutStreamTimes(const PLAEYR_PORT_S *pstPort, const CHAR *pcExtension, NAME &szFinal) {
    Copy(szFinal, pstPort->szFileName);
    CHAR *pcAt = strrchr(szFinal, '_');
    if (pcAt == nullptr) {
        LOG_WARN("Port[%03d] Player_CreateNewFile Warning, Invalid File Name.", pstPort->ulPort);
        return;
    }
    const STAMP_S stStart(STAMP_START, DateOf(pstPort->ulRecordFileBeginTime));
    const STAMP_S stEnd(STAMP_END, DateOf(pstPort->ulRecordFileEndTime));
    Overwrite(szFinal, pcAt, {stStart.szText, stEnd.szText, pcExtension});
}

void PutClock(const CHAR *pcBase, const CHAR *pcExtension, NAME &szFinal) {
    Copy(szFinal, pcBase);
    Append(szFinal, {STAMP_S(STAMP_END, Now()).szText, pcExtension});
}

struct EXIST_CHECK_S {
    ULONG_32 aulTypes[2];
    const CHAR *pcExtension;
    const CHAR *pcMissing; /**< log line */
};

const EXIST_CHECK_S gastExistCheck[] = {
    {{PLAYER_FILE_FORMATE_MP4_ADD_RCD_TIME, PLAYER_FILE_FORMATE_VIDEO_MP4_ADD_RCD_TIME},
     ".mp4",
     "Player_IsFileExist: Not Mp4 File, File Path: %s."},
    {{PLAYER_FILE_FORMATE_TS_ADD_RCD_TIME, PLAYER_FILE_FORMATE_VIDEO_TS_ADD_RCD_TIME},
     ".ts",
     "Player_IsFileExist: Not TS File, File Path: %s."},
    {{PLAYER_FILE_FORMATE_AVI_ADD_RCD_TIME, PLAYER_FILE_FORMATE_VIDEO_AVI_ADD_RCD_TIME},
     ".avi",
     "Player_IsFileExist: Not AVI File, File Path: %s."},
    {{RECORD_EXIST_CHECK_TEMP, RECORD_EXIST_CHECK_TEMP}, ".temp", "Player_IsFileExist: Not Temp File, File Path: %s."},
};

const EXIST_CHECK_S *FindExistCheck(ULONG_32 ulType) {
    for (const EXIST_CHECK_S &stRow : gastExistCheck) {
        if (ulType == stRow.aulTypes[0] || ulType == stRow.aulTypes[1]) {
            return &stRow;
        }
    }
    return nullptr;
}

/** Writes the number into the path; false when the path can't take it. */
bool PutNumber(const EXIST_CHECK_S &stCheck, ULONG_32 ulNumber, CHAR *pcFilePath, ULONG_32 ulFilePathSize) {
    CHAR *pcAt = strchr(pcFilePath, '(');
    if (pcAt == nullptr) {
        pcAt = strstr(pcFilePath, stCheck.pcExtension);
    }
    if (pcAt == nullptr) {
        LOG_ERROR(stCheck.pcMissing, pcFilePath);
        return false;
    }
    CHAR szEnding[STAMP_ROOM];
    snprintf(szEnding, sizeof(szEnding), "(%u)%s", ulNumber, stCheck.pcExtension);
    const ULONG_32 ulRoom = ulFilePathSize - static_cast<ULONG_32>(pcAt - pcFilePath) - 1;
    const size_t ulLen = std::min<size_t>(strlen(szEnding), ulRoom > 0 ? ulRoom - 1 : 0);
    if (strlen(pcAt) == ulLen && strncmp(pcAt, szEnding, ulLen) == 0) {
        return false;  // the number no longer fits: the same path would be tried for ever
    }
    memcpy(pcAt, szEnding, ulLen);
    pcAt[ulLen] = '\0';
    return true;
}

PLAYER_RECORD_FILENAME_LIST_S *MakeNode(const CHAR *pcFileName) {
    auto *pstNode = static_cast<PLAYER_RECORD_FILENAME_LIST_S *>(calloc(1, sizeof(PLAYER_RECORD_FILENAME_LIST_S)));
    if (pstNode != nullptr) {
        Copy(pstNode->szFileName, pcFileName);
    }
    return pstNode;
}

void RefuseNode(const PLAEYR_PORT_S &stPort, const CHAR *pcFileName) {
    LOG_ERROR("Port[%03d] Record: No Memory To List The File:[%s].", stPort.ulPort, pcFileName);
}

}  // namespace

void RecordName_Begin(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat, const CHAR *pcFileName) {
    Copy(pstPort->szFileNameTemp, pcFileName);
    CutExtension(pstPort->szFileNameTemp);
    if (stFormat.enStamp != RECORD_STAMP_NONE) {
        Append(pstPort->szFileNameTemp, {STAMP_S(STAMP_START, Now()).szText});
    }
    SetTempName(pstPort);
    if (stFormat.enStamp == RECORD_STAMP_STREAM) {
        Player_FileExistCheck(RECORD_EXIST_CHECK_TEMP, pstPort->szFileName, sizeof(pstPort->szFileName));
    }
}

void RecordName_Final(const PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat, const CHAR *pcBase,
                      CHAR (&szFinal)[PLAYER_FILE_NAME_LEN]) {
    const RECORD_CONTAINER_S &stContainer = RecordContainer_Of(stFormat.enContainer);
    if (stFormat.enStamp == RECORD_STAMP_NONE) {
        Copy(szFinal, pcBase);
        Append(szFinal, {stContainer.pcExtension});
        return;
    }
    const bool bStreamTime = pstPort->ulRecordFileBeginTime != 0 && pstPort->ulRecordFileEndTime != 0;
    if (stFormat.enStamp == RECORD_STAMP_STREAM && bStreamTime) {
        PutStreamTimes(pstPort, stContainer.pcExtension, szFinal);
    } else {
        PutClock(pcBase, stContainer.pcExtension, szFinal);
    }
    if (stFormat.enStamp == RECORD_STAMP_STREAM) {
        Player_FileExistCheck(stContainer.ulExistCheck, szFinal, sizeof(szFinal));
    }
}

void RecordName_Next(PLAEYR_PORT_S *pstPort, const RECORD_FORMAT_S &stFormat) {
    if (stFormat.enStamp == RECORD_STAMP_NONE) {
        CountPart(pstPort);
    } else {
        RenewStartStamp(pstPort);
    }
    SetTempName(pstPort);
    if (stFormat.enStamp == RECORD_STAMP_STREAM && stFormat.enContent == RECORD_CONTENT_ALL) {
        Player_FileExistCheck(RECORD_EXIST_CHECK_TEMP, pstPort->szFileName, sizeof(pstPort->szFileName));
    }
}

ULONG_32 Player_FileExistCheck(ULONG_32 enMediaFileFormat, CHAR *pcFilePath, ULONG_32 ulFilePathSize) {
    if (pcFilePath == nullptr) {
        LOG_ERROR("Player_IsFileExist: Invalid Param, File Path is NULL.");
        return PLAYER_ERR_PARAM;
    }
    const size_t ulLen = strnlen(pcFilePath, ulFilePathSize);
    if (ulFilePathSize < ulLen + 5) {
        LOG_ERROR("Player_IsFileExist: File Path Len Not Enough, File path:(%.*s), Size:[%d].", static_cast<int>(ulLen),
                  pcFilePath, static_cast<LONG_32>(ulFilePathSize));
        return PLAYER_ERR_PARAM;
    }
    const EXIST_CHECK_S *pstCheck = FindExistCheck(enMediaFileFormat);
    for (ULONG_32 ulNumber = 1; access(pcFilePath, F_OK) == 0; ulNumber++) {
        if (pstCheck == nullptr) {
            return PLAYER_ERR_OK;
        }
        if (ulNumber > MAX_TRIES || !PutNumber(*pstCheck, ulNumber, pcFilePath, ulFilePathSize)) {
            return PLAYER_ERR_PARAM;
        }
    }
    return PLAYER_ERR_OK;
}

void Player_SecondsToDate(ULONG_32 ulSeconds, struct tm *tmDate) {
    if (tmDate == nullptr) {
        return;
    }
    const time_t lNow = time(nullptr);
    const bool bNtp = static_cast<time_t>(ulSeconds) > lNow + static_cast<time_t>(TEN_YEARS);
    const time_t lTime = static_cast<time_t>(ulSeconds) - (bNtp ? static_cast<time_t>(NTP_TO_UNIX) : 0);
    *tmDate = {};
    localtime_r(&lTime, tmDate);
    tmDate->tm_year += 1900;
    tmDate->tm_mon += 1;
}

void Player_AddFileNameNode(PLAEYR_PORT_S *pstPort, const CHAR *pcFileName) {
    PLAYER_RECORD_FILENAME_LIST_S *pstNode = MakeNode(pcFileName);
    if (pstNode == nullptr) {
        RefuseNode(*pstPort, pcFileName);
        return;
    }
    PLAYER_RECORD_FILES_NAME_INFO_S *pstList = pstPort->pstRecordFilesName;
    if (pstList != nullptr) {
        word::StoreRelease(pstPort->pstFileNameCurNode->pstNext, pstNode);
        pstPort->pstFileNameCurNode = pstNode;
        word::StoreRelease(pstList->ulFileCount, pstList->ulFileCount + 1);
        return;
    }
    pstList = static_cast<PLAYER_RECORD_FILES_NAME_INFO_S *>(calloc(1, sizeof(PLAYER_RECORD_FILES_NAME_INFO_S)));
    if (pstList == nullptr) {
        RefuseNode(*pstPort, pcFileName);
        free(pstNode);
        return;
    }
    *pstList = {1, pstNode};
    pstPort->pstFileNameCurNode = pstNode;
    word::StoreRelease(pstPort->pstRecordFilesName, pstList);
}
