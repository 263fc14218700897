#include "output/audioplay.h"

#include <new>

#include "foundations/com_log.h"
#include "output/sdlAudio.h"
#include "output/soundDevice.h"

namespace {

constexpr ULONG_32 NO_DEVICE = PLAYER_ERR_NO_SOUND_DEVICE;

CSdlAudio *Device(HANDLE hAudioDec) { return static_cast<CSdlAudio *>(hAudioDec); }

}  // namespace

ULONG_32 Audio_Init(void) {
    if (SDL_Init(SDL_INIT_AUDIO) != 0) {
        LOG_ERROR("SDL_Audio_Init Failed.");
    }
    return PLAYER_ERR_OK;
}

// Windows that are still shown, or a client's own use of SDL, keep what they need of it.
void Audio_Cleanup(void) {
    SoundDevice_Stop();
    SDL_QuitSubSystem(SDL_INIT_AUDIO);
    if (SDL_WasInit(0) == 0) {
        SDL_Quit();
    }
}

HANDLE Audio_CreatePlayDec(const AUDIO_DEC_PARAM_S *pstAudioParam) {
    if (!pstAudioParam) {
        return nullptr;
    }
    CSdlAudio *poDevice = new (std::nothrow) CSdlAudio(*pstAudioParam);
    if (!poDevice) {
        LOG_ERROR("SDL Creat AudioSDL Failed\n");
    }
    return poDevice;
}

void Audio_DestoryPlayDec(HANDLE *phAudioDec) {
    if (!phAudioDec || !*phAudioDec) {
        return;
    }
    CSdlAudio *poDevice = Device(*phAudioDec);
    poDevice->StopPlaySound();
    poDevice->DestorySoundDec();
    delete poDevice;
    *phAudioDec = nullptr;
}

ULONG_32 Audio_OpenSound(HANDLE hAudioDec) { return hAudioDec ? Device(hAudioDec)->StartPlaySound() : NO_DEVICE; }

ULONG_32 Audio_CloseSound(HANDLE hAudioDec) {
    if (!hAudioDec) {
        return NO_DEVICE;
    }
    Device(hAudioDec)->StopPlaySound();
    return PLAYER_ERR_OK;
}

ULONG_32 Audio_AddSoundData(HANDLE hAudioDec, UCHAR *pucPcmData, ULONG_32 ulDataLen) {
    return hAudioDec ? Device(hAudioDec)->AddSoundData(pucPcmData, ulDataLen) : NO_DEVICE;
}

ULONG_32 Audio_SetSoundVolume(HANDLE, LONG_32) { return PLAYER_ERR_OK; }

ULONG_32 Audio_GetSoundVolume(HANDLE hAudioDec, LONG_32 *) { return hAudioDec ? 0 : NO_DEVICE; }

HANDLE Audio_CreateCaptureDec(...) { return nullptr; }

ULONG_32 Audio_DestoryCaptureDec(...) { return PLAYER_ERR_OK; }

ULONG_32 Audio_SetCaptureCallBack(...) { return PLAYER_ERR_OK; }

ULONG_32 Audio_GetSampleRate(...) { return PLAYER_ERR_OK; }

ULONG_32 Audio_SetMicVolume(...) { return PLAYER_ERR_NOT_SUPPORT; }

ULONG_32 Audio_GetMicVolume(...) { return PLAYER_ERR_NOT_SUPPORT; }
