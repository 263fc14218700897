#include "output/videodisplay.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "foundations/com_log.h"
#include "output/sdlDisplay.h"

namespace {

/** A window and whether a display shows it. */
struct DisplayChannel {
    HWND hWnd;
    ULONG_32 ulUsed;
};

/** A known picture size. */
struct Resolution {
    LONG_32 lWidth;
    LONG_32 lHeight;
};

constexpr Resolution galResolution[18] = {
    {720, 576},   {768, 576},   {800, 600},   {1280, 720},  {768, 576},   {1600, 1200},
    {1200, 1600}, {1920, 1080}, {1080, 1920}, {1920, 1200}, {1200, 1920}, {2048, 1536},
    {1536, 2048}, {2592, 2048}, {2752, 2208}, {3408, 2008}, {3296, 2472}, {4096, 2160},
};
/** Band of a picture whose size is like none of these. */
constexpr LONG_32 DEFAULT_OSD_BAND = 64;
constexpr LONG_32 OSD_BAND_STEP = 8;

DisplayChannel gastDisplayChannleArry[VIDEO_CHANNEL_NUM];
std::mutex gstChannleMutexLock;
constexpr ULONG_32 gulStartClanID = 0;
constexpr ULONG_32 NO_DISPLAY = PLAYER_ERR_NOT_IMPLEMENTED;

CSdlDisplay *Display(HANDLE hDisplayDec) { return static_cast<CSdlDisplay *>(hDisplayDec); }

DisplayChannel *FindChannel(HWND hWnd) {
    DisplayChannel *pstEnd = std::end(gastDisplayChannleArry);
    DisplayChannel *pstFound = std::find_if(std::begin(gastDisplayChannleArry), pstEnd,
                                            [hWnd](const DisplayChannel &stRow) { return stRow.hWnd == hWnd; });
    if (pstFound == pstEnd) {
        pstFound = std::find_if(gastDisplayChannleArry + gulStartClanID, pstEnd,
                                [](const DisplayChannel &stRow) { return stRow.ulUsed == 0; });
    }
    return pstFound == pstEnd ? nullptr : pstFound;
}

LONG_32 OsdBand(LONG_32 lWidth, LONG_32 lHeight) {
    for (const Resolution &stRow : galResolution) {
        DLONG dlAbove = static_cast<DLONG>(lHeight) - stRow.lHeight;
        if (stRow.lWidth == lWidth && dlAbove >= 0 && dlAbove % OSD_BAND_STEP == 0) {
            return static_cast<LONG_32>(dlAbove);
        }
    }
    return std::min(DEFAULT_OSD_BAND, std::max(lHeight, 0));
}

void CopyAllButPicture(const CODE_DECODED_DATA_S &stSrc, CODE_DECODED_DATA_S &stDst) {
    stDst.lMediaType = stSrc.lMediaType;
    stDst.lDuration = stSrc.lDuration;
    stDst.ulSampleRate = stSrc.ulSampleRate;
    stDst.ulChannels = stSrc.ulChannels;
    stDst.ulBitsPerSample = stSrc.ulBitsPerSample;
    stDst.dulTimeStamp = stSrc.dulTimeStamp;
    stDst.bUsingData = stSrc.bUsingData;
    stDst.bFullWnd = stSrc.bFullWnd;
    stDst.stDrawInfo = stSrc.stDrawInfo;
}

}  // namespace

void Video_CutOsdBand(PLAYER_OSD_STYL_E enOSDStyle, const CODE_DECODED_DATA_S &stSrc, CODE_DECODED_DATA_S &stDst) {
    CopyAllButPicture(stSrc, stDst);
    bool bTop = enOSDStyle == PLAYER_OSD_OUTSIDE_TOP;
    if (!bTop && enOSDStyle != PLAYER_OSD_OUTSIDE_BOTTOM) {
        return;
    }
    LONG_32 lBand = OsdBand(stSrc.lWidth, stSrc.lHeight);
    for (int i = 0; i < 4; i++) {
        LONG_32 lLines = i == 0 ? lBand : lBand / 2;
        bool bMove = bTop && i < 3 && stSrc.pucData[i];
        ptrdiff_t lMove = bMove ? static_cast<ptrdiff_t>(lLines) * stSrc.lLineSize[i] : 0;
        stDst.pucData[i] = stSrc.pucData[i] + lMove;
        stDst.lLineSize[i] = stSrc.lLineSize[i];
    }
    stDst.lWidth = stSrc.lWidth;
    stDst.lHeight = stSrc.lHeight - lBand;
}

bool Video_IsWatching(void) { return X11Window_IsWatching(); }

ULONG_32 Video_RedrawDue(HANDLE hDisplayDec) {
    return hDisplayDec ? Display(hDisplayDec)->redrawDue() : ULONG_32{VIDEO_NO_REDRAW};
}

bool Video_NeedsRedraw(HANDLE hDisplayDec) { return Video_RedrawDue(hDisplayDec) == 0; }

void Video_SetRedrawWake(HANDLE hDisplayDec, VIDEO_REDRAW_WAKE_PF pfnWake, void *pUser) {
    if (hDisplayDec) {
        Display(hDisplayDec)->setRedrawWake(pfnWake, pUser);
    }
}

ULONG_32 Video_Init(void) {
    {
        std::lock_guard<std::mutex> lock(gstChannleMutexLock);
        std::fill(std::begin(gastDisplayChannleArry), std::end(gastDisplayChannleArry), DisplayChannel{});
    }
    SDLInit();
    return PLAYER_ERR_OK;
}

void Video_Cleanup(void) {
    SDLdestroy();
    SDLatexit();
}

ULONG_32 Video_AllocChannleID(HWND hWnd, const ULONG_32 &ulClanID) {
    if (!hWnd) {
        return PLAYER_ERR_PARAM;
    }
    std::lock_guard<std::mutex> lock(gstChannleMutexLock);
    DisplayChannel *pstChannel = FindChannel(hWnd);
    if (!pstChannel) {
        return PLAYER_ERR_VIDEO_CHANNEL;
    }
    if (pstChannel->ulUsed) {
        return PLAYER_ERR_PARAM;
    }
    *pstChannel = {hWnd, 1};
    const_cast<ULONG_32 &>(ulClanID) = static_cast<ULONG_32>(pstChannel - gastDisplayChannleArry);
    return PLAYER_ERR_OK;
}

void Video_FreeChannleID(ULONG_32 ulClanID) {
    if (ulClanID < VIDEO_CHANNEL_NUM) {
        std::lock_guard<std::mutex> lock(gstChannleMutexLock);
        gastDisplayChannleArry[ulClanID].ulUsed = 0;
    }
}

HANDLE Video_CreateDisplayDec(HANDLE hWnd) {
    PLAYER_WIND_SIZE_S stSize;
    if (hWnd && X11Window_GetSize(reinterpret_cast<uintptr_t>(hWnd), &stSize, nullptr) == X11_SIZE_GONE) {
        LOG_ERROR("Video_CreateDisplayDec Fail, The X Server Has No Window:[%p].", hWnd);
        return nullptr;
    }
    ULONG_32 ulChannel = 0;
    ULONG_32 ulResult = Video_AllocChannleID(hWnd, ulChannel);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Video_CreateDisplayDec Fail, Error:[0x%x].", ulResult);
        return nullptr;
    }
    CSdlDisplay *poDisplay = new (std::nothrow) CSdlDisplay;
    if (!poDisplay || !poDisplay->isComplete()) {
        delete poDisplay;
        Video_FreeChannleID(ulChannel);
        LOG_ERROR("Video_CreateDisplayDec Fail, Error:[0x%x].", static_cast<ULONG_32>(PLAYER_ERR_MALLOC));
        return nullptr;
    }
    poDisplay->setChannleID(ulChannel);
    poDisplay->setDisplayHwnd(hWnd);
    return poDisplay;
}

// The channel is given back last: who gets it next must not meet this display's wrapper of the window.
void Video_DeleteDisplayDec(HANDLE *phDisplayDec) {
    if (!phDisplayDec || !*phDisplayDec) {
        return;
    }
    ULONG_32 ulChannel = Display(*phDisplayDec)->getChannleID();
    delete Display(*phDisplayDec);
    *phDisplayDec = nullptr;
    Video_FreeChannleID(ulChannel);
}

ULONG_32 Video_DisPlayPic(ULONG_32 ulPort, HANDLE hDisplayDec, CODE_DECODED_DATA_S *pstFrameData) {
    if (!hDisplayDec || !pstFrameData) {
        return NO_DISPLAY;
    }
    return Display(hDisplayDec)->displayPic(ulPort, *pstFrameData);
}

ULONG_32 Video_DisPlayPicEx(ULONG_32, HANDLE, OFF_SCREEN_NODE_S *) { return PLAYER_ERR_OK; }

void Video_SetDisPlayRect(HANDLE hDisplayDec, PLAYER_RECT_S stSrcRect, BOOL_T bFlag) {
    if (hDisplayDec) {
        Display(hDisplayDec)->setRenderRect(stSrcRect, bFlag);
    }
}

void Video_SetDisPlayScale(HANDLE hDisplayDec, PLAYER_RENDER_SCALE_E enDisPlayScale) {
    if (hDisplayDec) {
        Display(hDisplayDec)->setRenderScale(enDisPlayScale);
    }
}

ULONG_32 Video_SetDrawDataCallBack(HANDLE hDisplayDec, PLAYER_DRAW_DATA_CALLBACK_PF pfnDarwCB, void *pParm) {
    return hDisplayDec ? Display(hDisplayDec)->setDisplayRunCB(pfnDarwCB, pParm) : NO_DISPLAY;
}

ULONG_32 Video_SetDrawDataCallBack2(HANDLE hDisplayDec, PLAYER_DRAW_DATA_CALLBACK_PF, void *) {
    return hDisplayDec ? 0 : NO_DISPLAY;
}

void Video_SetReserveInfo(HANDLE hDisplayDec, RTP_RESERVED_INFO_S stReservedInfo) {
    if (hDisplayDec) {
        Display(hDisplayDec)->setReserveInfo(stReservedInfo);
    }
}

ULONG_32 Video_DisplayEnvCheck(HANDLE hDisplayDec) { return hDisplayDec ? Display(hDisplayDec)->DisplayEnvCheck() : 0; }

ULONG_32 Video_WriteOffScreen(...) { return NO_DISPLAY; }

void Video_CloseOffScreen(...) {}
