// The windows on a record, and the records of its indexes out of their bytes.
#include "file/krdf/krdf_inner.h"

#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

/** Reads up to so many bytes at a place: how many came. */
ULONG_32 ReadFileAt(int iFile, DULONG dulPos, UCHAR *pucTo, ULONG_32 ulCount) {
    ULONG_32 ulDone = 0;
    while (ulDone < ulCount) {
        const ssize_t lRead = pread(iFile, pucTo + ulDone, ulCount - ulDone, static_cast<off_t>(dulPos + ulDone));
        if (lRead > 0) {
            ulDone += static_cast<ULONG_32>(lRead);
        } else if (lRead == 0 || errno != EINTR) {
            break;
        }
    }
    return ulDone;
}

bool Holds(const KRDF_WINDOW_S &stWindow, DULONG dulPos, ULONG_32 ulCount) {
    const DULONG dulOffset = dulPos - stWindow.dulPos;
    return dulPos >= stWindow.dulPos && dulOffset <= stWindow.ulLen && ulCount <= stWindow.ulLen - dulOffset;
}

/** Reads through a window, which is filled with ulAhead bytes where it does not hold what is wanted. */
bool ReadThrough(KRDF_PARSER_S *pstKrdfParser, KRDF_WINDOW_S *pstWindow, UCHAR *pucTo, ULONG_32 ulCount,
                 ULONG_32 ulAhead) {
    const DULONG dulPos = pstKrdfParser->ulFileReadPos;
    if (pstKrdfParser->hFile == nullptr || dulPos > static_cast<DULONG>(INT64_MAX) - pstWindow->ulSize) {
        return false;
    }
    if (!Holds(*pstWindow, dulPos, ulCount)) {
        pstWindow->dulPos = dulPos;
        pstWindow->ulLen = ReadFileAt(fileno(pstKrdfParser->hFile), dulPos, pstWindow->pucData,
                                      std::clamp(ulAhead, ulCount, pstWindow->ulSize));
        if (pstWindow->ulLen < ulCount) {
            return false;
        }
    }
    memcpy(pucTo, pstWindow->pucData + (dulPos - pstWindow->dulPos), ulCount);
    pstKrdfParser->ulFileReadPos += ulCount;
    return true;
}

TIME_STAMP_S StampOf(ULONG_32 ulFirst, ULONG_32 ulSecond) {
    return {ulFirst & 0xFFF,      ulFirst >> 12 & 0xF, ulFirst >> 16 & 0x1F,
            ulFirst >> 21 & 0x1F, ulFirst >> 26,       ulSecond & 0x3F};
}

}  // namespace

bool KrdfInner_ReadIndex(KRDF_PARSER_S *pstKrdfParser, UCHAR *pucTo, ULONG_32 ulCount) {
    return ReadThrough(pstKrdfParser, &pstKrdfParser->stIndexWindow, pucTo, ulCount,
                       pstKrdfParser->stIndexWindow.ulSize);
}

bool KrdfInner_ReadData(KRDF_PARSER_S *pstKrdfParser, UCHAR *pucTo, ULONG_32 ulCount, ULONG_32 ulAhead) {
    return ReadThrough(pstKrdfParser, &pstKrdfParser->stDataWindow, pucTo, ulCount, ulAhead);
}

bool KrdfInner_ReadItems(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulWord, ULONG_32 *pulItems) {
    UCHAR aucInfo[KRDF_INDEX_INFO_SIZE];
    if (!KrdfInner_ReadIndex(pstKrdfParser, aucInfo, sizeof(aucInfo))) {
        return false;
    }
    bytes::Reader stReader(aucInfo, sizeof(aucInfo));
    stReader.Skip(size_t{ulWord} * 4);
    *pulItems = stReader.U32Le();
    return true;
}

bool KrdfInner_ReadMainEntry(KRDF_PARSER_S *pstKrdfParser, ZARDO_DATE_TIME_S *pstTime) {
    UCHAR aucEntry[KRDF_MAIN_ENTRY_SIZE];
    if (!KrdfInner_ReadIndex(pstKrdfParser, aucEntry, sizeof(aucEntry))) {
        return false;
    }
    bytes::Reader stReader(aucEntry, sizeof(aucEntry));
    const ULONG_32 ulFirst = stReader.U32Le();
    *pstTime = KrdfInner_DateOf(StampOf(ulFirst, stReader.U32Le()));
    return true;
}

bool KrdfInner_ReadSubEntry(KRDF_PARSER_S *pstKrdfParser, SUB_INDEX_S *pstEntry) {
    UCHAR aucEntry[KRDF_SUB_ENTRY_SIZE];
    if (!KrdfInner_ReadIndex(pstKrdfParser, aucEntry, sizeof(aucEntry))) {
        return false;
    }
    bytes::Reader stReader(aucEntry, sizeof(aucEntry));
    const ULONG_32 ulFirst = stReader.U32Le();
    const ULONG_32 ulSecond = stReader.U32Le();
    *pstEntry = {StampOf(ulFirst, ulSecond), ulSecond >> 8 & 0x3FF, ulSecond >> 18};
    return true;
}

ZARDO_DATE_TIME_S KrdfInner_DateOf(const TIME_STAMP_S &stStamp) {
    ZARDO_DATE_TIME_S stDate = {};
    stDate.lYear = static_cast<LONG_32>(stStamp.ulYear);
    stDate.lMonth = static_cast<LONG_32>(stStamp.ulMonth);
    stDate.lDay = static_cast<LONG_32>(stStamp.ulDay);
    stDate.lHour = static_cast<LONG_32>(stStamp.ulHour);
    stDate.lMinute = static_cast<LONG_32>(stStamp.ulMinute);
    stDate.lSecond = static_cast<LONG_32>(stStamp.ulSecond);
    return stDate;
}

bool KrdfInner_ReadHead(KRDF_PARSER_S *pstKrdfParser, ULONG_32 ulAhead) {
    UCHAR aucHead[KRDF_PACKET_HEAD_SIZE];
    if (!KrdfInner_ReadData(pstKrdfParser, aucHead, sizeof(aucHead), ulAhead)) {
        return false;
    }
    BLOCK_DATAHEAD_S &stHead = pstKrdfParser->stBlockDataHead;
    bytes::Reader stReader(aucHead, sizeof(aucHead));
    stHead.ulPacketHead = stReader.U32Le();
    bytes::Reader stOut = stReader;
    stOut.Copy(stHead.aucOut, sizeof(stHead.aucOut));
    stReader.Skip(8);  // the time
    const UCHAR ucFlags = stReader.U8();
    stHead.ulType = ucFlags & 1;
    stHead.ulEndOfFrame = ucFlags >> 7;
    stHead.ulVideoFrameRate = stReader.U8() & 0x1F;
    stReader.Skip(3);  // packet number, reserved
    stHead.usStreamType = stReader.U8();
    stHead.usLength = stReader.U16Le();
    return true;
}
