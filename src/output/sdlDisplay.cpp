#include "output/sdlDisplay.h"

#include <SDL2/SDL_syswm.h>

#include <stdlib.h>

#include <chrono>
#include <cstdint>
#include <new>

#include "analytics/iva_show.h"
#include "analytics/overlay.h"
#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

/** The one call of displayPic() whose failure to wrap the window is logged, so that a lasting failure is told once. */
constexpr ULONG_32 LOGGED_CALL = 7500;
/** A window that can't be watched is drawn again so long after its last draw. */
constexpr DULONG BLIND_REDRAW_MSECONDS = 1000;
/** A window that is being resized is wrapped anew so often at most. */
constexpr DULONG RESIZE_MSECONDS = 100;

// Never destroyed: a render thread may still draw when the process exits.
DISPLAY_LIST_S &stDisPlayList = *new DISPLAY_LIST_S;
bool gbOwnSdl = false;   // nobody in this process used SDL before us
bool gbPumpSdl = false;  // SDL's connection is ours to empty; under the list's lock

DULONG Now() {
    auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<DULONG>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

// A guest in the client's process: no signal handlers, no hold on the screen saver, no other driver than X11 (window
// handles are X11's), no second way to the screen below the software renderer.
void SetHints() {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
    SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
    SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
}

// SDL tells its connection through a window only.
_XDisplay *FindSdlDisplay() {
    SDL_Window *poWindow = SDL_CreateWindow("", 0, 0, 1, 1, SDL_WINDOW_HIDDEN);
    if (!poWindow) {
        return nullptr;
    }
    SDL_SysWMinfo stInfo;
    SDL_VERSION(&stInfo.version);
    bool bX11 = SDL_GetWindowWMInfo(poWindow, &stInfo) && stInfo.subsystem == SDL_SYSWM_X11;
    _XDisplay *pstDisplay = bX11 ? stInfo.info.x11.display : nullptr;
    SDL_DestroyWindow(poWindow);
    return pstDisplay;
}

// Nobody reads SDL's events here: they would pile up on its connection and in its queue.
void PumpLocked() {
    if (gbPumpSdl) {
        SDL_PumpEvents();
        SDL_FlushEvents(SDL_FIRSTEVENT, SDL_LASTEVENT);
    }
}

void Pump() {
    std::lock_guard<std::mutex> lock(stDisPlayList.sm_stLock);
    PumpLocked();
}

// An OpenGL renderer stays bound to the thread that drew last. Threads come and go, so none keeps it.
void UnbindRenderer(SDL_Window *poWindow) {
    if (SDL_GL_GetCurrentContext()) {
        SDL_GL_MakeCurrent(poWindow, nullptr);
    }
}

void DropRenderer(SDL_Texture *&poTexture, SDL_Renderer *&poRender) {
    if (poTexture) {
        SDL_DestroyTexture(poTexture);
        poTexture = nullptr;
    }
    if (poRender) {
        SDL_DestroyRenderer(poRender);
        poRender = nullptr;
    }
}

void DropWindow(SDL_Window *&poWindow) {
    if (poWindow) {
        SDL_DestroyWindow(poWindow);
        poWindow = nullptr;
    }
}

void DropEntry(SDL_DISPLAY_S &stEntry) {
    DropRenderer(stEntry.m_poTexture, stEntry.m_poRender);
    UnbindRenderer(stEntry.m_poWindow);
    DropWindow(stEntry.m_poWindow);
}

SDL_DISPLAY_S *FindEntry(unsigned long windowID) {
    for (SDL_DISPLAY_S &stEntry : stDisPlayList.sm_oSdlDisplayList) {
        if (stEntry.windowID == windowID) {
            return &stEntry;
        }
    }
    return nullptr;
}

bool AddEntry(const SDL_DISPLAY_S &stEntry) {
    try {
        stDisPlayList.sm_oSdlDisplayList.push_back(stEntry);
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

// A client that uses SDL itself keeps the rest of it.
void QuitSdl() {
    if (X11Window_IsServerGone()) {
        return;
    }
    const CX11ClientHandler oHandler;
    if (gbOwnSdl) {
        SDL_Quit();
    } else {
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }
}

unsigned long WindowId(HWND hWnd) { return reinterpret_cast<uintptr_t>(hWnd); }

// Half-size chroma planes cover whole pairs of columns and rows: an odd last one is not shown.
SDL_Rect EvenPart(const CODE_DECODED_DATA_S &stPicture) {
    return {0, 0, stPicture.lWidth & ~1, stPicture.lHeight & ~1};
}

bool IsDrawable(const CODE_DECODED_DATA_S &stPicture) {
    if (stPicture.lWidth < 2 || stPicture.lHeight < 2) {
        return false;
    }
    LONG_32 lChroma = stPicture.lWidth / 2;
    return stPicture.pucData[0] && stPicture.pucData[1] && stPicture.pucData[2] &&
           stPicture.lLineSize[0] >= stPicture.lWidth && stPicture.lLineSize[1] >= lChroma &&
           stPicture.lLineSize[2] >= lChroma;
}

void Upload(SDL_Texture *poTexture, const CODE_DECODED_DATA_S &stPicture, const SDL_Rect *pstPart) {
    SDL_UpdateYUVTexture(poTexture, pstPart, stPicture.pucData[0], stPicture.lLineSize[0], stPicture.pucData[1],
                         stPicture.lLineSize[1], stPicture.pucData[2], stPicture.lLineSize[2]);
}

void FillRects(const OVERLAY_COLOUR_S &stColour, const OVERLAY_RECT_S *pastRect, ULONG_32 ulNum, void *pRender) {
    SDL_Renderer *poRender = static_cast<SDL_Renderer *>(pRender);
    SDL_Rect astRect[OVERLAY_BATCH];
    for (ULONG_32 i = 0; i < ulNum; i++) {
        astRect[i] = {pastRect[i].lX, pastRect[i].lY, pastRect[i].lWidth, pastRect[i].lHeight};
    }
    // What covers needs no look at the pixels below.
    SDL_SetRenderDrawBlendMode(poRender,
                               stColour.ucAlpha == SDL_ALPHA_OPAQUE ? SDL_BLENDMODE_NONE : SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(poRender, stColour.ucRed, stColour.ucGreen, stColour.ucBlue, stColour.ucAlpha);
    SDL_RenderFillRects(poRender, astRect, static_cast<int>(ulNum));
}

}  // namespace

void SDLInit() {
    X11Window_Open();
    if (X11Window_IsServerGone()) {
        return;
    }
    _XDisplay *pstSdlDisplay = nullptr;
    int iResult = 0;
    {
        std::lock_guard<std::mutex> lock(stDisPlayList.sm_stLock);
        if (SDL_WasInit(SDL_INIT_VIDEO) == 0) {
            gbOwnSdl = SDL_WasInit(0) == 0;
            gbPumpSdl = true;
            SetHints();
        }
        const CX11ClientHandler oHandler;
        iResult = SDL_Init(SDL_INIT_VIDEO);
        pstSdlDisplay = iResult == 0 ? FindSdlDisplay() : nullptr;
    }
    if (iResult != 0) {
        LOG_WARN("SDL_Init Video Failed, Error:(%s).", SDL_GetError());
    }
    X11Window_SetSdlDisplay(pstSdlDisplay);
    X11Window_StartThread(gbPumpSdl ? Pump : nullptr);
}

void SDLdestroy() {
    X11Window_StopThread();
    X11Window_Close();
    {
        std::lock_guard<std::mutex> lock(stDisPlayList.sm_stLock);
        for (SDL_DISPLAY_S &stEntry : stDisPlayList.sm_oSdlDisplayList) {
            DropEntry(stEntry);
        }
        stDisPlayList.sm_oSdlDisplayList.clear();
        gbPumpSdl = false;
        QuitSdl();
    }
    X11Window_SetSdlDisplay(nullptr);
    LOG_INFO("SDL_Quit().");
}

void SDLatexit() {
    // The library is never unloaded, so that the function is still there when the process exits.
    static const int iRegistered = atexit([] {
        if (!X11Window_IsServerGone()) {
            SDL_Quit();
        }
    });
    (void)iRegistered;
}

CSdlDisplay::CSdlDisplay()
    : m_hWnd(nullptr),
      m_enRenderScale(PLAYER_RENDER_SCALE_FULL),
      m_ulChanID(0),
      m_stZoomRect{},
      m_bZoom(0),
      m_pfnc(nullptr),
      m_pUser(nullptr),
      strDestRect{},
      ulOldWidth(0),
      ulOldHeight(0),
      m_ulDisplayWidth(0),
      m_ulDisplayHeight(0),
      stSdlWindowSize{},
      ulPosX(0),
      ulPosY(0),
      ulOldDisPlayWidth(0),
      ulOldDisPlayHeight(0),
      ulErrCount(0),
      pstSdlDisplay(new (std::nothrow) SDL_DISPLAY_S{}),
      m_stReserveInfo{},
      m_stWatch{},
      m_ulPort(0),
      m_dulDrawTime(0),
      m_dulRestoreTime(0),
      m_bResizing(false),
      m_pcFailure(nullptr) {}

CSdlDisplay::~CSdlDisplay() {
    X11Window_Unwatch(&m_stWatch);
    {
        std::lock_guard<std::mutex> lock(stDisPlayList.sm_stLock);
        stDisPlayList.sm_oSdlDisplayList.remove_if([this](SDL_DISPLAY_S &stEntry) {
            bool bOurs = stEntry.windowID == WindowId(m_hWnd);
            if (bOurs) {
                DropEntry(stEntry);
            }
            return bOurs;
        });
    }
    delete pstSdlDisplay;
}

ULONG_32 CSdlDisplay::setDisplayHwnd(HWND hWnd) {
    m_hWnd = hWnd;
    X11Window_Watch(WindowId(hWnd), &m_stWatch);
    return 0;
}

ULONG_32 CSdlDisplay::displayPic(ULONG_32 ulPort, const CODE_DECODED_DATA_S &stPicture) {
    m_ulPort = ulPort;
    ulErrCount++;
    m_pcFailure = nullptr;
    m_dulDrawTime = Now();
    if (!IsDrawable(stPicture)) {
        word::Store(m_stWatch.bRedraw, 0);
        return 1;
    }
    bool bThere = GetWinSize();
    ULONG_32 ulResult = 1;
    {
        std::lock_guard<std::mutex> lock(stDisPlayList.sm_stLock);
        SDL_DISPLAY_S *pstEntry = FindEntry(WindowId(m_hWnd));
        if (!bThere) {
            // SDL trusts that a window is there.
            ulResult = pstEntry ? 1 : failCreation("DisplayPic: SDL_CreateWindowFrom Fail");
        } else {
            ulResult = pstEntry ? drawEntry(*pstEntry, stPicture) : createEntry(stPicture);
        }
    }
    if (m_pcFailure) {
        LOG_ERROR("%s", m_pcFailure);
    }
    return ulResult;
}

ULONG_32 CSdlDisplay::fail(const CHAR *pcText) {
    m_pcFailure = pcText;
    return 1;
}

ULONG_32 CSdlDisplay::failCreation(const CHAR *pcText) { return ulErrCount == LOGGED_CALL ? fail(pcText) : 1; }

// Wraps the window at its first picture, which is not drawn.
ULONG_32 CSdlDisplay::createEntry(const CODE_DECODED_DATA_S &stPicture) {
    SDL_DISPLAY_S &stNew = *pstSdlDisplay;
    stNew = {};
    stNew.windowID = WindowId(m_hWnd);
    stNew.m_poWindow = SDL_CreateWindowFrom(m_hWnd);
    if (!stNew.m_poWindow) {
        return failCreation("DisplayPic: SDL_CreateWindowFrom Fail");
    }
    int iWidth = 0;
    int iHeight = 0;
    SDL_GetWindowSize(stNew.m_poWindow, &iWidth, &iHeight);
    stSdlWindowSize = {static_cast<ULONG_32>(iHeight), static_cast<ULONG_32>(iWidth)};
    ulOldWidth = stSdlWindowSize.ulWidth;
    ulOldHeight = stSdlWindowSize.ulHeight;
    stNew.m_poRender = SDL_CreateRenderer(stNew.m_poWindow, -1, SDL_RENDERER_SOFTWARE);
    if (!stNew.m_poRender) {
        DropWindow(stNew.m_poWindow);
        return failCreation("DisplayPic: SDL_CreateRenderer Fail.");
    }
    ulOldDisPlayWidth = static_cast<ULONG_32>(stPicture.lWidth);
    ulOldDisPlayHeight = static_cast<ULONG_32>(stPicture.lHeight);
    if (!AddEntry(stNew)) {
        DropEntry(stNew);
        return 1;
    }
    ulErrCount = 0;
    word::Store(m_stWatch.bRedraw, 1);
    return 0;
}

ULONG_32 CSdlDisplay::drawEntry(SDL_DISPLAY_S &stEntry, const CODE_DECODED_DATA_S &stPicture) {
    if (stEntry.m_poWindow) {
        SDL_ShowWindow(stEntry.m_poWindow);
    }
    PLAYER_WIND_SIZE_S stSize = stSdlWindowSize;
    m_ulDisplayWidth = static_cast<ULONG_32>(stPicture.lWidth);
    m_ulDisplayHeight = static_cast<ULONG_32>(stPicture.lHeight);
    ULONG_32 ulResult = fitPicture(stEntry);
    if (ulResult == 0) {
        ulResult = fitWindow(stEntry, stSize);
    }
    if (ulResult == 0) {
        ulResult = paint(stEntry, stPicture, stSize);
    }
    UnbindRenderer(stEntry.m_poWindow);
    PumpLocked();
    return ulResult;
}

// A new picture size needs a new texture. One that can't be made takes the renderer with it: the next picture makes
// both anew.
ULONG_32 CSdlDisplay::fitPicture(SDL_DISPLAY_S &stEntry) {
    bool bSame = m_ulDisplayWidth == ulOldDisPlayWidth && m_ulDisplayHeight == ulOldDisPlayHeight;
    if (bSame || !stEntry.m_poRender) {
        return 0;
    }
    if (stEntry.m_poTexture) {
        SDL_DestroyTexture(stEntry.m_poTexture);
    }
    stEntry.m_poTexture = createTexture(stEntry.m_poRender);
    if (!stEntry.m_poTexture) {
        DropRenderer(stEntry.m_poTexture, stEntry.m_poRender);
        return fail("DisplayPic: SDL_CreateTexture Fail.");
    }
    return 0;
}

// A new window size needs a new wrapper, and so does a window that an earlier failure left without one.
ULONG_32 CSdlDisplay::fitWindow(SDL_DISPLAY_S &stEntry, const PLAYER_WIND_SIZE_S &stSize) {
    bool bSame = stSize.ulWidth == ulOldWidth && stSize.ulHeight == ulOldHeight;
    m_bResizing = !bSame && m_dulDrawTime - m_dulRestoreTime < RESIZE_MSECONDS;
    if ((bSame || m_bResizing) && stEntry.m_poWindow && stEntry.m_poRender) {
        int iWidth = 0;
        int iHeight = 0;
        SDL_GetWindowSize(stEntry.m_poWindow, &iWidth, &iHeight);
        stSdlWindowSize = {static_cast<ULONG_32>(iHeight), static_cast<ULONG_32>(iWidth)};
        return 0;
    }
    if (RestoreWindow(&stEntry.m_poTexture, &stEntry.m_poRender, &stEntry.m_poWindow) != 0) {
        return 1;
    }
    ulOldWidth = stSize.ulWidth;
    ulOldHeight = stSize.ulHeight;
    m_dulRestoreTime = m_dulDrawTime;
    m_bResizing = false;
    return 0;
}

ULONG_32 CSdlDisplay::paint(SDL_DISPLAY_S &stEntry, const CODE_DECODED_DATA_S &stPicture,
                            const PLAYER_WIND_SIZE_S &stSize) {
    if (!stEntry.m_poTexture) {
        stEntry.m_poTexture = createTexture(stEntry.m_poRender);
    }
    if (!stEntry.m_poTexture) {
        DropRenderer(stEntry.m_poTexture, stEntry.m_poRender);
        return fail("DisplayPic: SDL_CreateTexture: New Texture is Error.");
    }
    SDL_Rect stEven = EvenPart(stPicture);
    bool bOdd = stEven.w != stPicture.lWidth || stEven.h != stPicture.lHeight;
    const SDL_Rect *pstPart = bOdd ? &stEven : nullptr;
    Upload(stEntry.m_poTexture, stPicture, pstPart);
    SDL_RenderClear(stEntry.m_poRender);
    WindowSizeCalculate(stSize.ulWidth, stSize.ulHeight);
    if (SDL_RenderCopy(stEntry.m_poRender, stEntry.m_poTexture, pstPart, &strDestRect) < 0) {
        DropRenderer(stEntry.m_poTexture, stEntry.m_poRender);
        return fail("DisplayPic: SDL_RenderCopy Fail.");
    }
    paintOverlay(stEntry.m_poRender, stPicture);
    SDL_RenderPresent(stEntry.m_poRender);
    return 0;
}

// Analytics that travel with the picture, within it. The renderer is left as it was, since the next SDL_RenderClear
// paints the bars beside the picture with its colour.
void CSdlDisplay::paintOverlay(SDL_Renderer *poRender, const CODE_DECODED_DATA_S &stPicture) {
    const HANDLE hIvaInfo = word::LoadAcquire(stPicture.stDrawInfo.hIvaInfo);
    if (!hIvaInfo) {
        return;
    }
    IVA_SHOW_PARAM_S stShow;
    IvaShow_GetParam(m_ulPort, &stShow);
    Overlay_Draw(*static_cast<IVA_INFO_S *>(hIvaInfo), stShow,
                 {strDestRect.x, strDestRect.y, strDestRect.w, strDestRect.h}, FillRects, poRender);
    SDL_SetRenderDrawBlendMode(poRender, SDL_BLENDMODE_NONE);
    SDL_SetRenderDrawColor(poRender, 0, 0, 0, SDL_ALPHA_OPAQUE);
}

// Unlike at the first wrapping, the renderer is the driver's choice.
ULONG_32 CSdlDisplay::RestoreWindow(SDL_Texture **ppoTexture, SDL_Renderer **ppoRender, SDL_Window **ppoWindow) {
    DropRenderer(*ppoTexture, *ppoRender);
    DropWindow(*ppoWindow);
    *ppoWindow = SDL_CreateWindowFrom(m_hWnd);
    if (!*ppoWindow) {
        return fail("RestoreWindow: SDL_CreateWindowFrom Fail.");
    }
    SDL_ShowWindow(*ppoWindow);
    *ppoRender = SDL_CreateRenderer(*ppoWindow, -1, 0);
    if (!*ppoRender) {
        DropWindow(*ppoWindow);
        return fail("RestoreWindow: SDL_CreateRenderer Fail.");
    }
    *ppoTexture = createTexture(*ppoRender);
    if (!*ppoTexture) {
        DropRenderer(*ppoTexture, *ppoRender);
        DropWindow(*ppoWindow);
        return fail("RestoreWindow: SDL_CreateTexture Fail.");
    }
    return 0;
}

// Where the picture goes in a window of this size: all of it, or as much as keeps the picture's proportion.
void CSdlDisplay::WindowSizeCalculate(ULONG_32 ulWidth, ULONG_32 ulHeight) {
    int iWidth = static_cast<int>(ulWidth);
    int iHeight = static_cast<int>(ulHeight);
    strDestRect = {0, 0, iWidth, iHeight};
    if (word::Load(m_enRenderScale) != PLAYER_RENDER_SCALE_PROPORTION || iWidth == 0 || iHeight == 0) {
        return;
    }
    FLOAT fPicture = static_cast<FLOAT>(m_ulDisplayWidth) / static_cast<FLOAT>(m_ulDisplayHeight);
    FLOAT fWindow = static_cast<FLOAT>(ulWidth) / static_cast<FLOAT>(ulHeight);
    if (fPicture >= fWindow) {
        strDestRect.h = static_cast<int>(static_cast<FLOAT>(ulHeight) * fWindow / fPicture);
        strDestRect.y = (iHeight - strDestRect.h) / 2;
    } else {
        strDestRect.w = static_cast<int>(static_cast<FLOAT>(ulHeight) * fPicture);
        strDestRect.x = (iWidth - strDestRect.w) / 2;
    }
}

// Whether the window is there, as far as one can tell: without X11 its size stays what SDL said last. What happened to
// the window up to here is covered by the draw that follows.
bool CSdlDisplay::GetWinSize() {
    X11_SIZE_E enResult = X11Window_GetSize(WindowId(m_hWnd), &stSdlWindowSize, &m_stWatch);
    word::Store(m_stWatch.bRedraw, 0);
    if (enResult == X11_SIZE_NO_X11) {
        LOG_ERROR("dlopen fun pXGetWindowAttributes failed, error : %s.", X11Window_Error());
    }
    return enResult != X11_SIZE_GONE;
}

SDL_Texture *CSdlDisplay::createTexture(SDL_Renderer *poRender) {
    ulOldDisPlayWidth = m_ulDisplayWidth;
    ulOldDisPlayHeight = m_ulDisplayHeight;
    return SDL_CreateTexture(poRender, SDL_PIXELFORMAT_IYUV, SDL_TEXTUREACCESS_STREAMING,
                             static_cast<int>(m_ulDisplayWidth), static_cast<int>(m_ulDisplayHeight));
}

ULONG_32 CSdlDisplay::enableStretch(BOOL_T) { return 0; }

ULONG_32 CSdlDisplay::setRenderScale(PLAYER_RENDER_SCALE_E enRenderScale) {
    word::Store(m_enRenderScale, enRenderScale);
    word::Store(m_stWatch.bRedraw, 1);
    return 0;
}

ULONG_32 CSdlDisplay::setChannleID(ULONG_32 ulChanID) {
    m_ulChanID = ulChanID;
    return 0;
}

ULONG_32 CSdlDisplay::getChannleID() { return m_ulChanID; }

ULONG_32 CSdlDisplay::setRenderRect(const PLAYER_RECT_S &, BOOL_T bZoom) {
    m_bZoom = bZoom;
    return 0;
}

ULONG_32 CSdlDisplay::setDisplayRunCB(PLAYER_DRAW_DATA_CALLBACK_PF pfnc, void *pUser) {
    m_pfnc = pfnc;
    m_pUser = pUser;
    return 0;
}

ULONG_32 CSdlDisplay::setReserveInfo(const RTP_RESERVED_INFO_S &stReserveInfo) {
    m_stReserveInfo = stReserveInfo;
    return 0;
}

ULONG_32 CSdlDisplay::DisplayEnvCheck() { return 1; }

// Before the first picture there is nothing to draw again, whatever happens to the window.
ULONG_32 CSdlDisplay::redrawDue() const {
    if (m_dulDrawTime == 0) {
        return VIDEO_NO_REDRAW;
    }
    if (!m_bResizing && word::LoadAcquire(m_stWatch.bRedraw)) {
        return 0;
    }
    if (!m_bResizing && X11Window_IsWatching()) {
        return VIDEO_NO_REDRAW;
    }
    const DULONG dulDue = m_bResizing ? m_dulRestoreTime + RESIZE_MSECONDS : m_dulDrawTime + BLIND_REDRAW_MSECONDS;
    const DULONG dulNow = Now();
    return dulDue > dulNow ? static_cast<ULONG_32>(dulDue - dulNow) : 0;
}

void CSdlDisplay::setRedrawWake(VIDEO_REDRAW_WAKE_PF pfnWake, void *pUser) {
    X11Window_SetWake(&m_stWatch, pfnWake, pUser);
}
