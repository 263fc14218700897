// Snapshots: a private copy of the port's picture, taken under the picture's lock, is encoded and saved without it.
#include "record/snapshot.h"

#include <limits.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <new>

#include "file/picture_file.h"
#include "foundations/com_log.h"
#include "foundations/guards.h"
#include "foundations/shared_word.h"
#include "port/player_manager.h"
#include "port/port_lock.h"
#include "port/run_messages.h"
#include "queue/com_report.h"

namespace {

/** Planes of a picture that belongs to the snapshot alone: luma, and both chroma planes in one block. */
struct PICTURE_COPY_S {
    CODE_DECODED_DATA_S stData = {};
    std::unique_ptr<UCHAR[]> pucLuma;
    std::unique_ptr<UCHAR[]> pucChroma;
};

/** The copy holds half a luma plane of chroma: strides beyond that belong to no 4:2:0 picture. */
bool IsCopyable(const CODE_DECODED_DATA_S &stData) {
    const LONG_32 lLine = stData.lLineSize[0];
    const bool bSized = stData.lWidth > 0 && stData.lHeight > 0 && lLine >= stData.lWidth &&
                        static_cast<DULONG>(lLine) * static_cast<DULONG>(stData.lHeight) <= INT_MAX;
    const auto fnChroma = [&stData, lLine](int i) {
        return stData.pucData[i] != nullptr && stData.lLineSize[i] >= stData.lWidth / 2 &&
               stData.lLineSize[i] <= lLine / 2;
    };
    return bSized && fnChroma(1) && fnChroma(2);
}

/** Rows of a plane, and what of a row is picture; odd sizes round up in chroma, as far as the stride has room. */
size_t RowsOf(const CODE_DECODED_DATA_S &stData, int lPlane) {
    const int lShift = lPlane == 0 ? 0 : 1;
    return static_cast<size_t>((stData.lHeight + lShift) >> lShift);
}

size_t WidthOf(const CODE_DECODED_DATA_S &stData, int lPlane) {
    const int lShift = lPlane == 0 ? 0 : 1;
    return static_cast<size_t>(std::min((stData.lWidth + lShift) >> lShift, stData.lLineSize[lPlane]));
}

size_t PlaneSize(const CODE_DECODED_DATA_S &stData, int lPlane) {
    return RowsOf(stData, lPlane) * static_cast<size_t>(stData.lLineSize[lPlane]);
}

bool AllocateCopy(ULONG_32 ulPort, PICTURE_COPY_S *pstCopy) {
    CODE_DECODED_DATA_S &stData = pstCopy->stData;
    const size_t ulLuma = PlaneSize(stData, 0);
    pstCopy->pucLuma.reset(new (std::nothrow) UCHAR[ulLuma]);
    pstCopy->pucChroma.reset(new (std::nothrow) UCHAR[PlaneSize(stData, 1) + PlaneSize(stData, 2)]);
    if (pstCopy->pucLuma == nullptr || pstCopy->pucChroma == nullptr) {
        LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: Malloc Failed, Size:[%d].", ulPort,
                  static_cast<LONG_32>(ulLuma));
        return false;
    }
    stData.pucData[0] = pstCopy->pucLuma.get();
    stData.pucData[1] = pstCopy->pucChroma.get();
    stData.pucData[2] = pstCopy->pucChroma.get() + PlaneSize(stData, 1);
    return true;
}

/** Of a plane's last row only what is picture is read, since the plane may end there. */
void CopyPlanes(const CODE_DECODED_DATA_S &stFrom, const CODE_DECODED_DATA_S &stTo) {
    for (int i = 0; i < 3; i++) {
        const size_t ulLine = static_cast<size_t>(stTo.lLineSize[i]);
        memcpy(stTo.pucData[i], stFrom.pucData[i], PlaneSize(stTo, i) - ulLine + WidthOf(stTo, i));
    }
}

/** Takes a copy of the picture that the port shows: the adjusted one if there is one. */
ULONG_32 CopyPicture(PLAEYR_PORT_S *pstPort, PICTURE_COPY_S *pstCopy) {
    const CMutexGuard oLock(&pstPort->stDecodeVideoData.stLock);
    const CODE_DECODED_DATA_S &stShown = pstPort->stDecodeVideoData;
    if (stShown.pucData[0] == nullptr) {
        LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: Yuv Data is Null.", pstPort->ulPort);
        return PLAYER_ERR_FAILED;
    }
    if (!IsCopyable(stShown)) {
        return PLAYER_ERR_FAILED;
    }
    pstCopy->stData.lWidth = stShown.lWidth;
    pstCopy->stData.lHeight = stShown.lHeight;
    std::copy_n(stShown.lLineSize, 3, pstCopy->stData.lLineSize);
    if (!AllocateCopy(pstPort->ulPort, pstCopy)) {
        return PLAYER_ERR_MALLOC;
    }
    const CODE_DECODED_DATA_S &stAdjusted = pstPort->stAdjustVideoData;
    const bool bAdjusted = word::Load(pstPort->bAdjust) != 0 && stAdjusted.pucData[0] != nullptr &&
                           std::equal(stShown.lLineSize, stShown.lLineSize + 3, stAdjusted.lLineSize) &&
                           stAdjusted.lHeight == stShown.lHeight;
    CopyPlanes(bAdjusted ? stAdjusted : stShown, pstCopy->stData);
    return PLAYER_ERR_OK;
}

ULONG_32 SaveJpeg(PLAEYR_PORT_S *pstPort, CHAR *pcFileName, CODE_DECODED_DATA_S *pstPicture) {
    if (pstPort->stVideoEncode.lCodecID != PLAYER_PAYLOAD_JPEG) {
        const ULONG_32 ulResult =
            CODE_CreateCode(CODECTYPE_ENCODER, PLAYER_PAYLOAD_JPEG, nullptr, &pstPort->stVideoEncode);
        if (ulResult != PLAYER_ERR_OK) {
            LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: CODE_CreateCode JPEG Failed, Error:[0x%x].", pstPort->ulPort,
                      ulResult);
            return ulResult;
        }
    }
    const ULONG_32 ulResult = File_SaveJpeg(&pstPort->stVideoEncode, pcFileName, pstPicture, nullptr);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: File_SaveJpeg Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult;
}

ULONG_32 SaveBmp(PLAEYR_PORT_S *pstPort, CHAR *pcFileName, CODE_DECODED_DATA_S *pstPicture) {
    const ULONG_32 ulResult = pstPicture != nullptr ? File_SaveBmp(pcFileName, pstPicture) : ULONG_32{PLAYER_ERR_PARAM};
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: File_SaveBmp Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult;
}

ULONG_32 SavePicture(PLAEYR_PORT_S *pstPort, CHAR *pcFileName, ULONG_32 ulPicFormat, CODE_DECODED_DATA_S *pstPicture) {
    if (ulPicFormat == PLAYER_PIC_FORMATE_JPEG) {
        return SaveJpeg(pstPort, pcFileName, pstPicture);
    }
    if (ulPicFormat >= PLAYER_PIC_FORMATE_MAX) {
        return SaveBmp(pstPort, pcFileName, nullptr);  // an unknown format fails in the words of a bitmap
    }
    const ULONG_32 ulResult = SaveBmp(pstPort, pcFileName, pstPicture);
    if (ulResult != PLAYER_ERR_OK || ulPicFormat == PLAYER_PIC_FORMATE_BMP) {
        return ulResult;
    }
    return SaveJpeg(pstPort, pcFileName, pstPicture);
}

ULONG_32 RefuseGpuPicture(PLAEYR_PORT_S *pstPort, PICTURE_COPY_S *pstCopy) {
    const CMutexGuard oLock(&pstPort->stDecodeVideoData.stLock);
    const ULONG_32 ulResult = CODE_GetYuvData(&pstPort->stVideoDecode, &pstCopy->stData);
    LOG_ERROR("Port[%03d] Player_NormalSnatchOnce: CODE_GetYuvData Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    return ulResult;
}

/** True when this call may start the thread. A request while one runs, or for the name saved last, is dropped. */
bool ClaimSnatchThread(PLAYER_SNATCH_INFO_S &stInfo, const CHAR *pcFileName) {
    if (word::Exchange(stInfo.bSnatchFinish, 0) != 1) {
        return false;
    }
    if (strcmp(stInfo.pcFileName, pcFileName) != 0) {
        return true;
    }
    word::StoreRelease(stInfo.bSnatchFinish, 1);
    return false;
}

ULONG_32 StartSnatchThread(PLAEYR_PORT_S *pstPort, const CHAR *pcFileName, ULONG_32 ulPicFormat) {
    PLAYER_SNATCH_INFO_S &stInfo = pstPort->stSnatchInfo;
    QLOM_SDK_thr_join(pstPort->hSnatchThread);
    pstPort->hSnatchThread = 0;
    // Without its end, and so with the tail of a longer name before it; the last byte stays 0.
    memcpy(stInfo.pcFileName, pcFileName, strnlen(pcFileName, sizeof(stInfo.pcFileName) - 1));
    stInfo.ulPicFormat = ulPicFormat;
    const LONG lResult = QLOM_SDK_thr_create(__SnatchThreadEntry, pstPort, 0, 0, nullptr, &pstPort->hSnatchThread);
    if (lResult != 0) {
        LOG_ERROR("Port[%03d] Create Snatch Thread Failed, Error:[0x%x].", pstPort->ulPort,
                  static_cast<ULONG_32>(lResult));
        pstPort->hSnatchThread = 0;
        word::StoreRelease(stInfo.bSnatchFinish, 1);
    }
    return static_cast<ULONG_32>(lResult);
}

void ReportSnatch(PLAEYR_PORT_S *pstPort, ULONG_32 ulSnatchResult) {
    const ULONG_32 ulResult =
        Port_SendRunMsg(pstPort->ulPort, {PLAYER_RUN_INFO_SNATCH, PLAYER_RUN_SNATCH_DONE, ulSnatchResult, nullptr});
    if (ulResult != PLAYER_ERR_OK) {
        LOG_WARN("Port[%03d] Snatch Thread Warning, Send Report Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
}

ULONG_32 Snatch(PLAEYR_PORT_S *pstPort, CHAR *pcFileName, ULONG_32 ulPicFormat) {
    PICTURE_COPY_S stCopy;
    if (PortCodec_UsesGpu(pstPort, word::Load(pstPort->lVideoCodecID))) {
        return RefuseGpuPicture(pstPort, &stCopy);
    }
    const ULONG_32 ulResult = CopyPicture(pstPort, &stCopy);
    return ulResult == PLAYER_ERR_OK ? SavePicture(pstPort, pcFileName, ulPicFormat, &stCopy.stData) : ulResult;
}

ULONG_32 SnatchInTurn(PLAEYR_PORT_S *pstPort, const CHAR *pcFileName, ULONG_32 ulPicFormat) {
    // Both savers cut the same text, so that "pic.bmp" saved in both formats gives pic.bmp and pic.jpg.
    CHAR acName[PATH_MAX];
    snprintf(acName, sizeof(acName), "%s", pcFileName);
    const CMutexGuard oLock(&pstPort->stSnatchInfo.stMutex);
    return Snatch(pstPort, acName, ulPicFormat);
}

}  // namespace

ULONG_32 Player_NormalSnatchOnce(ULONG_32 ulPort, CHAR *pcFileName, ULONG_32 ulPicFormat) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return Snatch(pstPort, pcFileName, ulPicFormat);
}

ULONG_32 Player_SnatchOnce(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat) {
    PLAYER_GET_PORT(pstPort, ulPort);
    return pcFileName != nullptr ? SnatchInTurn(pstPort, pcFileName, ulPicFormat) : ULONG_32{PLAYER_ERR_PARAM};
}

ULONG_32 Player_SnatchOnceEx(ULONG_32 ulPort, const CHAR *pcFileName, ULONG_32 ulPicFormat, BOOL_T bAsync) {
    if (bAsync != 1) {
        return Player_SnatchOnce(ulPort, pcFileName, ulPicFormat);
    }
    PLAYER_GET_PORT(pstPort, ulPort);
    if (pcFileName == nullptr) {
        return PLAYER_ERR_PARAM;
    }
    if (!ClaimSnatchThread(pstPort->stSnatchInfo, pcFileName)) {
        return PLAYER_ERR_OK;
    }
    return StartSnatchThread(pstPort, pcFileName, ulPicFormat);
}

void *__SnatchThreadEntry(void *pParam) {
    PLAEYR_PORT_S *pstPort = static_cast<PLAEYR_PORT_S *>(pParam);
    if (pstPort == nullptr) {
        LOG_ERROR("Port Not Exist.");
        return reinterpret_cast<void *>(PLAYER_ERR_PORT);
    }
    PortThread_Begin(pstPort, nullptr);  // a call from its log lines must not wait for the close that waits for it
    LOG_INFO("Port[%03d] Start __SnatchThreadEntry Thread Succeed.", pstPort->ulPort);
    // By record, not by number: a port that is being freed is out of the table, and waits for this thread.
    ReportSnatch(pstPort, SnatchInTurn(pstPort, pstPort->stSnatchInfo.pcFileName, pstPort->stSnatchInfo.ulPicFormat));
    word::StoreRelease(pstPort->stSnatchInfo.bSnatchFinish, 1);
    return nullptr;
}

ULONG_32 Player_FisheyeSnatchOnce(ULONG_32, const CHAR *, ULONG_32) { return PLAYER_ERR_OK; }

ULONG_32 Player_PtzSnatchOnce(ULONG_32, const CHAR *, ULONG_32) { return PLAYER_ERR_OK; }
