/**
 * @file voice_types.h
 * @brief Records of the voice services that a port holds.
 */
#ifndef ZELVANE_PORT_VOICE_TYPES_H
#define ZELVANE_PORT_VOICE_TYPES_H

#include "codec/module_code.h"
#include "foundations/player_types.h"
#include "foundations/wake.h"
#include "intake/module_net.h"
#include "intake/module_rtp.h"

/** What a voice service sends. */
typedef struct tagPortVoiceEncodeInfoS {
    ULONG_32 ulAudioEncType; /**< PLAYER_AUDIO_ENCODE_TYPE_E */
    ULONG_32 ulSampleRate;   /**< PLAYER_VOICE_WAVE_FORMAT_E */
    ULONG_32 ulChannels;     /**< channels */
} PORT_VOICE_ENCODE_INFO_S;

enum : ULONG_32 {
    VOICE_SEND_BUFFER_SIZE = 1500, /**< a packet of RTP_MAX_SEND_PAYLOAD behind its two heads */
    VOICE_BLOCK_TICKS = 640        /**< what the time stamp grows by with each block, whatever its length */
};

/**
 * Voice service of a port. The client's calls own it, under the port's API lock, but for what stSendMutex guards: the
 * message on its way out, which the network thread and the broadcast thread handle too (source/voice_send.h).
 */
typedef struct tagPortVoiceInfoS {
    NET_INFO_S stNetInfo;                       /**< socket: the stream's, the client's, or with UDP the service's own */
    RTP_MAKE_INFO_S stRtpMakerInfo;             /**< packetiser */
    PORT_VOICE_ENCODE_INFO_S stVoiceEncodeInfo; /**< coding of the next service */
    CODEC_INFO_S stAudioEncode;                 /**< encoder */
    CHAR *pcSendData;                           /**< VOICE_SEND_BUFFER_SIZE bytes, or null; under stSendMutex */
    ULONG_32 ulSendDataLen;                     /**< bytes of the packet in it, without the framing head */
    ULONG_32 ulTransProtl;                      /**< transport */
    ULONG_32 ulVoiceSvcType;                    /**< PLAYER_VOICE_SVC_TYPE_E */
    ULONG_32 ulRestOffset;                      /**< where in pcSendData the rest begins; under stSendMutex */
    ULONG_32 ulRestLen;                         /**< bytes that are still to go out; 0 for none. Written under it */
    ULONG_32 ulDropCount;                       /**< blocks that found no room */
    QLOM_SDK_MUTEX_S stSendMutex;               /**< lives as long as the port */
    WAKE_FD_S stSendWake;                       /**< ends the wait for room at a close; kept as stSourceWake is */
} PORT_VOICE_INFO_S;

enum : ULONG_32 { BROADCAST_PORT_NUM = 128, BROADCAST_PORT_FREE = 65535 };

/** The broadcast service of the library; gstBroadcastMutex guards it. */
typedef struct tagPlayerBroadcastInfoS {
    ULONG_32 aulPortArray[BROADCAST_PORT_NUM]; /**< ports served, BROADCAST_PORT_FREE for a free place */
    PORT_VOICE_INFO_S stVoiceInfo;             /**< the shared encoder and sender */
    HANDLE hCaptureDec;                        /**< capture device: none in this version */
} PLAYER_BROADCAST_INFO_S;

#endif
