/**
 * @file port_state.h
 * @brief Steps that the open and close functions of every kind of source share.
 */
#ifndef ZELVANE_PORT_PORT_STATE_H
#define ZELVANE_PORT_PORT_STATE_H

#include "port/player_manager.h"

/** Forgets the intake of the stream before: container, bound buffers, a half frame. Sequence numbers stay. */
void PortState_ResetIntake(PORT_INTAKE_S *pstIntake);

/** Releases queues, decoders and frame buffers, once no thread of the port runs. */
void PortState_FreePipeline(PLAEYR_PORT_S *pstPort);

void PortState_FreeFrameBuffers(PORT_INTAKE_S *pstIntake);

/** Releases the video decoder, and with it the picture that lies in its memory. Caller holds no lock. */
void PortState_FreeVideoDecoder(PORT_CODEC_S *pstCodec);

/** Releases the audio decoder, and with it the PCM block that lies in its memory. */
void PortState_FreeAudioDecoder(PORT_CODEC_S *pstCodec);

/** Forgets the planes of a decoded picture or block: what they point into is about to go. */
void PortState_ForgetPlanes(CODE_DECODED_DATA_S *pstData);

/** Releases the overlay copies that the last picture carried. */
void PortState_FreeDrawInfo(CODE_DECODED_DATA_S *pstData);

/** Gives the sound device up; getters on other threads look at its handle. */
void PortState_DropSoundDevice(PORT_OUTPUT_S *pstOutput);

#endif
