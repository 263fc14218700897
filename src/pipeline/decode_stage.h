/**
 * @file decode_stage.h
 * @brief From a frame to a picture or a block of sound.
 */
#ifndef ZELVANE_PIPELINE_DECODE_STAGE_H
#define ZELVANE_PIPELINE_DECODE_STAGE_H

#include "port/player_manager.h"

extern "C" {

/** Makes sure that a decoder for the frame in stFrameData exists. */
MODULE_API ULONG_32 Player_FindDecode(LONG lPayload, PLAEYR_PORT_S *pstPort);
/** Decodes one frame into stDecodeVideoData or stDecodeAudioData. */
MODULE_API ULONG_32 Player_Decoder(PLAYER_FRAMEDATA_S *pstFrame, PLAEYR_PORT_S *pstPort);
/** The decode thread of input, net and cloud ports; pParam is the port. */
MODULE_API void *__DecodeThreadEntry(void *pParam);
}

#endif
