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

/** Decodes nothing new: gives the next picture of the frame decoded last. 0, 538 when there is none left, or a failure
 */
ULONG_32 Decode_NextPicture(PLAEYR_PORT_S *pstPort);
/** Whether the frame in stFrameData gets another decoder than the one at hand, which then is to give what it holds
 * back. */
bool Decode_WillReplace(const PLAEYR_PORT_S *pstPort);
/** Gives the next picture that the video decoder holds back. 538: none, and the decoder begins anew. */
ULONG_32 Decode_HeldPicture(PLAEYR_PORT_S *pstPort);
/** Drops what the decoders hold back, video and sound: what comes is from another place. The last picture stays. */
void Decode_BeginAnew(PLAEYR_PORT_S *pstPort);

#endif
