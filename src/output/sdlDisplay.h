/**
 * @file sdlDisplay.h
 * @brief A display that draws through SDL2 on a window of the client.
 *
 * A window is wrapped once per process: the wrapper with its renderer and texture stands in one list from the first
 * picture until the display object goes or the library is cleaned up.
 */
#ifndef ZELVANE_OUTPUT_SDLDISPLAY_H
#define ZELVANE_OUTPUT_SDLDISPLAY_H

#include <SDL2/SDL.h>

#include <list>
#include <mutex>

#include "output/videodisplay.h"
#include "output/x11Window.h"

/** What a display back end can do. Results of ULONG_32 are 0 for success and 1 for failure, where nothing else is said.
 */
class CBaseDisplay {
 public:
    virtual ~CBaseDisplay() = default;
    /** Sets the window, before the first picture. */
    virtual ULONG_32 setDisplayHwnd(HWND hWnd) = 0;
    /** Draws a picture; see Video_DisPlayPic(). */
    virtual ULONG_32 displayPic(ULONG_32 ulPort, const CODE_DECODED_DATA_S &stPicture) = 0;
    virtual ULONG_32 enableStretch(BOOL_T bEnable) = 0;
    virtual ULONG_32 setRenderScale(PLAYER_RENDER_SCALE_E enRenderScale) = 0;
    virtual ULONG_32 setChannleID(ULONG_32 ulChanID) = 0;
    /** The channel. */
    virtual ULONG_32 getChannleID() = 0;
    virtual ULONG_32 setRenderRect(const PLAYER_RECT_S &stRect, BOOL_T bZoom) = 0;
    virtual ULONG_32 setDisplayRunCB(PLAYER_DRAW_DATA_CALLBACK_PF pfnc, void *pUser) = 0;
    virtual ULONG_32 setReserveInfo(const RTP_RESERVED_INFO_S &stReserveInfo) = 0;
    /** 1 if the display can work here. */
    virtual ULONG_32 DisplayEnvCheck() = 0;
};

/** SDL's objects for one window of the client. */
typedef struct tagSdlDisplayS {
    unsigned long windowID;   /**< the client's window */
    SDL_Window *m_poWindow;   /**< its wrapper; null after a wrapping that failed */
    SDL_Texture *m_poTexture; /**< of the picture's size; null until a picture is drawn */
    SDL_Renderer *m_poRender; /**< null after a draw that failed */
} SDL_DISPLAY_S;

/** Every wrapped window. The lock also covers every SDL video call: SDL is not safe without. */
typedef struct tagDisPlayListS {
    std::mutex sm_stLock;
    std::list<tagSdlDisplayS> sm_oSdlDisplayList;
} DISPLAY_LIST_S;

/** Opens the X connection and starts SDL's video, as far as there is one. */
void SDLInit();
/** Closes the X connection, lets go of all windows and ends SDL. */
void SDLdestroy();
/** Has SDL ended once more when the process exits. */
void SDLatexit();

/** The display; fields without a remark belong to the thread that draws. */
class CSdlDisplay : public CBaseDisplay {
 public:
    CSdlDisplay();
    ~CSdlDisplay() override;
    CSdlDisplay(const CSdlDisplay &) = delete;
    CSdlDisplay &operator=(const CSdlDisplay &) = delete;

    ULONG_32 setDisplayHwnd(HWND hWnd) override;
    ULONG_32 displayPic(ULONG_32 ulPort, const CODE_DECODED_DATA_S &stPicture) override;
    ULONG_32 enableStretch(BOOL_T bEnable) override;
    ULONG_32 setRenderScale(PLAYER_RENDER_SCALE_E enRenderScale) override;
    ULONG_32 setChannleID(ULONG_32 ulChanID) override;
    ULONG_32 getChannleID() override;
    ULONG_32 setRenderRect(const PLAYER_RECT_S &stRect, BOOL_T bZoom) override;
    ULONG_32 setDisplayRunCB(PLAYER_DRAW_DATA_CALLBACK_PF pfnc, void *pUser) override;
    ULONG_32 setReserveInfo(const RTP_RESERVED_INFO_S &stReserveInfo) override;
    ULONG_32 DisplayEnvCheck() override;

    /** Whether the constructor got its memory. */
    bool isComplete() const { return pstSdlDisplay != nullptr; }
    /** See Video_RedrawDue(). */
    ULONG_32 redrawDue() const;
    /** See Video_SetRedrawWake(). */
    void setRedrawWake(VIDEO_REDRAW_WAKE_PF pfnWake, void *pUser);

 private:
    ULONG_32 createEntry(const CODE_DECODED_DATA_S &stPicture);
    ULONG_32 drawEntry(SDL_DISPLAY_S &stEntry, const CODE_DECODED_DATA_S &stPicture);
    ULONG_32 fitPicture(SDL_DISPLAY_S &stEntry);
    ULONG_32 fitWindow(SDL_DISPLAY_S &stEntry, const PLAYER_WIND_SIZE_S &stSize);
    ULONG_32 paint(SDL_DISPLAY_S &stEntry, const CODE_DECODED_DATA_S &stPicture, const PLAYER_WIND_SIZE_S &stSize);
    void paintOverlay(SDL_Renderer *poRender, const CODE_DECODED_DATA_S &stPicture);
    ULONG_32 RestoreWindow(SDL_Texture **ppoTexture, SDL_Renderer **ppoRender, SDL_Window **ppoWindow);
    void WindowSizeCalculate(ULONG_32 ulWidth, ULONG_32 ulHeight);
    bool GetWinSize();
    SDL_Texture *createTexture(SDL_Renderer *poRender);
    ULONG_32 fail(const CHAR *pcText);
    ULONG_32 failCreation(const CHAR *pcText);

    HWND m_hWnd;                           /**< the client's window, an X11 window id */
    PLAYER_RENDER_SCALE_E m_enRenderScale; /**< scaling; shared word */
    ULONG_32 m_ulChanID;                   /**< channel */
    PLAYER_RECT_S m_stZoomRect;            /**< not used */
    BOOL_T m_bZoom;                        /**< stored, not used in drawing */
    PLAYER_DRAW_DATA_CALLBACK_PF m_pfnc;   /**< stored, not called */
    void *m_pUser;                         /**< its argument */
    SDL_Rect strDestRect;                  /**< where in the window the picture goes */
    unsigned long ulOldWidth;              /**< window size that the wrapper was made for */
    unsigned long ulOldHeight;
    ULONG_32 m_ulDisplayWidth; /**< size of the present picture */
    ULONG_32 m_ulDisplayHeight;
    PLAYER_WIND_SIZE_S stSdlWindowSize; /**< size of the window */
    ULONG_32 ulPosX;                    /**< not used */
    ULONG_32 ulPosY;                    /**< not used */
    ULONG_32 ulOldDisPlayWidth;         /**< picture size that the texture was made for */
    ULONG_32 ulOldDisPlayHeight;
    ULONG_32 ulErrCount;                 /**< calls of displayPic() since the window was wrapped */
    SDL_DISPLAY_S *pstSdlDisplay;        /**< own record */
    RTP_RESERVED_INFO_S m_stReserveInfo; /**< last private data of the stream */

    X11_WATCH_S m_stWatch;   /**< what happens to the window */
    ULONG_32 m_ulPort;       /**< whose pictures they are */
    DULONG m_dulDrawTime;    /**< milliseconds of the last draw; 0 before the first picture */
    DULONG m_dulRestoreTime; /**< of the last wrapping for a new size */
    bool m_bResizing;        /**< the window's size is newer than its wrapper: the next wrapping is due */
    const CHAR *m_pcFailure; /**< line to log for this draw, once no lock is held; or null */
};

#endif
