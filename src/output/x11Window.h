/**
 * @file x11Window.h
 * @brief The library's own X connection: the size of a client's window, and word of what happens to it.
 *
 * Xlib is loaded at run time. One thread sleeps on the connection's descriptor (and on that of SDL's connection, whose
 * events nobody else takes out) for as long as the connection is open.
 *
 * Windows belong to the client, which may destroy them at any time, so requests on them may fail at any time; Xlib's
 * own answer to that is to end the process. Errors are kept from the process's error handler connection by connection,
 * for the two that draw for us, so that none is set. A server that goes away ends the process as well, and Xlib knows
 * only a handler of the process against that: it is set once, and hands on what isn't ours.
 *
 * One lock guards the connection and the list of watches; it is taken inside the display list's lock, never the other
 * way round.
 */
#ifndef ZELVANE_OUTPUT_X11WINDOW_H
#define ZELVANE_OUTPUT_X11WINDOW_H

#include "foundations/player_types.h"

struct _XDisplay;

/** What is known about a window's size. */
enum X11_SIZE_E {
    X11_SIZE_KNOWN = 0, /**< told by the server just now */
    X11_SIZE_GONE = 1,  /**< the server has no such window */
    X11_SIZE_NO_X11 = 2 /**< no X connection, nothing can be said */
};

/** One watched window; lives in its display object. The lock of the module guards all but bRedraw. */
typedef struct tagX11WatchS {
    unsigned long windowID;       /**< the window; 0 while not watched */
    PLAYER_WIND_SIZE_S stSize;    /**< size when last asked or told */
    BOOL_T bRedraw;               /**< the window wants its picture again; shared word */
    void (*pfnWake)(void *pUser); /**< called, with the lock held, when bRedraw is set by an event; may be null */
    void *pUser;                  /**< its argument */
    struct tagX11WatchS *pstNext; /**< next watch */
} X11_WATCH_S;

/** Loads Xlib and connects to the display that the environment names. Failures are logged, and leave it closed. */
void X11Window_Open();
/** Tells SDL's connection, whose errors are swallowed too; null when SDL has closed it. */
void X11Window_SetSdlDisplay(_XDisplay *pstSdlDisplay);
/**
 * Starts the thread, if the connection is open.
 * @param pfnPump takes the events out of SDL's connection, called without locks; null if somebody else does that
 */
void X11Window_StartThread(void (*pfnPump)());
/** Ends the thread. */
void X11Window_StopThread();
/** Closes the connection. */
void X11Window_Close();

/** Whether the server hung up. This process then shows nothing any more: SDL would end it on closing its connections.
 */
bool X11Window_IsServerGone();
/** Whether events of windows arrive at all. */
bool X11Window_IsWatching();
/** Starts to watch a window. The watch must stay where it is until X11Window_Unwatch(). */
void X11Window_Watch(unsigned long windowID, X11_WATCH_S *pstWatch);
/** Ends a watch; no wake of it is under way afterwards. A watch that isn't one is ignored. */
void X11Window_Unwatch(X11_WATCH_S *pstWatch);
/** Sets who is woken; no call of the former one is under way afterwards. */
void X11Window_SetWake(X11_WATCH_S *pstWatch, void (*pfnWake)(void *), void *pUser);

/**
 * Asks the server for a window's size, a round trip.
 * @param pstSize  takes the size if it is known
 * @param pstWatch takes it too; may be null. Events up to the answer have been marked there when this returns
 */
X11_SIZE_E X11Window_GetSize(unsigned long windowID, PLAYER_WIND_SIZE_S *pstSize, X11_WATCH_S *pstWatch);
/** Keeps the client's X error handler as it is while SDL starts or ends, both of which set one. */
class CX11ClientHandler {
 public:
    CX11ClientHandler();
    ~CX11ClientHandler();
    CX11ClientHandler(const CX11ClientHandler &) = delete;
    CX11ClientHandler &operator=(const CX11ClientHandler &) = delete;

 private:
    void (*m_pfnClients)(); /**< an XErrorHandler, whose type only Xlib knows */
};

/** Why X11_SIZE_NO_X11 came out, for the log. Never null. */
const CHAR *X11Window_Error();

#endif
