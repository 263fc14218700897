/**
 * @file soundDevice.h
 * @brief SDL's one sound device of the process, kept by a thread of its own.
 *
 * Opening a device takes as long as the sound system likes, and closing it as long as the buffer that it plays; nobody
 * who has pictures to decode can wait for that. So a taker says what it wants, and the thread opens, starts, pauses and
 * closes. A device that is left stays open for two seconds, and serves the next taker at once if the format is the
 * same.
 */
#ifndef ZELVANE_OUTPUT_SOUNDDEVICE_H
#define ZELVANE_OUTPUT_SOUNDDEVICE_H

#include <SDL2/SDL.h>

/** What a taker has. */
enum SOUND_DEVICE_E {
    SOUND_DEVICE_OPENING, /**< the device, soon */
    SOUND_DEVICE_PLAYING, /**< the device */
    SOUND_DEVICE_FAILED,  /**< SDL refused */
    SOUND_DEVICE_TAKEN    /**< nothing: another one has the device, or this one left it */
};

/**
 * Takes the device, and waits a few milliseconds for it at most.
 * @param pOwner names the taker
 * @param stSpec what it wants; the size of the buffer is a wish that a device already open need not fulfil
 */
SOUND_DEVICE_E SoundDevice_Take(const void *pOwner, const SDL_AudioSpec &stSpec);
SOUND_DEVICE_E SoundDevice_State(const void *pOwner);
/** Leaves the device, if the taker has it. Never waits. */
void SoundDevice_Leave(const void *pOwner);
/** Whether the device is open in its taker's format, so that what is queued may be heard. */
bool SoundDevice_IsPlaying();
/** Why the last opening failed, into a buffer of any size. */
void SoundDevice_Error(char *pcText, size_t ulSize);
/** Closes the device and ends the thread; waits for both. */
void SoundDevice_Stop();

#endif
