/**
 * @file port_voice.h
 * @brief A port's slice of voice services.
 */
#ifndef ZELVANE_PORT_PORT_VOICE_H
#define ZELVANE_PORT_PORT_VOICE_H

#include "port/voice_types.h"
#include "queue/module_queue.h"

/** Voice of a port. */
typedef struct tagPortVoiceS {
    PORT_VOICE_INFO_S stVoiceInfo;                /**< encoder, packets and socket */
    HANDLE hCaptureDec;                           /**< capture device: none in this version */
    ULONG_32 ulUseDec;                            /**< 1 when the library opened the socket */
    BOOL_T bStartBroadcast;                       /**< the broadcast thread runs while set; a word */
    PACKET_BUFFER_QUEUE_S stBroadcastBufferQueue; /**< packets for it */
    QLOM_SDK_THREAD_S hBroadcastThread;           /**< 0 for none */
    BOOL_T bMicQuiet;                             /**< muted; set by the client, a word */
    LONG_32 lMicVolume;                           /**< likewise */
} PORT_VOICE_S;

#endif
