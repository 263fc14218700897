// The exported wrappers of voice services: by form, no logic.
#include "frame/wrapper_forms.h"
#include "player_sdk_func.h"
#include "source/voice.h"

BOOL_T Zelvane_SetVoiceEncodeType(ULONG_32 ulPort, ULONG_32 ulAudioEncType, ULONG_32 ulSampleRate,
                                  ULONG_32 ulChannels) {
    LOG_INFO("Call Port[%03d] Zelvane_SetVoiceEncodeType, AudioEncType[%d] SampleRate[%d] Channels[%d].", ulPort,
             ulAudioEncType, ulSampleRate, ulChannels);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL,
                         [&] { return Player_SetVoiceEncodeType(ulPort, ulAudioEncType, ulSampleRate, ulChannels); });
}

BOOL_T Zelvane_OpenVoiceSvc(ULONG_32 ulPort, ULONG_32 ulVoiceSvcType, ULONG_32 stSocket, const CHAR *pcLocalIP,
                            USHORT usLocalPort, const CHAR *pcRemoteIP, USHORT usRemotePort, ULONG_32 ulTransProtl) {
    LOG_INFO(
        "Call Port[%03d] Zelvane_OpenVoiceSvc, VoiceSvcType[%d] Socket[%d] LocalIP[%s] LocalPort[%d] RemoteIP[%s] "
        "RemotePort[%d] Protocol[%d].",
        ulPort, ulVoiceSvcType, stSocket, form::Text(pcLocalIP), usLocalPort, form::Text(pcRemoteIP), usRemotePort,
        ulTransProtl);
    return form::Entered(__func__, ulPort, PORT_CALL_NORMAL, [&] {
        return Player_OpenVoiceSvc(ulPort, ulVoiceSvcType, stSocket, pcLocalIP, usLocalPort, pcRemoteIP, usRemotePort,
                                   ulTransProtl);
    });
}

BOOL_T Zelvane_CloseVoiceSvc(ULONG_32 ulPort) {
    return form::Close(__func__, ulPort, [&] { return Player_CloseVoiceSvc(ulPort); });
}

BOOL_T Zelvane_VoiceInputData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen,
                              PLAYER_AUDIO_SAMPLE_PARAM_S *pstVoiceParam) {
    return form::Quiet(__func__, ulPort, PORT_CALL_NORMAL,
                       [&] { return Player_VoiceInputData(ulPort, pucDataBuf, ulDataLen, pstVoiceParam); });
}
