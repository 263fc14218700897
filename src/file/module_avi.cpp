// AVI files for the file layer and the recorder.
#include "file/module_avi.h"

#include <errno.h>
#include <string.h>
#include <strings.h>

#include <algorithm>

#include "bits/sp_mark.h"
#include "file/avi/avi_inner.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

const size_t HEAD_LEN = 12;
const size_t FORM_OFFSET = 8;

const double TICKS_A_SECOND = 90000;
const ULONG_32 DEFAULT_FRAME_RATE = 25;
const LONG_32 MAX_FRAME_RATE = 60;

const long AUDIO_BIT_RATE = 64;  // kbit/s, what our MPEG audio encoder makes

/** What one search for a marked frame may read, and what a frame counts for at least. */
const DLONG SEARCH_BYTES = 32 * 1024 * 1024;
const DLONG SEARCH_LEAST = 4096;

avi_t *AviOf(HANDLE hAvi) { return static_cast<avi_t *>(hAvi); }

/** Truncates as far as the type goes. */
template <class To>
To Cut(double dValue, To most) {
    return dValue >= static_cast<double>(most) ? most : static_cast<To>(std::max(dValue, 0.0));
}

/* ---- codecs ---- */

/** Handlers of recorders, ours and others, in any case. */
struct HANDLER_ROW_S {
    const CHAR *pcHandler;
    PLAYER_PAYLOAD_E enPayload;
};
const HANDLER_ROW_S gastHandler[] = {
    {"hev1", PLAYER_PAYLOAD_H265}, {"HEVC", PLAYER_PAYLOAD_H265}, {"H265", PLAYER_PAYLOAD_H265},
    {"avc1", PLAYER_PAYLOAD_H264}, {"H264", PLAYER_PAYLOAD_H264}, {"X264", PLAYER_PAYLOAD_H264},
    {"mjpg", PLAYER_PAYLOAD_JPEG},
};

ULONG_32 PayloadOf(const avi_t *pstAvi) {
    for (const HANDLER_ROW_S &stRow : gastHandler) {
        if (strcasecmp(pstAvi->compressor, stRow.pcHandler) == 0) {
            return stRow.enPayload;
        }
    }
    return PLAYER_PAYLOAD_NULL;
}

/** By AVI_VIDEOID_E; null for a codec that is not recorded. */
const CHAR *const gapcCompressor[] = {nullptr, "mjpg", "avc1", "hev1"};

/** By AVI_AUDIOID_E: wave format tag, 0 for none. */
const long galWaveFormat[] = {80, 85, 0, 0, 0};

template <class Row, size_t COUNT>
Row RowOf(const Row (&aRows)[COUNT], ULONG_32 ulRow) {
    return ulRow < COUNT ? aRows[ulRow] : Row{};
}

/* ---- frames ---- */

double RateOf(const avi_t *pstAvi) { return pstAvi->fps > 0 ? pstAvi->fps : DEFAULT_FRAME_RATE; }

bool IsAtEnd(const avi_t *pstAvi) { return pstAvi->video_pos >= pstAvi->video_frames; }

/** Fills in what is known of the frame at hand before it is read. */
void Describe(avi_t *pstAvi, AVI_FRAME_INFO_S *pstFrame) {
    const double dTicks = static_cast<double>(pstAvi->video_pos) * (TICKS_A_SECOND / RateOf(pstAvi));
    pstFrame->dlTimeStamp = Cut<DLONG>(dTicks, INT64_MAX);
    pstFrame->ulDataSize = static_cast<ULONG_32>(AVI_frame_size(pstAvi, pstAvi->video_pos));
    pstFrame->bKeyFrame = AVI_iskeyframe(pstAvi, pstAvi->video_pos) == 1;
    pstFrame->ulFormatType = pstFrame->bKeyFrame ? 0 : 1;
}

ULONG_32 NoSize() {
    LOG_ERROR("AVI_GetOneFrameData,AVI_frame_size Failed.");
    return PLAYER_ERR_FAILED;
}

/** Passes over a frame that has no bytes, unless sound in front of it is still to be read. */
bool SkipsEmpty(avi_t *pstAvi, const AVI_FRAME_INFO_S &stFrame) {
    if (stFrame.ulDataSize != 0) {
        return false;
    }
    const long lFrame = pstAvi->video_pos;
    if (lFrame < pstAvi->video_frames && pstAvi->anum > 0 &&
        pstAvi->video_index[lFrame].pos > pstAvi->pos + AVI_CHUNK_HEAD) {
        return false;
    }
    Avi_SkipFrame(pstAvi);
    return true;
}

/** Reads the next chunk, whose frame has been described. @param bFrame it has to be that frame, found by the index */
ULONG_32 ReadChunk(avi_t *pstAvi, bool bFrame, AVI_FRAME_INFO_S *pstFrame) {
    const long lFrame = pstAvi->video_pos;
    DLONG dlLen = 0;
    AVI_CHUNK_E enChunk = Avi_ReadNext(pstAvi, pstFrame->pucData, pstFrame->pucData, &dlLen);
    if (bFrame && enChunk != AVI_CHUNK_END && pstAvi->video_pos == lFrame) {
        enChunk = AVI_CHUNK_BAD;  // the index points to something else, and would do so again
        Avi_SkipFrame(pstAvi);
    }
    pstFrame->ulDataSize = static_cast<ULONG_32>(dlLen);
    switch (enChunk) {
        case AVI_CHUNK_VIDEO:
            pstFrame->ulPayload = PayloadOf(pstAvi);
            return dlLen != 0 ? static_cast<ULONG_32>(PLAYER_ERR_OK) : NoSize();
        case AVI_CHUNK_AUDIO:
            pstFrame->ulStreamIndex = 1;
            pstFrame->ulPayload = PLAYER_PAYLOAD_MP1L2;
            return PLAYER_ERR_OK;
        case AVI_CHUNK_END:
            return PLAYER_ERR_FILE_END;
        default:
            LOG_ERROR("AVI_GetOneFrameData Failed, Frame[%ld] Can't Be Read.", lFrame);
            return PLAYER_ERR_FAILED;
    }
}

ULONG_32 ReadComplete(bool bDot) {
    LOG_INFO(bDot ? "AVI_GetOneFrameData Info, File Read Complete." : "AVI_GetOneFrameData Info, File Read Complete");
    return PLAYER_ERR_FILE_END;
}

/** Goes to where the read that is asked for begins. */
ULONG_32 GoTo(avi_t *pstAvi, ULONG_32 ulGetType) {
    if (ulGetType == AVI_FRAME_GET_TYPE_ONLY_I_FRAME) {
        return AVI_ToNextKeyFrame(pstAvi);
    }
    if (IsAtEnd(pstAvi)) {
        return ReadComplete(true);
    }
    if (ulGetType == AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME) {
        AVI_set_video_position(pstAvi, pstAvi->video_pos);
    }
    return PLAYER_ERR_OK;
}

void Clear(AVI_FRAME_INFO_S *pstFrame) {
    UCHAR *pucData = pstFrame->pucData;
    *pstFrame = {};
    pstFrame->pucData = pucData;
}

/** Reads the frame at hand and says what its units tell. */
ULONG_32 LookAtFrame(avi_t *pstAvi, AVI_FRAME_INFO_S *pstFrame, SpVerdict *penVerdict) {
    Describe(pstAvi, pstFrame);
    const DLONG dlLen = AVI_read_frame(pstAvi, pstFrame->pucData, nullptr);
    if (dlLen == 0) {
        return PLAYER_ERR_OK;
    }
    if (dlLen < 0) {
        LOG_ERROR("AVI_GetOneFrameData Failed, AVI_read_frame Failed.");
        return PLAYER_ERR_FAILED;
    }
    *penVerdict = pstFrame->bKeyFrame ? SpVerdict::kSp
                                      : SpMark_Scan(static_cast<LONG_32>(pstFrame->ulPayload), pstFrame->pucData,
                                                    static_cast<size_t>(dlLen));
    if (*penVerdict == SpVerdict::kUnknownPayload) {
        const ULONG_32 ulResult = PLAYER_ERR_FAILED;
        LOG_ERROR("AVI_GetOneFrameData Failed, Unknow Payload[%d]. Failed, Error:[0x%x].", pstFrame->ulPayload,
                  ulResult);
        return ulResult;
    }
    return PLAYER_ERR_OK;
}

}  // namespace

/* ---- writing ---- */

namespace {

/** Keeps errno, by which callers tell a full disk. */
ULONG_32 WriteFailed(const CHAR *pcWhat) {
    const int iSystem = errno;
    LOG_ERROR("AVI_EncFrame Failed,Write %s Failed.", pcWhat);
    errno = iSystem;
    return PLAYER_ERR_FAILED;
}

}  // namespace

HANDLE AVI_FileOpen(const CHAR *pcFileName) { return AVI_open_output_file(pcFileName); }

ULONG_32 AVI_EncInit(AVI_STREAM_INFO_S *pstInfo, HANDLE hAvi) {
    if (pstInfo == nullptr || hAvi == nullptr) {
        LOG_ERROR("AVI_EncInit Failed, Empty Parameter.");
        return PLAYER_ERR_PARAM;
    }
    const long lFormat = RowOf(galWaveFormat, pstInfo->enAudioId);
    if (lFormat == 0) {
        LOG_ERROR("AVI_EncInit Failed,Unknown Wave Format.");
    }
    const CHAR *pcCompressor = RowOf(gapcCompressor, pstInfo->enVideoId);
    if (pcCompressor == nullptr) {
        LOG_ERROR("AVI_EncInit Failed,Unknown Video Compressor.");
        return PLAYER_ERR_PARAM;
    }
    AVI_set_audio(AviOf(hAvi), pstInfo->ulChannels, pstInfo->ulSamplesPerSec, pstInfo->ulBitsPerSample, lFormat,
                  AUDIO_BIT_RATE);
    AVI_set_video(AviOf(hAvi), pstInfo->ulPicWidth, pstInfo->ulPicHeight, pstInfo->ulVideoFameRate, pcCompressor);
    return PLAYER_ERR_OK;
}

ULONG_32 AVI_EncFrame(HANDLE hAvi, AVI_FRAME_INFO_S *pstFrame) {
    avi_t *pstAvi = AviOf(hAvi);
    if (pstAvi == nullptr || pstFrame == nullptr) {
        LOG_ERROR("AVI_EncFrame Failed,AviHandle Or FrameInfo Is Empty.");
        return PLAYER_ERR_PARAM;
    }
    const ULONG_32 ulRate = Cut<ULONG_32>(pstAvi->fps, UINT32_MAX);
    if (pstFrame->ulFrameRate != 0 && pstFrame->ulFrameRate != ulRate) {
        LOG_WARN("AVI_EncFrame : FrameRate Change Old Frame[%d] New Frame[%d].", ulRate, pstFrame->ulFrameRate);
        AVI_set_fps(pstAvi, pstFrame->ulFrameRate);
    }
    if (pstFrame->ulStreamIndex == 0 &&
        AVI_write_frame(pstAvi, pstFrame->pucData, pstFrame->ulDataSize, pstFrame->bKeyFrame) != 0) {
        return WriteFailed("A Frame");
    }
    if (pstFrame->ulStreamIndex == 1 && AVI_write_audio(pstAvi, pstFrame->pucData, pstFrame->ulDataSize) != 0) {
        return WriteFailed("Audio");
    }
    return PLAYER_ERR_OK;
}

LONG_32 AVI_GetFileNo(HANDLE hAvi) { return hAvi != nullptr ? static_cast<LONG_32>(AviOf(hAvi)->fdes) : -1; }

/* ---- reading ---- */

BOOL_T AVI_IsAviFile(FILE *pFile) {
    if (pFile == nullptr) {
        return 0;
    }
    UCHAR aucHead[HEAD_LEN];
    const off_t lPos = ftello(pFile);
    const bool bRead = fseeko(pFile, 0, SEEK_SET) == 0 && fread(aucHead, 1, HEAD_LEN, pFile) == HEAD_LEN;
    return lPos >= 0 && fseeko(pFile, lPos, SEEK_SET) == 0 && bRead && memcmp(aucHead, "RIFF", 4) == 0 &&
           memcmp(aucHead + FORM_OFFSET, "AVI", 3) == 0;
}

HANDLE AVI_CreateParser(const CHAR *pcFileName) { return AVI_open_input_file(pcFileName, 1); }

ULONG_32 AVI_FileClose(ULONG_32 *pulHandle, HANDLE hParser) {
    if (hParser == nullptr) {
        LOG_ERROR("AVI_FileClose Failed, AVIinfo Is Null.");
        return PLAYER_ERR_PARAM;
    }
    const long lResult = AVI_close(AviOf(hParser));
    if (pulHandle != nullptr) {
        *pulHandle = 0;
    }
    if (lResult != 0) {
        LOG_ERROR("AVI_FileClose Failed.");
        return PLAYER_ERR_FAILED;
    }
    return PLAYER_ERR_OK;
}

ULONG_32 AVI_GetAviInfo(HANDLE hParser, AVI_INFO_S *pstInfo) {
    avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr || pstInfo == nullptr) {
        LOG_ERROR("Avi_GetAviInfo Failed, AviInfo Is Null");
        return PLAYER_ERR_PARAM;
    }
    *pstInfo = {};
    pstInfo->ulVideoType = PayloadOf(pstAvi);
    pstInfo->ulAudioType = pstAvi->anum > 0 ? PLAYER_PAYLOAD_MP1L2 : PLAYER_PAYLOAD_NULL;
    pstInfo->ulFrameRate = Cut<ULONG_32>(AVI_frame_rate(pstAvi), UINT32_MAX);
    if (pstInfo->ulFrameRate == 0) {
        LOG_WARN("AVI_GetAviInfo Failed, Framerate == 0.");
        pstInfo->ulFrameRate = DEFAULT_FRAME_RATE;
        return PLAYER_ERR_OK;
    }
    const double dSeconds = static_cast<double>(AVI_video_frames(pstAvi)) / AVI_frame_rate(pstAvi);
    pstInfo->ulPlayTime = Cut<ULONG_32>(dSeconds, UINT32_MAX);
    return PLAYER_ERR_OK;
}

ULONG_32 AVI_GetOneFrameData(HANDLE hParser, ULONG_32 ulGetType, AVI_FRAME_INFO_S *pstFrame) {
    avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr) {
        LOG_ERROR("AVI_GetOneFrameData,AviHandle Is Empty.");
        return PLAYER_ERR_PARAM;
    }
    if (pstFrame == nullptr || pstFrame->pucData == nullptr || pstAvi->video_index == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    Clear(pstFrame);
    if (ulGetType == AVI_FRAME_GET_TYPE_ONLY_I_SP_FRAME) {
        return AVI_ToNextISpFrame(pstAvi, pstFrame);
    }
    const ULONG_32 ulResult = GoTo(pstAvi, ulGetType);
    if (ulResult != PLAYER_ERR_OK) {
        return ulResult;
    }
    Describe(pstAvi, pstFrame);
    if (SkipsEmpty(pstAvi, *pstFrame)) {
        return NoSize();
    }
    const bool bFrame =
        ulGetType == AVI_FRAME_GET_TYPE_ONLY_I_FRAME || ulGetType == AVI_FRAME_GET_TYPE_ONLY_VIDEO_FRAME;
    return ReadChunk(pstAvi, bFrame, pstFrame);
}

ULONG_32 AVI_SetPlayTime(HANDLE hParser, ULONG_32 ulSeconds, LONG_32 lFrameRate) {
    avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const bool bRate = lFrameRate >= 1 && lFrameRate <= MAX_FRAME_RATE;
    const DLONG dlFrame = DLONG{ulSeconds} * (bRate ? lFrameRate : DLONG{DEFAULT_FRAME_RATE});
    if (dlFrame >= pstAvi->video_frames || AVI_set_video_position(pstAvi, dlFrame) != 0) {
        LOG_ERROR("AVI_SetPlayTime Failed, Not Find Index.");
        return PLAYER_ERR_FAILED;
    }
    return AVI_ToNextKeyFrame(pstAvi);
}

ULONG_32 AVI_GetPlayTime(HANDLE hParser, ULONG_32 *pulPlayTime) {
    const avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr || pulPlayTime == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    const double dFrames = static_cast<double>(word::Load(pstAvi->video_pos));
    *pulPlayTime = pstAvi->fps > 0 ? Cut<ULONG_32>(dFrames / pstAvi->fps, UINT32_MAX) : 0;
    return PLAYER_ERR_OK;
}

ULONG_32 AVI_ToNextKeyFrame(HANDLE hParser) {
    avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (IsAtEnd(pstAvi)) {
        LOG_INFO("AVI_GetOneFrameData info, File Read Complete");
        return PLAYER_ERR_FILE_END;
    }
    long lFrame = pstAvi->video_pos;
    while (lFrame < pstAvi->video_frames && AVI_iskeyframe(pstAvi, lFrame) != 1) {
        ++lFrame;
    }
    AVI_set_video_position(pstAvi, lFrame);
    return PLAYER_ERR_OK;
}

ULONG_32 AVI_ToNextISpFrame(HANDLE hParser, AVI_FRAME_INFO_S *pstFrame) {
    avi_t *pstAvi = AviOf(hParser);
    if (pstAvi == nullptr || pstFrame == nullptr || pstFrame->pucData == nullptr || pstAvi->video_index == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    pstFrame->ulPayload = PayloadOf(pstAvi);
    for (DLONG dlLeft = SEARCH_BYTES; dlLeft > 0;) {
        if (IsAtEnd(pstAvi)) {
            return ReadComplete(false);
        }
        SpVerdict enVerdict = SpVerdict::kUndecided;
        const ULONG_32 ulResult = LookAtFrame(pstAvi, pstFrame, &enVerdict);
        if (ulResult != PLAYER_ERR_OK || enVerdict == SpVerdict::kSp) {
            return ulResult;
        }
        dlLeft -= std::max(static_cast<DLONG>(pstFrame->ulDataSize), SEARCH_LEAST);
    }
    LOG_ERROR("AVI_GetOneFrameData Failed, No Key Frame In [%ld] Bytes.", static_cast<long>(SEARCH_BYTES));
    return PLAYER_ERR_FAILED;
}
