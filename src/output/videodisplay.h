/**
 * @file videodisplay.h
 * @brief Pictures into windows that the client owns: the flat interface over the display objects.
 *
 * A display is a HANDLE made for one window; a window serves one display at a time, out of 256 channels. Each display
 * is drawn to by one thread at a time (its port's render thread). All calls but Video_Init() and Video_Cleanup() may
 * run on any thread and beside each other.
 *
 * Drawing costs an upload, a scaling and a present, so nobody draws without need: a render thread calls
 * Video_DisPlayPic() for a new picture or when Video_NeedsRedraw() says that the window wants the present one again,
 * and sleeps otherwise. What happens to the window wakes it through Video_SetRedrawWake().
 */
#ifndef ZELVANE_OUTPUT_VIDEODISPLAY_H
#define ZELVANE_OUTPUT_VIDEODISPLAY_H

#include "foundations/player_types.h"

/** Record of a port; port/player_manager.h. */
typedef struct tagPlayerPortS PLAEYR_PORT_S;
/** Node of the off-screen queue; queue/module_queue.h. */
typedef struct tagOffScreenNode OFF_SCREEN_NODE_S;

enum : ULONG_32 {
    VIDEO_CHANNEL_NUM = 256 /**< windows that can be shown at the same time */
};

enum : ULONG_32 { VIDEO_NO_REDRAW = 0xFFFFFFFF /**< none in sight */ };

/** Wakes whoever draws a display. Runs on the library's window thread or inside another display's draw, with a lock of
 *  the display layer held: it has to be short and must not call Video_* functions. */
typedef void (*VIDEO_REDRAW_WAKE_PF)(void *pUser);

extern "C" {

/** Clears the channel table and starts the display layer. Without X11 it starts too, and shows nothing. Returns 0. */
MODULE_API ULONG_32 Video_Init(void);
/** Ends the display layer: every window is let go, SDL is ended, and ended again when the process exits. */
MODULE_API void Video_Cleanup(void);

/**
 * Takes the channel of a window: the one that it had before, or the first free one.
 * @param hWnd     the window
 * @param ulClanID takes the channel, 0 to 255; the word itself must not be constant
 * @return 0; 2 for a null window or one that is in use; 530 with no channel free
 */
MODULE_API ULONG_32 Video_AllocChannleID(HWND hWnd, const ULONG_32 &ulClanID);
/** Gives a channel back. Numbers out of range are ignored. */
MODULE_API void Video_FreeChannleID(ULONG_32 ulClanID);

/** Makes a display for a window; null if the window is in use or nothing is free. Touches the window's events only. */
MODULE_API HANDLE Video_CreateDisplayDec(HANDLE hWnd);
/** Lets go of the window, deletes the display and nulls the handle. Null is ignored. */
MODULE_API void Video_DeleteDisplayDec(HANDLE *phDisplayDec);

/**
 * Draws a picture (4:2:0, planes Y, U, V with height / 2 chroma rows) and over it the analytics of its stDrawInfo, as
 * far as they are to be shown on the port. The first call on a window sets it up and draws nothing. Always draws: see
 * Video_NeedsRedraw() for when to call it.
 * @param ulPort whose pictures they are
 * @return 0; 1 if the picture could not be drawn, with everything ready to try the next one; 531 for a null argument
 */
MODULE_API ULONG_32 Video_DisPlayPic(ULONG_32 ulPort, HANDLE hDisplayDec, CODE_DECODED_DATA_S *pstFrameData);
/**
 * Whether the window wants the present picture drawn again: its size changed or a part of it was uncovered since the
 * last draw, the scale changed, or the last call only set the window up. Without an X connection of its own the library
 * can't know, and says so once a second after the last draw. False for a null handle and before the first picture, so
 * that a thread that draws whenever it is true never spins. To be called by the thread that draws.
 */
MODULE_API bool Video_NeedsRedraw(HANDLE hDisplayDec);
/**
 * The same as a time: milliseconds until a redraw is due, 0 for at once, VIDEO_NO_REDRAW while none is in sight. A
 * window that is being resized is due ten times a second, and once more when the resizing has ended.
 */
MODULE_API ULONG_32 Video_RedrawDue(HANDLE hDisplayDec);

/**
 * Whether windows wake their displays; otherwise a render thread looks at Video_NeedsRedraw() once a second.
 */
MODULE_API bool Video_IsWatching(void);

/**
 * Sets who is woken when Video_NeedsRedraw() turns true by an event of the window; null for nobody. After the return no
 * call of the former one is under way. A display that is deleted wakes nobody.
 */
MODULE_API void Video_SetRedrawWake(HANDLE hDisplayDec, VIDEO_REDRAW_WAKE_PF pfnWake, void *pUser);

/** Off-screen pictures don't exist in this display: 0, and nothing happens. */
MODULE_API ULONG_32 Video_DisPlayPicEx(ULONG_32 ulPort, HANDLE hDisplayDec, OFF_SCREEN_NODE_S *lpOffScreenNode);

/** Turns the digital zoom on or off. Stored only: pictures are always drawn whole. Null is ignored. */
MODULE_API void Video_SetDisPlayRect(HANDLE hDisplayDec, PLAYER_RECT_S stSrcRect, BOOL_T bFlag);
/** Sets the scaling, from the next draw on. Null is ignored. */
MODULE_API void Video_SetDisPlayScale(HANDLE hDisplayDec, PLAYER_RENDER_SCALE_E enDisPlayScale);
/** Stores a draw callback, which this display never calls. 0, or 531 for a null handle. */
MODULE_API ULONG_32 Video_SetDrawDataCallBack(HANDLE hDisplayDec, PLAYER_DRAW_DATA_CALLBACK_PF pfnDarwCB, void *pParm);
/** Stores nothing. 0, or 531 for a null handle. */
MODULE_API ULONG_32 Video_SetDrawDataCallBack2(HANDLE hDisplayDec, PLAYER_DRAW_DATA_CALLBACK_PF pfnDarwCB, void *pParm);
/** Stores the last private data of the stream. Null is ignored. */
MODULE_API void Video_SetReserveInfo(HANDLE hDisplayDec, RTP_RESERVED_INFO_S stReservedInfo);
/** Whether the display can work here: 1, or 0 for a null handle. */
MODULE_API ULONG_32 Video_DisplayEnvCheck(HANDLE hDisplayDec);

/** No off-screen pictures: 531, whatever the arguments. */
MODULE_API ULONG_32 Video_WriteOffScreen(...);
/** No off-screen pictures: does nothing, whatever the arguments. */
MODULE_API void Video_CloseOffScreen(...);

/**
 * Finds band B of a picture whose camera writes its text outside the picture proper, and cuts it off, without copying
 * a sample. B is the height above the first known size of the same width that has the same height, or a lower one that
 * differs by a multiple of 8; 64 if there is none; never more than the picture.
 * @param enOSDStyle PLAYER_OSD_OUTSIDE_TOP: planes start B lines lower, height is B less. PLAYER_OSD_OUTSIDE_BOTTOM:
 *                   height is B less. PLAYER_OSD_INSIDE: planes, strides and size of the target stay as they are.
 * @param stSrc      the picture
 * @param stDst      takes all other fields too, its lock excepted; its planes point into those of stSrc
 */
MODULE_API void Video_CutOsdBand(PLAYER_OSD_STYL_E enOSDStyle, const CODE_DECODED_DATA_S &stSrc,
                                 CODE_DECODED_DATA_S &stDst);

/**
 * Video_CutOsdBand() by the text style of a port. The render path does not need it; it stands for its exported name.
 * @return 0; 2 for a null argument
 */
MODULE_API ULONG_32 Port_FrameDataCopy(PLAEYR_PORT_S *pstPort, CODE_DECODED_DATA_S *pstSrc,
                                       CODE_DECODED_DATA_S *pstDst);
}

#endif
