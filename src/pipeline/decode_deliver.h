/**
 * @file decode_deliver.h
 * @brief From a frame to its picture or sound, and on to callbacks, window and sound device.
 *
 * The decode thread and a file's play thread take these steps with each frame.
 */
#ifndef ZELVANE_PIPELINE_DECODE_DELIVER_H
#define ZELVANE_PIPELINE_DECODE_DELIVER_H

#include "port/player_manager.h"

/** Which thread delivers. */
typedef enum tagDeliverThreadE { DELIVER_DECODE_THREAD = 0, DELIVER_FILE_THREAD = 1 } DELIVER_THREAD_E;

/** What a thread remembers of its sound device and of the pictures it left out. */
typedef struct tagDeliverStateS {
    DELIVER_THREAD_E enThread;
    ULONG_32 ulCurSampleRate; /**< rate that the device was made for; 65535 none yet */
    LONG_32 lCurAudioDataLen; /**< block length that it was made for; -1 none yet */
    LONG_32 lCurSoundVolume;  /**< volume last applied */
    ULONG_32 glDecCount;      /**< pictures since one was left out or let through at speed */
} DELIVER_STATE_S;

void Deliver_Begin(DELIVER_STATE_S *pstState, DELIVER_THREAD_E enThread);

/** Drops pictures that depend on a lost one, until a key frame. True when the frame in stFrameData may go on. */
bool Deliver_PassKeyFrameGate(PLAEYR_PORT_S *pstPort);

/** Whether the chosen sound track takes the frame in stFrameData; always, if that is no sound. */
bool Deliver_PassSoundChannel(const PLAEYR_PORT_S *pstPort);

/** Finds a decoder for the frame in stFrameData and decodes it. False when nothing came out, with everything logged. */
bool Deliver_DecodeFrame(PLAEYR_PORT_S *pstPort);

/** Gives a further picture of the frame decoded last, in the same way; false when there is none left. */
bool Deliver_NextPicture(PLAEYR_PORT_S *pstPort);

/** Puts the decoded picture, adjusted and with its overlays, on the picture queue. False: no memory for it. */
bool Deliver_ShowPicture(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState);

/** Plays the block if the last decode gave one; gives the sound device up while sound is off. */
void Deliver_PlaySound(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState);

/** The decode thread's road from here: callbacks, the picture queue and the sound device. */
void Deliver_Result(PLAEYR_PORT_S *pstPort, DELIVER_STATE_S *pstState);

#endif
