/**
 * @file audioplay.h
 * @brief Decoded sound to the sound device: the flat interface.
 *
 * The process has one sound device and one queue of at most 10 blocks in front of it. Several ports that play sound
 * push into that queue; a port opening while another one plays fails and leaves the other's device alone. The device
 * plays blocks of any length one after the other, and silence with none. Any thread may call; no call waits for the
 * device but Audio_Cleanup() (output/soundDevice.h).
 */
#ifndef ZELVANE_OUTPUT_AUDIOPLAY_H
#define ZELVANE_OUTPUT_AUDIOPLAY_H

#include "foundations/player_types.h"

/** What a decoder gives, for making a device. */
typedef struct tagAudioDecParamS {
    ULONG_32 ulSampleRate;    /**< Hz */
    ULONG_32 ulChannels;      /**< 1 or 2; 0 counts as 1 */
    ULONG_32 ulBitsPerSample; /**< logged only: the device takes 16 bits */
    LONG_32 lDataLen;         /**< bytes of a PCM block */
} AUDIO_DEC_PARAM_S;

extern "C" {

/** Starts SDL's sound. A failure is logged; 0 all the same. */
MODULE_API ULONG_32 Audio_Init(void);
/** Ends it, with the device that is still open. */
MODULE_API void Audio_Cleanup(void);

/** Makes a device record, without opening the device. Null for a null argument or without memory. */
MODULE_API HANDLE Audio_CreatePlayDec(const AUDIO_DEC_PARAM_S *pstAudioParam);
/** Stops and leaves the device, which stays open for a moment, empties the queue (that of all ports), frees the record, nulls the handle. */
MODULE_API void Audio_DestoryPlayDec(HANDLE *phAudioDec);

/** Opens the device and starts it. 0, also if that takes longer; 1 if SDL refuses at once, as with a second device; 533
 *  for a null handle. */
MODULE_API ULONG_32 Audio_OpenSound(HANDLE hAudioDec);
/** Pauses the device. 0; 533 for a null handle. */
MODULE_API ULONG_32 Audio_CloseSound(HANDLE hAudioDec);
/**
 * Queues a copy of a block; with 10 blocks waiting the oldest goes.
 * @param pucPcmData 16-bit little-endian samples, interleaved
 * @param ulDataLen  bytes
 * @return 0; 2 for null data; 3 without memory; 1, once, if the device could not be opened; 533 for a null handle
 */
MODULE_API ULONG_32 Audio_AddSoundData(HANDLE hAudioDec, UCHAR *pucPcmData, ULONG_32 ulDataLen);

/** Does nothing: sound is played at full volume. 0. */
MODULE_API ULONG_32 Audio_SetSoundVolume(HANDLE hAudioDec, LONG_32 lVolume);
/** Does nothing and leaves the volume alone. 0; 533 for a null handle. */
MODULE_API ULONG_32 Audio_GetSoundVolume(HANDLE hAudioDec, LONG_32 *plVolume);

/* Capture: the library records no sound, the client brings it. Whatever the arguments: */

/** Returns null. */
MODULE_API HANDLE Audio_CreateCaptureDec(...);
/** Returns 0. */
MODULE_API ULONG_32 Audio_DestoryCaptureDec(...);
/** Returns 0. */
MODULE_API ULONG_32 Audio_SetCaptureCallBack(...);
/** Returns 0. */
MODULE_API ULONG_32 Audio_GetSampleRate(...);
/** Returns 7. */
MODULE_API ULONG_32 Audio_SetMicVolume(...);
/** Returns 7. */
MODULE_API ULONG_32 Audio_GetMicVolume(...);
}

#endif
