#include "output/sdlAudio.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <mutex>

#include "foundations/com_log.h"
#include "output/soundDevice.h"

namespace {

/** The queue: a ring of blocks that stay allocated until it is cleared. Its functions want the lock held. */
struct AudioQueue {
    std::mutex stLock;
    AUDIO_DATA_S astBlocks[AUDIO_DATA_LIST_MAX];
    ULONG_32 ulFirst;
    ULONG_32 ulCount;
    ULONG_32 ulHeard; /**< bytes of the first block that were played */

    void Pop() {
        ulFirst = (ulFirst + 1) % AUDIO_DATA_LIST_MAX;
        ulCount--;
        ulHeard = 0;
    }
    ULONG_32 Mix(Uint8 *pucStream, ULONG_32 ulLen);
    bool Push(const UCHAR *pucData, ULONG_32 ulLen);
    void Clear();
} AudioDataList;

bool Reserve(AUDIO_DATA_S &stBlock, ULONG_32 ulLen) {
    if (stBlock.pcData && stBlock.ulMallocLen >= ulLen) {
        return true;
    }
    CHAR *pcData = static_cast<CHAR *>(malloc(std::max(ulLen, 1u)));
    if (!pcData) {
        return false;
    }
    free(stBlock.pcData);
    stBlock.pcData = pcData;
    stBlock.ulMallocLen = ulLen;
    return true;
}

// A full queue loses its oldest block: sound that is late is worth less than sound that is new.
bool AudioQueue::Push(const UCHAR *pucData, ULONG_32 ulLen) {
    if (ulCount == AUDIO_DATA_LIST_MAX) {
        Pop();
    }
    AUDIO_DATA_S &stBlock = astBlocks[(ulFirst + ulCount) % AUDIO_DATA_LIST_MAX];
    if (!Reserve(stBlock, ulLen)) {
        return false;
    }
    memcpy(stBlock.pcData, pucData, ulLen);
    stBlock.ulDataLen = ulLen;
    stBlock.ulWaveFormate = 0;
    ulCount++;
    return true;
}

void AudioQueue::Clear() {
    for (AUDIO_DATA_S &stBlock : astBlocks) {
        free(stBlock.pcData);
        stBlock = {};
    }
    ulFirst = 0;
    ulCount = 0;
    ulHeard = 0;
}

/** Plays of the first block what it has and the buffer takes; returns how much that is. */
ULONG_32 AudioQueue::Mix(Uint8 *pucStream, ULONG_32 ulLen) {
    const AUDIO_DATA_S &stBlock = astBlocks[ulFirst];
    const ULONG_32 ulMix = std::min(ulLen, stBlock.ulDataLen - ulHeard);
    SDL_MixAudioFormat(pucStream, reinterpret_cast<const Uint8 *>(stBlock.pcData) + ulHeard, AUDIO_S16LSB, ulMix,
                       SDL_MIX_MAXVOLUME);
    ulHeard += ulMix;
    if (ulHeard == stBlock.ulDataLen) {
        Pop();
    }
    return ulMix;
}

}  // namespace

void SDLAudioCallback(void *, Uint8 *pucStream, int lLen) {
    const ULONG_32 ulLen = lLen > 0 ? static_cast<ULONG_32>(lLen) : 0;
    memset(pucStream, 0, ulLen);
    std::lock_guard<std::mutex> lock(AudioDataList.stLock);
    ULONG_32 ulDone = 0;
    while (ulDone < ulLen && AudioDataList.ulCount != 0 && SoundDevice_IsPlaying()) {
        ulDone += AudioDataList.Mix(pucStream + ulDone, ulLen - ulDone);
    }
}

CSdlAudio::CSdlAudio(const AUDIO_DEC_PARAM_S &stParam) : AudioSpecPara{}, m_hWnd(this), m_bFailed(false) {
    ULONG_32 ulChannels = std::max(stParam.ulChannels, 1u);
    ULONG_32 ulDataLen = static_cast<ULONG_32>(std::max(stParam.lDataLen, 0));
    AudioSpecPara.freq = static_cast<int>(stParam.ulSampleRate);
    AudioSpecPara.format = AUDIO_S16LSB;
    AudioSpecPara.channels = static_cast<Uint8>(ulChannels);
    AudioSpecPara.samples = static_cast<Uint16>(ulDataLen / ulChannels / 2);
    AudioSpecPara.callback = SDLAudioCallback;
    LOG_INFO("Audio Info: ulSampleRate:[%d], Format:[%d], ulBitsPerSample:[%d], lDataLen:[%d].",
             static_cast<int>(stParam.ulSampleRate), AudioSpecPara.format, static_cast<int>(stParam.ulBitsPerSample),
             stParam.lDataLen);
}

CSdlAudio::~CSdlAudio() {
    {
        std::lock_guard<std::mutex> lock(AudioDataList.stLock);
        AudioDataList.Clear();
    }
    LOG_INFO("SDL_AudioDateSize clear.");
}

ULONG_32 CSdlAudio::StartPlaySound() {
    m_bFailed = false;
    const SOUND_DEVICE_E enState = SoundDevice_Take(this, AudioSpecPara);
    return enState == SOUND_DEVICE_FAILED || enState == SOUND_DEVICE_TAKEN ? Fail() : ULONG_32{PLAYER_ERR_OK};
}

ULONG_32 CSdlAudio::Fail() {
    CHAR szError[128];
    SoundDevice_Error(szError, sizeof(szError));
    LOG_ERROR("SDL_Open_Audio Failed, Error:(%s).", szError);
    m_bFailed = true;
    return PLAYER_ERR_FAILED;
}

void CSdlAudio::StopPlaySound() {
    LOG_INFO("SDL Stop Play Sound Success.");
    SoundDevice_Leave(this);
}

void CSdlAudio::DestorySoundDec() { LOG_INFO("SDL Destory Sound Success."); }

ULONG_32 CSdlAudio::AddSoundData(const UCHAR *pucPcmData, ULONG_32 ulDataLen) {
    if (!pucPcmData) {
        return PLAYER_ERR_PARAM;
    }
    if (!m_bFailed && SoundDevice_State(this) == SOUND_DEVICE_FAILED) {
        return Fail();
    }
    bool bPushed = false;
    ULONG_32 ulSize = 0;
    {
        std::lock_guard<std::mutex> lock(AudioDataList.stLock);
        bool bFull = AudioDataList.ulCount == AUDIO_DATA_LIST_MAX;
        bPushed = AudioDataList.Push(pucPcmData, ulDataLen);
        ulSize = AudioDataList.ulCount + (bFull ? 1 : 0);
    }
    if (!bPushed) {
        LOG_ERROR("SDL Add Sound Data Failed, No Memory, Size:[%u].", ulDataLen);
        return PLAYER_ERR_MALLOC;
    }
    // The size that the block made, the one that went for it included.
    LOG_INFO("SDL_AudioDateSize:[%d].", static_cast<int>(ulSize));
    return PLAYER_ERR_OK;
}
