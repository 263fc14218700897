/**
 * @file prepare_stage.h
 * @brief What is done to a video frame, in its own buffer, between the search for its decoder and the decoding.
 */
#ifndef ZELVANE_PIPELINE_PREPARE_STAGE_H
#define ZELVANE_PIPELINE_PREPARE_STAGE_H

#include "port/player_manager.h"

/**
 * Reads the messages of the frame in stFrameData and descrambles it, if the client has asked the port for anything that
 * lies in them: analytics, descrambling or fisheye. For all other ports it does nothing. Runs behind taps and the
 * record ring, which get the frame as it came, and once a frame, whatever the decoder makes of it.
 * @return false when the frame must not be decoded; then that is logged and the port waits for a key frame
 */
bool Player_PrepareFrame(PLAEYR_PORT_S *pstPort);

#endif
