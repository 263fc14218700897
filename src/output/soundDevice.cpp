#include "output/soundDevice.h"

#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <mutex>

#include "foundations/mw_sdk_bp.h"
#include "foundations/wake.h"

namespace {

using Clock = std::chrono::steady_clock;

const std::chrono::milliseconds UNUSED_TIME{2000};
const ULONG_32 PATIENCE_MS = 5;  // of a taker: what is opened later is heard later

enum STEP_E { STEP_SLEEP, STEP_OPEN, STEP_PLAY, STEP_PAUSE, STEP_CLOSE, STEP_END };

/** Under its lock, but for the wakes. SDL's device itself is the thread's alone. */
struct SOUND_DEVICE_S {
    std::mutex stLock;
    const void *pOwner;     /**< who has the device, or null */
    const void *pFailed;    /**< whom it was refused last, or null */
    SDL_AudioSpec stWanted; /**< the owner's */
    SDL_AudioSpec stOpen;   /**< the open device's */
    bool bOpen;
    bool bStarted;            /**< not paused */
    bool bEnd;                /**< the thread is to end */
    Clock::time_point stLeft; /**< when the last owner left */
    char szError[128];
    QLOM_SDK_THREAD_S hThread;
    WAKE_S stCome; /**< the thread has something to do */
    WAKE_S stDone; /**< the thread has done something */
} gstDevice;

std::atomic<bool> gbPlaying{false};  // changes under the lock

bool IsFormatOpen() {
    return gstDevice.bOpen && gstDevice.stOpen.freq == gstDevice.stWanted.freq &&
           gstDevice.stOpen.channels == gstDevice.stWanted.channels;
}

/** What is to be done next, and until when there is nothing. Wants the lock held. */
STEP_E NextStep(ULONG_32 *pulSleepMs) {
    *pulSleepMs = static_cast<ULONG_32>(UNUSED_TIME.count());
    if (gstDevice.bEnd) {
        return gstDevice.bOpen ? STEP_CLOSE : STEP_END;
    }
    if (gstDevice.pOwner != nullptr) {
        if (!IsFormatOpen()) {
            return gstDevice.bOpen ? STEP_CLOSE : STEP_OPEN;
        }
        return gstDevice.bStarted ? STEP_SLEEP : STEP_PLAY;
    }
    if (!gstDevice.bOpen || gstDevice.bStarted) {
        return gstDevice.bOpen ? STEP_PAUSE : STEP_SLEEP;
    }
    const auto stLeft = std::chrono::ceil<std::chrono::milliseconds>(gstDevice.stLeft + UNUSED_TIME - Clock::now());
    *pulSleepMs = static_cast<ULONG_32>(std::max<long>(stLeft.count(), 0));
    return stLeft.count() <= 0 ? STEP_CLOSE : STEP_SLEEP;
}

/** Opens the device, paused. The owner may have changed meanwhile: the next step sees to that. */
void Open(SDL_AudioSpec stSpec) {
    const bool bOpened = SDL_OpenAudio(&stSpec, nullptr) >= 0;
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    if (bOpened) {
        gstDevice.bOpen = true;
        gstDevice.bStarted = false;
        gstDevice.stOpen = stSpec;
        gstDevice.stLeft = Clock::now();
        return;
    }
    snprintf(gstDevice.szError, sizeof(gstDevice.szError), "%s", SDL_GetError());
    gstDevice.pFailed = gstDevice.pOwner;
    gstDevice.pOwner = nullptr;
}

void Pause(bool bPause) {
    SDL_PauseAudio(bPause ? 1 : 0);
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    gstDevice.bStarted = !bPause;
    gbPlaying.store(!bPause && gstDevice.pOwner != nullptr && IsFormatOpen());
}

void Close() {
    SDL_CloseAudio();
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    gstDevice.bOpen = false;
    gstDevice.bStarted = false;
}

void *__SoundDeviceThreadEntry(void *) {
    for (;;) {
        const ULONG_32 ulTicket = Wake_Ticket(&gstDevice.stCome);
        ULONG_32 ulSleepMs = 0;
        SDL_AudioSpec stSpec;
        STEP_E enStep = STEP_SLEEP;
        {
            std::lock_guard<std::mutex> lock(gstDevice.stLock);
            enStep = NextStep(&ulSleepMs);
            stSpec = gstDevice.stWanted;
        }
        switch (enStep) {
            case STEP_SLEEP:
                Wake_Wait(&gstDevice.stCome, ulTicket, ulSleepMs);
                break;
            case STEP_OPEN:
                Open(stSpec);
                break;
            case STEP_PLAY:
                Pause(false);
                break;
            case STEP_PAUSE:
                Pause(true);
                break;
            case STEP_CLOSE:
                Close();
                break;
            default:
                return nullptr;
        }
        Wake_Signal(&gstDevice.stDone);
    }
}

/** The client's signals are for its own threads. Wants the lock held. */
bool StartThread() {
    if (gstDevice.hThread != 0) {
        return true;
    }
    sigset_t stAll;
    sigset_t stFormer;
    sigfillset(&stAll);
    pthread_sigmask(SIG_SETMASK, &stAll, &stFormer);
    const LONG lResult = QLOM_SDK_thr_create(__SoundDeviceThreadEntry, nullptr, 0, 0, nullptr, &gstDevice.hThread);
    pthread_sigmask(SIG_SETMASK, &stFormer, nullptr);
    return lResult == 0;
}

SOUND_DEVICE_E Request(const void *pOwner, const SDL_AudioSpec &stSpec) {
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    if (gstDevice.pOwner != nullptr && gstDevice.pOwner != pOwner) {
        snprintf(gstDevice.szError, sizeof(gstDevice.szError), "Audio device is already opened");
        return SOUND_DEVICE_TAKEN;
    }
    if (!StartThread()) {
        snprintf(gstDevice.szError, sizeof(gstDevice.szError), "No thread");
        return SOUND_DEVICE_FAILED;
    }
    gstDevice.pFailed = nullptr;
    gstDevice.pOwner = pOwner;
    gstDevice.stWanted = stSpec;
    gbPlaying.store(gstDevice.bStarted && IsFormatOpen());
    return gbPlaying.load() ? SOUND_DEVICE_PLAYING : SOUND_DEVICE_OPENING;
}

}  // namespace

SOUND_DEVICE_E SoundDevice_Take(const void *pOwner, const SDL_AudioSpec &stSpec) {
    SOUND_DEVICE_E enState = Request(pOwner, stSpec);
    Wake_Signal(&gstDevice.stCome);
    const Clock::time_point stEnd = Clock::now() + std::chrono::milliseconds(PATIENCE_MS);
    while (enState == SOUND_DEVICE_OPENING && Clock::now() < stEnd) {
        const ULONG_32 ulTicket = Wake_Ticket(&gstDevice.stDone);
        enState = SoundDevice_State(pOwner);
        if (enState == SOUND_DEVICE_OPENING) {
            Wake_Wait(&gstDevice.stDone, ulTicket, PATIENCE_MS);
        }
    }
    return enState == SOUND_DEVICE_OPENING ? SoundDevice_State(pOwner) : enState;
}

SOUND_DEVICE_E SoundDevice_State(const void *pOwner) {
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    if (gstDevice.pOwner == pOwner) {
        return gbPlaying.load() ? SOUND_DEVICE_PLAYING : SOUND_DEVICE_OPENING;
    }
    return gstDevice.pFailed == pOwner ? SOUND_DEVICE_FAILED : SOUND_DEVICE_TAKEN;
}

void SoundDevice_Leave(const void *pOwner) {
    {
        std::lock_guard<std::mutex> lock(gstDevice.stLock);
        if (gstDevice.pFailed == pOwner) {
            gstDevice.pFailed = nullptr;
        }
        if (gstDevice.pOwner != pOwner) {
            return;
        }
        gstDevice.pOwner = nullptr;
        gstDevice.stLeft = Clock::now();
        gbPlaying.store(false);
    }
    Wake_Signal(&gstDevice.stCome);
}

bool SoundDevice_IsPlaying() { return gbPlaying.load(); }

void SoundDevice_Error(char *pcText, size_t ulSize) {
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    snprintf(pcText, ulSize, "%s", gstDevice.szError);
}

void SoundDevice_Stop() {
    QLOM_SDK_THREAD_S hThread = 0;
    {
        std::lock_guard<std::mutex> lock(gstDevice.stLock);
        gstDevice.bEnd = true;
        gbPlaying.store(false);
        hThread = gstDevice.hThread;
    }
    Wake_Signal(&gstDevice.stCome);
    QLOM_SDK_thr_join(hThread);
    std::lock_guard<std::mutex> lock(gstDevice.stLock);
    gstDevice.pOwner = nullptr;
    gstDevice.bEnd = false;
    gstDevice.hThread = 0;
}
