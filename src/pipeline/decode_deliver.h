/**
 * @file decode_deliver.h
 * @brief From a frame to its picture or sound, and on to callbacks, window and sound device.
 *
 * The decode thread and a file's play thread take these steps with each frame.
 */
#ifndef ZELVANE_PIPELINE_DECODE_DELIVER_H
#define ZELVANE_PIPELINE_DECODE_DELIVER_H

#include "frame/player_manager.h"

/** What a thread remembers of its sound device and of the pictures it left out. */
typedef struct tagDeliverStateS {
    ULONG_32 ulCurSampleRate; /**< rate that the device was made for; 65535 none yet */
    LONG_32 lCurAudioDataLen; /**< block length that it was made for; -1 none yet */
    LONG_32 lCurSoundVolume;  /**< volume last applied */
    ULONG_32 glDecCount;      /**< pictures since one was left out or let through at speed */
} DELIVER_STATE_S;

void Deliver_Begin(DELIVER_STATE_S *pstState);

/** Finds a decoder for the frame in stFrameData and decodes it. False when nothing came out, with everything logged. */
bool Deliver_DecodeFrame(PLAEYR_PORT_S *pstPort);

/** Hands the decoded picture or block to the callbacks, the picture queue and the sound device. */
void Deliver_Result(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState);

#endif
