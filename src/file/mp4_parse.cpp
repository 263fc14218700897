#include "file/mp4_parse.h"

#include <unistd.h>

#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>

#include "file/mp4_inner.h"
#include "file/mp4_places.h"
#include "foundations/bytes.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "intake/module_rtp.h"

namespace {

/** Boxes of a file; a recording has about four. */
constexpr ULONG_32 ROOT_BOXES_MAX = 1 << 16;

constexpr LONG_32 TICKS_A_SECOND = 90000;
constexpr ULONG_32 USUAL_FRAME_RATE = 25;
constexpr LONG_32 FRAME_RATE_MAX = 60;
constexpr LONG_32 SECONDS_A_DAY = 86400;

/** Zeros from a place on. */
DLONG CountZeros(FILE *pFile, DLONG dlPos) {
    UCHAR aucBlock[4096];
    DLONG dlZeros = 0;
    for (bool bZero = fseeko(pFile, dlPos, SEEK_SET) == 0; bZero;) {
        const size_t ulRead = fread(aucBlock, 1, sizeof(aucBlock), pFile);
        size_t i = 0;
        if (ulRead == sizeof(aucBlock) && aucBlock[0] == 0 && memcmp(aucBlock, aucBlock + 1, ulRead - 1) == 0) {
            i = ulRead;  // a hole of gigabytes takes no longer than its reading
        }
        while (i < ulRead && aucBlock[i] == 0) {
            ++i;
        }
        dlZeros += static_cast<DLONG>(i);
        bZero = i == sizeof(aucBlock);
    }
    return dlZeros;
}

bool IsRootType(const UCHAR *pucType) {
    constexpr CHAR aszTypes[][5] = {"ftyp", "moov", "mdat", "free"};
    return std::any_of(std::begin(aszTypes), std::end(aszTypes),
                       [pucType](const CHAR *pcType) { return memcmp(pucType, pcType, 4) == 0; });
}

/**
 * Where the next box starts, at a place or behind the zeros there. The last four zeros may belong to its size, so that
 * its type decides how many do; if it has none of the known ones, all four are taken to.
 */
DLONG SkipZeros(FILE *pFile, DLONG dlPos) {
    constexpr DLONG SIZE_BYTES = 4;
    const DLONG dlEnd = dlPos + CountZeros(pFile, dlPos);
    const DLONG dlFirst = std::max(dlPos, dlEnd - SIZE_BYTES);
    UCHAR aucHeads[12] = {};
    if (fseeko(pFile, dlFirst, SEEK_SET) == 0) {
        Mp4_ReadBytes(pFile, aucHeads, sizeof(aucHeads));
    }
    for (DLONG dlAt = dlFirst; dlAt <= dlEnd; ++dlAt) {
        if (IsRootType(aucHeads + (dlAt - dlFirst) + SIZE_BYTES)) {
            return dlAt;
        }
    }
    return dlFirst;
}

/** Walks the boxes of a file. False for a damaged one. */
bool ReadRootBoxes(FILE *pFile, mp4_moov_box *pstParser) {
    const DLONG dlLength = Mp4_FileLength(pFile);
    DLONG dlPos = 0;
    for (ULONG_32 i = 0; i < ROOT_BOXES_MAX; ++i) {
        DLONG dlBoxSize = 0;
        if (fseeko(pFile, dlPos, SEEK_SET) != 0 || mp4_read_root_box(pFile, pstParser, &dlBoxSize) != 0) {
            LOG_ERROR("mp4_read_root_box Failed.");
            return false;
        }
        if (dlBoxSize <= 0 || dlLength - dlPos < dlBoxSize) {
            break;
        }
        dlPos = SkipZeros(pFile, dlPos + dlBoxSize);
        if (ferror(pFile) != 0) {  // what is missing would pass for what the file doesn't have
            LOG_ERROR("MP4_CreateMp4Parser Failed, File Can't Be Read.");
            return false;
        }
        if (dlLength - dlPos < static_cast<DLONG>(MP4_HEAD_SIZE)) {
            return true;
        }
    }
    LOG_ERROR("MP4_CreateMp4Parser Failed, Box Size OverFlow.");
    return Mp4_HasFragments(*pstParser);  // which stand for themselves, so that a file cut behind one plays
}

bool IsVideo(const mp4_moov_box &stParser, LONG_32 lIndex) {
    return stParser.list[static_cast<size_t>(lIndex)].type == stParser.iVideoTrak;
}

bool IsKey(const mp4_moov_box &stParser, LONG_32 lIndex) { return stParser.list[static_cast<size_t>(lIndex)].key == 1; }

LONG_32 ListSize(const mp4_moov_box &stParser) { return static_cast<LONG_32>(stParser.list.size()); }

/** The big-endian time in the last 8 bytes of the first box, behind four zeros; the file stands at its start. */
bool ReadRecordTime(FILE *pFile, ULONG_32 *pulTime) {
    const ULONG_32 ulSize = read_uint32_lit(pFile);
    if (ulSize < 2 * MP4_HEAD_SIZE || fseeko(pFile, DLONG{ulSize} - MP4_HEAD_SIZE, SEEK_SET) != 0) {
        return false;
    }
    UCHAR aucTail[MP4_HEAD_SIZE];
    bytes::Reader stReader(aucTail, fread(aucTail, 1, sizeof(aucTail), pFile));
    const ULONG_32 ulZero = stReader.U32Be();
    *pulTime = stReader.U32Be();
    return stReader.Ok() && ulZero == 0;
}

/** One kind of parameter set: where it is stored, and how the log calls it. */
struct PARAMETER_SET_ROW {
    const CHAR *pcUpper;
    const CHAR *pcName;
    UCHAR ucNal;
    const UCHAR *pucOld;
    LONG_32 lOldLen;
    size_t ulOldRoom;
};

enum class Compared { kSame, kDifferent, kNotFound };

Compared CompareParameterSet(UCHAR *pucData, LONG_32 lLen, const PARAMETER_SET_ROW &stRow) {
    if (stRow.lOldLen == 0) {
        return Compared::kSame;
    }
    UCHAR *pucNew = nullptr;
    LONG_32 lNewLen = 0;
    const ULONG_32 ulResult = RTP_FindDataByNAL(PLAYER_PAYLOAD_H264, stRow.ucNal, pucData, lLen, &pucNew, &lNewLen);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("MP4_IsDiffSpsPps Failed, RTP_FindDataByNAL(%s) Failed, Error[0x%x].", stRow.pcUpper, ulResult);
        return Compared::kNotFound;
    }
    if (lNewLen != stRow.lOldLen || lNewLen < 0 || static_cast<size_t>(lNewLen) > stRow.ulOldRoom) {
        LOG_INFO("MP4_IsDiffSpsPps Info, New %sLen[%d] != Old %sLen[%d].", stRow.pcName, lNewLen, stRow.pcName,
                 stRow.lOldLen);
        return Compared::kDifferent;
    }
    if (memcmp(pucNew, stRow.pucOld, static_cast<size_t>(lNewLen)) != 0) {
        LOG_INFO("MP4_IsDiffSpsPps Info, New %s != Old %s.", stRow.pcName, stRow.pcName);
        return Compared::kDifferent;
    }
    return Compared::kSame;
}

}  // namespace

BOOL_T MP4_IsMp4File(FILE *pFile) {
    if (pFile == nullptr) {
        return 0;
    }
    const DLONG dlPos = ftello(pFile);
    const MP4_HEAD_S stHead = Mp4_ReadHead(pFile, 0);
    fseeko(pFile, dlPos, SEEK_SET);
    return Mp4_IsType(stHead, "ftyp") ? 1 : 0;
}

mp4_moov_box *MP4_CreateMp4Parser(FILE *pFile, LONG_32 lFlag) {
    if (pFile == nullptr) {
        return nullptr;
    }
    std::unique_ptr<mp4_moov_box> pstParser(new (std::nothrow) mp4_moov_box);
    if (pstParser == nullptr) {
        LOG_ERROR("WYK_HeapMalloc Memory(Size:%d) Failed.", static_cast<LONG_32>(sizeof(mp4_moov_box)));
        return nullptr;
    }
    if (!ReadRootBoxes(pFile, pstParser.get()) || make_sample_list(pstParser.get(), lFlag) != 0) {
        return nullptr;
    }
    pstParser->bInitRead = 0;
    return pstParser.release();
}

void MP4_ReleaseMp4Parser(mp4_moov_box *pstParser) { delete pstParser; }

mp4_trak_box *MP4_FindTrakByType(mp4_moov_box *pstParser, const CHAR *pcType) {
    if (pstParser == nullptr || pcType == nullptr) {
        return nullptr;
    }
    for (mp4_trak_box &stTrack : pstParser->trak) {
        if (strcmp(stTrack.mdia.hdlr.handler_type, pcType) == 0) {
            return &stTrack;
        }
    }
    return nullptr;
}

ULONG_32 MP4_GetMp4Info(mp4_moov_box *pstParser, MP4_INFO_S *pstInfo) {
    if (pstParser == nullptr || pstInfo == nullptr) {
        LOG_ERROR("MP4_GetMp4Info Failed, Mp4info is Null.");
        return PLAYER_ERR_PARAM;
    }
    *pstInfo = {};
    const mp4_mvhd_box &stHead = pstParser->mvhd;
    pstInfo->ulPlayTime = stHead.timescale != 0 ? stHead.duration / stHead.timescale : 0;
    if (pstParser->timescale == 0) {
        LOG_WARN("MP4_GetMp4Info Failed, Timescale == 0.");
    } else {
        pstInfo->ulFrameRate = static_cast<ULONG_32>(TICKS_A_SECOND / pstParser->timescale);
    }
    if (pstInfo->ulFrameRate == 0) {
        pstInfo->ulFrameRate = USUAL_FRAME_RATE;
    }
    return PLAYER_ERR_OK;
}

/* ---- position -------------------------------------------------------------------------------------------------- */

ULONG_32 MP4_SetPlayTime(FILE * /*pFile*/, mp4_moov_box *pstParser, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    if (pstParser == nullptr) {
        LOG_ERROR("MP4_SetPlayTime Failed, Mp4info is Null.");
        return PLAYER_ERR_PARAM;
    }
    const bool bRate = lFrameRate >= 1 && lFrameRate <= FRAME_RATE_MAX;
    DULONG dulLeft = DULONG{ulSeconds} * (bRate ? static_cast<ULONG_32>(lFrameRate) : USUAL_FRAME_RATE);
    const LONG_32 lEnd = ListSize(*pstParser);
    LONG_32 lIndex = 0;
    for (; lIndex < lEnd; ++lIndex) {
        if (IsVideo(*pstParser, lIndex) && dulLeft-- == 0) {
            break;
        }
    }
    if (lIndex == lEnd) {
        LOG_ERROR("MP4_SetPlayTime Failed, Not Find Index.");
        return PLAYER_ERR_FAILED;
    }
    while (lIndex < lEnd && !IsKey(*pstParser, lIndex)) {
        ++lIndex;
    }
    pstParser->iCurSampleIndex = lIndex;
    word::Store(pstParser->iPlayTime, 0);
    return PLAYER_ERR_OK;
}

ULONG_32 MP4_GetPlayTime(mp4_moov_box *pstParser, ULONG_32 *pulSeconds) {
    if (pstParser == nullptr || pulSeconds == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *pulSeconds = static_cast<ULONG_32>(word::Load(pstParser->iPlayTime));
    return PLAYER_ERR_OK;
}

ULONG_32 MP4_GetCurSampleIndex(mp4_moov_box *pstParser, LONG_32 *plIndex) {
    if (pstParser == nullptr || plIndex == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    *plIndex = pstParser->iCurSampleIndex;
    return PLAYER_ERR_OK;
}

ULONG_32 MP4_FindPrevKey(mp4_moov_box *pstParser) {
    if (pstParser == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    LONG_32 lIndex = std::min(pstParser->iCurSampleIndex, ListSize(*pstParser));
    while (lIndex > 0 && (lIndex == ListSize(*pstParser) || !IsKey(*pstParser, lIndex))) {
        --lIndex;
    }
    pstParser->iCurSampleIndex = lIndex;
    return PLAYER_ERR_OK;
}

/* ---- time of day ----------------------------------------------------------------------------------------------- */

bool MP4_ReadStartTime(FILE *pFile, ULONG_32 *pulUtc) {
    const int lFile = pFile != nullptr ? fileno(pFile) : -1;
    UCHAR aucHead[MP4_HEAD_SIZE];
    UCHAR aucTail[MP4_HEAD_SIZE];
    if (lFile < 0 || pread(lFile, aucHead, sizeof(aucHead), 0) != sizeof(aucHead) ||
        memcmp(aucHead + 4, "ftyp", 4) != 0) {
        return false;
    }
    const ULONG_32 ulSize = bytes::Be32(aucHead);
    if (ulSize < 2 * MP4_HEAD_SIZE ||
        pread(lFile, aucTail, sizeof(aucTail), off_t{ulSize} - MP4_HEAD_SIZE) != sizeof(aucTail)) {
        return false;
    }
    *pulUtc = bytes::Be32(aucTail + 4);
    return bytes::Be32(aucTail) == 0;
}

BOOL_T MP4_GetRealTime(FILE *pFile, ULONG_32 *pulOut) {
    if (pulOut == nullptr) {
        return 0;
    }
    *pulOut = 0;
    if (MP4_IsMp4File(pFile) == 0) {
        return 0;
    }
    const DLONG dlPos = ftello(pFile);
    ULONG_32 ulTime = 0;
    const bool bFound = ReadRecordTime(pFile, &ulTime);
    fseeko(pFile, dlPos, SEEK_SET);
    if (!bFound) {
        return 0;
    }
    const DLONG dlLocal = DLONG{ulTime} + DLONG{MP4_GetCurTimezone()} * 3600;
    *pulOut = static_cast<ULONG_32>((dlLocal + SECONDS_A_DAY) % SECONDS_A_DAY);
    return 1;
}

LONG_32 MP4_GetCurTimezone(void) {
    const time_t lNow = time(nullptr);
    struct tm stLocal = {};
    struct tm stUtc = {};
    localtime_r(&lNow, &stLocal);
    gmtime_r(&lNow, &stUtc);
    LONG_32 lHours = stLocal.tm_hour - stUtc.tm_hour;
    lHours = lHours < -12 ? lHours + 24 : lHours;
    return lHours > 12 ? lHours - 24 : lHours;
}

/* ---- parameter sets -------------------------------------------------------------------------------------------- */

BOOL_T MP4_IsDiffSpsPps(UCHAR *pucData, LONG_32 lLen, LONG_32 lPayload, MP4_SPS_PPS_INFO *pstInfo) {
    if (pstInfo == nullptr) {
        LOG_ERROR("MP4_IsDiffSpsPps Failed, Mp4info is Null.");
        return 0;
    }
    if (lPayload != PLAYER_PAYLOAD_H264) {
        return 0;
    }
    const PARAMETER_SET_ROW astRows[] = {
        {"SPS", "Sps", 7, pstInfo->szSps, pstInfo->lSpsLen, sizeof(pstInfo->szSps)},
        {"PPS", "Pps", 8, pstInfo->szPps, pstInfo->lPpsLen, sizeof(pstInfo->szPps)},
    };
    for (const PARAMETER_SET_ROW &stRow : astRows) {
        const Compared enCompared = CompareParameterSet(pucData, lLen, stRow);
        if (enCompared != Compared::kSame) {
            return enCompared == Compared::kDifferent ? 1 : 0;
        }
    }
    return 0;
}
