/**
 * @file voice_types.h
 * @brief Records of the voice services that a port holds.
 */
#ifndef ZELVANE_PORT_VOICE_TYPES_H
#define ZELVANE_PORT_VOICE_TYPES_H

#include "codec/module_code.h"
#include "foundations/player_types.h"
#include "intake/module_net.h"
#include "intake/module_rtp.h"

/** What a voice service sends. */
typedef struct tagPortVoiceEncodeInfoS {
    ULONG_32 ulAudioEncType; /**< PLAYER_AUDIO_ENCODE_TYPE_E */
    ULONG_32 ulSampleRate;   /**< Hz */
    ULONG_32 ulChannels;     /**< channels */
} PORT_VOICE_ENCODE_INFO_S;

/** Voice service of a port. */
typedef struct tagPortVoiceInfoS {
    NET_INFO_S stNetInfo;                       /**< socket */
    RTP_MAKE_INFO_S stRtpMakerInfo;             /**< packetiser */
    PORT_VOICE_ENCODE_INFO_S stVoiceEncodeInfo; /**< coding */
    CODEC_INFO_S stAudioEncode;                 /**< encoder */
    CHAR *pcSendData;                           /**< send buffer, 1500 bytes */
    ULONG_32 ulSendDataLen;                     /**< bytes in it */
    ULONG_32 ulTransProtl;                      /**< transport */
    ULONG_32 ulVoiceSvcType;                    /**< service */
} PORT_VOICE_INFO_S;

enum : ULONG_32 { BROADCAST_PORT_NUM = 128, BROADCAST_PORT_FREE = 65535 };

/** The broadcast service of the library. */
typedef struct tagPlayerBroadcastInfoS {
    ULONG_32 aulPortArray[BROADCAST_PORT_NUM]; /**< ports served, BROADCAST_PORT_FREE for a free place */
    PORT_VOICE_INFO_S stVoiceInfo;             /**< the shared encoder and sender */
    HANDLE hCaptureDec;                        /**< capture device: none in this version */
} PLAYER_BROADCAST_INFO_S;

#endif
