/**
 * @file sdlAudio.h
 * @brief The sound device through SDL2, and the one queue of PCM blocks in front of it.
 */
#ifndef ZELVANE_OUTPUT_SDLAUDIO_H
#define ZELVANE_OUTPUT_SDLAUDIO_H

#include <SDL2/SDL.h>

#include "output/audioplay.h"

enum : ULONG_32 {
    AUDIO_DATA_LIST_MAX = 10 /**< blocks that wait at most */
};

/** One block of the queue. The queue keeps the memory of blocks that were played, for those that come. */
typedef struct tagAudioData {
    CHAR *pcData;           /**< samples, a copy owned by the queue */
    ULONG_32 ulDataLen;     /**< bytes */
    ULONG_32 ulWaveFormate; /**< 0 */
    ULONG_32 ulMallocLen;   /**< bytes that pcData can take */
} AUDIO_DATA_S;

/** Fills a device buffer from the waiting blocks, and with silence where they end. On SDL's sound thread. */
void SDLAudioCallback(void *pUserData, Uint8 *pucStream, int lLen);

/** One port's hold on the process's device. */
class CSdlAudio {
 public:
    explicit CSdlAudio(const AUDIO_DEC_PARAM_S &stParam);
    /** Empties the queue, for all ports. */
    ~CSdlAudio();
    CSdlAudio(const CSdlAudio &) = delete;
    CSdlAudio &operator=(const CSdlAudio &) = delete;

    /** Has the device opened and started: 0, or 1 if SDL refuses or another one has it. A refusal that takes SDL longer
     *  than a few milliseconds is told by AddSoundData(). */
    ULONG_32 StartPlaySound();
    /** Leaves the device, if it is this object's. */
    void StopPlaySound();
    void DestorySoundDec();
    /** Queues a copy of a block: 0, 2 for null data, 3 without memory, 1 once if the device could not be opened. */
    ULONG_32 AddSoundData(const UCHAR *pucPcmData, ULONG_32 ulDataLen);

 private:
    ULONG_32 Fail();

    SDL_AudioSpec AudioSpecPara; /**< what the device is opened with */
    HANDLE m_hWnd;               /**< this object */
    bool m_bFailed;              /**< that the device could not be opened was told */
};

#endif
