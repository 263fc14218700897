/**
 * @file port_queue.h
 * @brief A port's slice of the queues: what joins its threads.
 */
#ifndef ZELVANE_QUEUE_PORT_QUEUE_H
#define ZELVANE_QUEUE_PORT_QUEUE_H

#include "queue/module_queue.h"

/** Queues of a port. Each guards itself; they are made and destroyed under the API lock while no thread runs. */
typedef struct tagPortQueueS {
    PACKET_BUFFER_QUEUE_S stPacketBufferQueue;  /**< receive ring: client or net thread to decode thread */
    ADJUST_PACKET_SEQ_QUEUE_S stAdjustPktSeq;   /**< UDP reorder window; net thread */
    DECODED_BUFFER_QUEUE_S stDecodeBufferQueue; /**< pictures: decode or play thread to render thread */
    OFF_SCREEN_QUEUE_S stOffScreenQueue;        /**< inert but for ulErrorNum, the decode thread's count of refusals */

    /* ---- set by the client under the API lock */
    ULONG_32 ulBufferNum;       /**< slots of the receive ring at the next open */
    ULONG_32 ulDecodeBufferNum; /**< nodes of the picture queue at the next StartPlay */
    ULONG_32 ulBufferCtrl;      /**< PLAYER_BUFFER_CTRL_E; writers load it relaxed */
} PORT_QUEUE_S;

#endif
