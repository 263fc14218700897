#include "output/x11Window.h"

#include <X11/Xlib.h>
#include <dlfcn.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <utility>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

/** After a look into SDL's connection it is left alone for so long, as a moving pointer fills it all the time. */
constexpr int SDL_REST_MSECONDS = 1000;
constexpr int ERROR_CODES = 256;

/** Turns what the server sent into an error event; 0 when nobody is to hear of it. */
typedef int (*WIRE_TO_ERROR_PF)(Display *pstDisplay, XErrorEvent *pstEvent, void *pWire);

/** The functions of Xlib that are used, found when it is loaded. */
struct Xlib {
    decltype(&::XInitThreads) pXInitThreads;
    decltype(&::XOpenDisplay) pXOpenDisplay;
    decltype(&::XSetErrorHandler) pXSetErrorHandler;
    decltype(&::XSetIOErrorHandler) pXSetIOErrorHandler;
    decltype(&::XQueryExtension) pXQueryExtension;
    WIRE_TO_ERROR_PF (*pXESetWireToError)(Display *, int, WIRE_TO_ERROR_PF);
    decltype(&::XSelectInput) pXSelectInput;
    decltype(&::XEventsQueued) pXEventsQueued;
    decltype(&::XNextEvent) pXNextEvent;
    decltype(&::XSync) pXSync;
    decltype(&::XUnlockDisplay) pXUnlockDisplay;
    void (*pXSetIOErrorExitHandler)(Display *, void (*)(Display *, void *), void *); /**< null before Xlib 1.7 */

    bool CanWatch() const { return pXSelectInput && pXEventsQueued && pXNextEvent && pXSync; }
};

std::mutex gstConnectionLock;        // guards the connection and the watches
void *pLibHandle = nullptr;          // Xlib
Xlib gstXlib;                        // its functions
Display *x11display = nullptr;       // our connection
X11_WATCH_S *gpstWatches = nullptr;  // watched windows

// What the handlers and the drawing threads look at without the lock.
std::atomic<Display *> gpstOwnDisplay{nullptr};
std::atomic<Display *> gpstSdlDisplay{nullptr};
std::atomic<int> giShmOpcode{0};  // of SDL's connection
std::atomic<XIOErrorHandler> gpfnFormerIOHandler{nullptr};
std::atomic<bool> gbWatching{false};
std::atomic<bool> gbServerGone{false};

// The thread; written while it doesn't run.
QLOM_SDK_THREAD_S ghThread = 0;
int giStopEvent = -1;
void (*gpfnPump)() = nullptr;

template <class F>
void FindSymbol(F &pfn, const char *pcName) {
    pfn = reinterpret_cast<F>(dlsym(pLibHandle, pcName));
}

const char *LoadError() {
    const char *pcError = dlerror();
    return pcError ? pcError : "not loaded";
}

// Nobody hears of errors on our connections, but SDL of the one that it waits for: a server elsewhere can't share
// memory.
int KeepError(Display *pstDisplay, XErrorEvent *pstEvent, void *) {
    const int iShmOpcode = giShmOpcode.load();
    return pstDisplay == gpstSdlDisplay.load() && iShmOpcode != 0 && pstEvent->request_code == iShmOpcode &&
           pstEvent->error_code == BadAccess;
}

void KeepErrors(Display *pstDisplay) {
    if (!pstDisplay || !gstXlib.pXESetWireToError) {
        return;
    }
    for (int iError = 0; iError < ERROR_CODES; iError++) {
        gstXlib.pXESetWireToError(pstDisplay, iError, KeepError);
    }
}

bool IsOurs(Display *pstDisplay) { return pstDisplay == gpstOwnDisplay.load() || pstDisplay == gpstSdlDisplay.load(); }

// A server that went away ends its connections, not the process: that may have other work than windows.
int OnServerGone(Display *pstDisplay) {
    if (IsOurs(pstDisplay)) {
        gbServerGone.store(true);
        return 0;
    }
    XIOErrorHandler pfnFormer = gpfnFormerIOHandler.load();
    return pfnFormer ? pfnFormer(pstDisplay) : 0;
}

// Once per process: a second time could chain two handlers into a ring.
void InstallIOErrorHandler() {
    static bool bInstalled = false;
    if (!bInstalled && gstXlib.pXSetIOErrorHandler) {
        bInstalled = true;
        gpfnFormerIOHandler.store(gstXlib.pXSetIOErrorHandler(OnServerGone));
    }
}

// Xlib has locked the connection for the thread that met its end and counts on that thread's exit: the lock is given
// back, or every other thread that touches the connection would wait for ever.
void DontExit(Display *pstDisplay, void *) { gstXlib.pXUnlockDisplay(pstDisplay); }

void SurviveServer(Display *pstDisplay) {
    if (pstDisplay && gstXlib.pXSetIOErrorExitHandler && gstXlib.pXUnlockDisplay) {
        gstXlib.pXSetIOErrorExitHandler(pstDisplay, DontExit, nullptr);
    }
}

bool LoadXlib() {
    // The plain name comes with the development package only.
    for (const char *pcName : {"libX11.so", "libX11.so.6"}) {
        pLibHandle = dlopen(pcName, RTLD_LAZY);
        if (pLibHandle) {
            LOG_ERROR("dlopen libX11.so success.");
            return true;
        }
        LOG_ERROR("dlopen libX11.so failed, error : %s.", LoadError());
    }
    return false;
}

void FindFunctions() {
    FindSymbol(gstXlib.pXInitThreads, "XInitThreads");
    FindSymbol(gstXlib.pXSetErrorHandler, "XSetErrorHandler");
    FindSymbol(gstXlib.pXSetIOErrorHandler, "XSetIOErrorHandler");
    FindSymbol(gstXlib.pXQueryExtension, "XQueryExtension");
    FindSymbol(gstXlib.pXESetWireToError, "XESetWireToError");
    FindSymbol(gstXlib.pXSelectInput, "XSelectInput");
    FindSymbol(gstXlib.pXEventsQueued, "XEventsQueued");
    FindSymbol(gstXlib.pXNextEvent, "XNextEvent");
    FindSymbol(gstXlib.pXSync, "XSync");
    FindSymbol(gstXlib.pXUnlockDisplay, "XUnlockDisplay");
    FindSymbol(gstXlib.pXSetIOErrorExitHandler, "XSetIOErrorExitHandler");
    FindSymbol(gstXlib.pXOpenDisplay, "XOpenDisplay");
}

void MarkForRedraw(X11_WATCH_S &stWatch) {
    word::StoreRelease(stWatch.bRedraw, 1);
    if (stWatch.pfnWake) {
        stWatch.pfnWake(stWatch.pUser);
    }
}

void OnResize(X11_WATCH_S &stWatch, const XConfigureEvent &stEvent) {
    PLAYER_WIND_SIZE_S stSize{static_cast<ULONG_32>(stEvent.height), static_cast<ULONG_32>(stEvent.width)};
    if (stSize.ulHeight != stWatch.stSize.ulHeight || stSize.ulWidth != stWatch.stSize.ulWidth) {
        stWatch.stSize = stSize;
        MarkForRedraw(stWatch);
    }
}

void OnEvent(const XEvent &stEvent) {
    for (X11_WATCH_S *pstWatch = gpstWatches; pstWatch; pstWatch = pstWatch->pstNext) {
        if (pstWatch->windowID != stEvent.xany.window) {
            continue;
        }
        if (stEvent.type == Expose) {
            MarkForRedraw(*pstWatch);
        } else if (stEvent.type == ConfigureNotify) {
            OnResize(*pstWatch, stEvent.xconfigure);
        }
    }
}

// Events that a round trip has read are no longer to be seen on the descriptor: whoever made one takes them out at
// once.
void ReadEvents(int iMode) {
    if (!gstXlib.CanWatch()) {
        return;
    }
    while (gstXlib.pXEventsQueued(x11display, iMode) > 0) {
        XEvent stEvent;
        gstXlib.pXNextEvent(x11display, &stEvent);
        OnEvent(stEvent);
    }
}

void Select(unsigned long windowID, long lMask) {
    if (x11display && gstXlib.CanWatch()) {
        gstXlib.pXSelectInput(x11display, windowID, lMask);
        gstXlib.pXSync(x11display, False);  // what the client does to the window from now on is seen
        ReadEvents(QueuedAfterFlush);
    }
}

// Looks at one descriptor's result. A connection that hung up is not polled again.
bool IsReadable(pollfd &stPoll) {
    if (stPoll.revents & (POLLHUP | POLLERR | POLLNVAL)) {
        gbServerGone.store(true);
        stPoll.fd = -1;
        return false;
    }
    return (stPoll.revents & POLLIN) != 0;
}

void *WindowThread(void *) {
    Display *pstSdl = gpfnPump ? gpstSdlDisplay.load() : nullptr;
    pollfd astPoll[3] = {{giStopEvent, POLLIN, 0},
                         {ConnectionNumber(gpstOwnDisplay.load()), POLLIN, 0},
                         {pstSdl ? ConnectionNumber(pstSdl) : -1, POLLIN, 0}};
    bool bRest = false;
    for (;;) {
        poll(astPoll, bRest ? 2 : 3, bRest ? SDL_REST_MSECONDS : -1);
        if (astPoll[0].revents) {
            return nullptr;
        }
        if (IsReadable(astPoll[1])) {
            std::lock_guard<std::mutex> lock(gstConnectionLock);
            ReadEvents(QueuedAfterFlush);
        }
        bool bPump = !bRest && IsReadable(astPoll[2]);
        if (bPump) {
            gpfnPump();
        }
        bRest = bPump;
        astPoll[2].revents = 0;
    }
}

// The client's signals are for its own threads.
bool CreateThread() {
    sigset_t stAll;
    sigset_t stFormer;
    sigfillset(&stAll);
    pthread_sigmask(SIG_SETMASK, &stAll, &stFormer);
    LONG lResult = QLOM_SDK_thr_create(WindowThread, nullptr, 0, 0, nullptr, &ghThread);
    pthread_sigmask(SIG_SETMASK, &stFormer, nullptr);
    return lResult == 0;
}

}  // namespace

// Logs go to the client's callback, so none is written with the lock held.
void X11Window_Open() {
    if (gpstOwnDisplay.load() || gbServerGone.load() || !LoadXlib()) {
        return;
    }
    FindFunctions();
    if (!gstXlib.pXOpenDisplay) {
        LOG_ERROR("dlopen fun pXOpenDisplay failed, error : %s.", LoadError());
        return;
    }
    if (gstXlib.pXInitThreads) {
        gstXlib.pXInitThreads();
    }
    Display *pstDisplay = gstXlib.pXOpenDisplay(nullptr);
    if (!pstDisplay) {
        LOG_ERROR("call fun pXOpenDisplay fail.");
        return;
    }
    LOG_ERROR("dlopen fun pXOpenDisplay success.");
    SurviveServer(pstDisplay);
    KeepErrors(pstDisplay);
    InstallIOErrorHandler();
    std::lock_guard<std::mutex> lock(gstConnectionLock);
    x11display = pstDisplay;
    gpstOwnDisplay.store(pstDisplay);
}

void X11Window_SetSdlDisplay(_XDisplay *pstSdlDisplay) {
    SurviveServer(pstSdlDisplay);
    KeepErrors(pstSdlDisplay);
    int iOpcode = 0;
    int iUnused = 0;
    if (pstSdlDisplay && gstXlib.pXQueryExtension) {
        gstXlib.pXQueryExtension(pstSdlDisplay, "MIT-SHM", &iOpcode, &iUnused, &iUnused);
    }
    giShmOpcode.store(iOpcode);
    gpstSdlDisplay.store(pstSdlDisplay);
}

void X11Window_StartThread(void (*pfnPump)()) {
    if (ghThread || !gpstOwnDisplay.load() || !gstXlib.CanWatch()) {
        return;
    }
    gpfnPump = pfnPump;
    giStopEvent = eventfd(0, EFD_CLOEXEC);
    if (giStopEvent >= 0) {
        gbWatching.store(CreateThread());
    }
    if (!gbWatching.load()) {
        LOG_ERROR("X11Window_StartThread Failed, Windows Are Drawn Again By The Clock.");
    }
}

void X11Window_StopThread() {
    gbWatching.store(false);
    if (ghThread) {
        eventfd_write(giStopEvent, 1);
        QLOM_SDK_thr_join(ghThread);
        ghThread = 0;
    }
    if (giStopEvent >= 0) {
        close(giStopEvent);
        giStopEvent = -1;
    }
}

void X11Window_Close() {
    decltype(&::XCloseDisplay) pXCloseDisplay = nullptr;
    if (pLibHandle) {
        FindSymbol(pXCloseDisplay, "XCloseDisplay");
    }
    Display *pstDisplay = nullptr;
    {
        std::lock_guard<std::mutex> lock(gstConnectionLock);
        pstDisplay = std::exchange(x11display, nullptr);
        pLibHandle = nullptr;
    }
    if (pXCloseDisplay && pstDisplay) {
        LOG_ERROR("dlopen fun pXCloseDisplay success.");
        pXCloseDisplay(pstDisplay);
    } else {
        LOG_ERROR("dlopen fun pXCloseDisplay failed, error : %s.", LoadError());
    }
    gpstOwnDisplay.store(nullptr);
}

bool X11Window_IsServerGone() { return gbServerGone.load(); }

bool X11Window_IsWatching() { return gbWatching.load(); }

void X11Window_Watch(unsigned long windowID, X11_WATCH_S *pstWatch) {
    X11Window_Unwatch(pstWatch);
    std::lock_guard<std::mutex> lock(gstConnectionLock);
    pstWatch->windowID = windowID;
    pstWatch->pstNext = gpstWatches;
    gpstWatches = pstWatch;
    Select(windowID, ExposureMask | StructureNotifyMask);
}

void X11Window_Unwatch(X11_WATCH_S *pstWatch) {
    std::lock_guard<std::mutex> lock(gstConnectionLock);
    for (X11_WATCH_S **ppstLink = &gpstWatches; *ppstLink; ppstLink = &(*ppstLink)->pstNext) {
        if (*ppstLink == pstWatch) {
            *ppstLink = pstWatch->pstNext;
            Select(pstWatch->windowID, NoEventMask);
            pstWatch->windowID = 0;
            return;
        }
    }
}

void X11Window_SetWake(X11_WATCH_S *pstWatch, void (*pfnWake)(void *), void *pUser) {
    std::lock_guard<std::mutex> lock(gstConnectionLock);
    pstWatch->pfnWake = pfnWake;
    pstWatch->pUser = pUser;
}

X11_SIZE_E X11Window_GetSize(unsigned long windowID, PLAYER_WIND_SIZE_S *pstSize, X11_WATCH_S *pstWatch) {
    if (gbServerGone.load()) {
        return X11_SIZE_GONE;
    }
    std::lock_guard<std::mutex> lock(gstConnectionLock);
    decltype(&::XGetWindowAttributes) pXGetWindowAttributes = nullptr;
    if (x11display) {
        FindSymbol(pXGetWindowAttributes, "XGetWindowAttributes");
    }
    if (!pXGetWindowAttributes) {
        return X11_SIZE_NO_X11;
    }
    XWindowAttributes stAttributes;
    bool bKnown = pXGetWindowAttributes(x11display, windowID, &stAttributes) != 0;
    if (bKnown) {
        *pstSize = {static_cast<ULONG_32>(stAttributes.height), static_cast<ULONG_32>(stAttributes.width)};
    }
    if (bKnown && pstWatch) {
        pstWatch->stSize = *pstSize;
    }
    ReadEvents(QueuedAlready);
    return bKnown ? X11_SIZE_KNOWN : X11_SIZE_GONE;
}

const CHAR *X11Window_Error() { return LoadError(); }

CX11ClientHandler::CX11ClientHandler() : m_pfnClients(nullptr) {
    if (gstXlib.pXSetErrorHandler) {
        XErrorHandler pfnClients = gstXlib.pXSetErrorHandler(nullptr);
        gstXlib.pXSetErrorHandler(pfnClients);
        m_pfnClients = reinterpret_cast<void (*)()>(pfnClients);
    }
}

CX11ClientHandler::~CX11ClientHandler() {
    if (gstXlib.pXSetErrorHandler) {
        gstXlib.pXSetErrorHandler(reinterpret_cast<XErrorHandler>(m_pfnClients));
    }
}
