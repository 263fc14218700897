/**
 * @file voice.h
 * @brief Voice services: a port that talks to its device.
 */
#ifndef ZELVANE_SOURCE_VOICE_H
#define ZELVANE_SOURCE_VOICE_H

#include "port/player_manager.h"

extern "C" {

/** Codings and rates as the client numbers them; for the next service of the port. */
MODULE_API ULONG_32 Player_SetVoiceEncodeType(ULONG_32 ulPort, ULONG_32 ulAudioEncType, ULONG_32 ulSampleRate,
                                              ULONG_32 ulChannels);
MODULE_API ULONG_32 Player_OpenVoiceSvc(ULONG_32 ulPort, ULONG_32 ulVoiceSvcType, ULONG_32 stSocket,
                                        const CHAR *pcLocalIP, USHORT usLocalPort, const CHAR *pcRemoteIP,
                                        USHORT usRemotePort, ULONG_32 ulTransProtl);
/** Success for a port without a voice service. */
MODULE_API ULONG_32 Player_CloseVoiceSvc(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_VoiceInputData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen,
                                          PLAYER_AUDIO_SAMPLE_PARAM_S *pstVoiceParam);
/** Sends a block that was captured; pUser is the port. One thread at a time. */
MODULE_API ULONG_32 Player_SendVoice(CHAR *pcBufferAddr, ULONG_32 ulDataLen, void *pUser);
/** Encodes a captured block once and gives it to the broadcast thread of each port in the table. Any thread. */
MODULE_API ULONG_32 Player_SendBroacdcast(CHAR *pcBufferAddr, ULONG_32 ulDataLen, void *pUser);
/** The broadcast thread of a port; pParam is the port. */
MODULE_API void *__BroadcastThreadEntry(void *pParam);
/** Empties the table of the broadcast service. */
MODULE_API void Player_BroadcastInit(void);
}

/* ---- shared by the services of ports and the broadcast ---- */

/** Makes packetiser and encoder, at the rate of stVoiceEncodeInfo; logs a failure. @return a code */
ULONG_32 Voice_MakeEncoder(PORT_VOICE_INFO_S *pstVoice, LONG_32 lPayload, ULONG_32 ulPort);

/**
 * Encodes a block.
 * @param pstFrame the encoder's output, valid until its next block; empty when it keeps the sound
 * @return as CODE_Encoder(); PLAYER_ERR_PARAM for a null block or without an encoder
 */
ULONG_32 Voice_Encode(PORT_VOICE_INFO_S *pstVoice, const void *pData, ULONG_32 ulDataLen, CODEC_FRAME_S *pstFrame);

#endif
