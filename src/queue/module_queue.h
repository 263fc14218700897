/**
 * @file module_queue.h
 * @brief The queues of a port: packet ring, picture queue, reorder window, and the inert off-screen queue.
 *
 * Every record here lies in its owner's memory, all-zero before the first call. An Init makes it usable, a Cleanup
 * gives its memory back, and both may follow each other any number of times. An Init on a record in use cleans it up
 * first. Mutexes and wake words are made by the first Init and stay through Cleanup, since a late writer may still
 * reach them; whoever owns the record for good (the port table for a port's queues, the report module for its ring)
 * ends with QUEUE_DestroyPacketBuffer() or QUEUE_DestroyDecodedBufferQueue() when no other thread can reach it. A
 * record for which that is never called leaks nothing. A record must not be moved once it was initialised.
 *
 * Fields marked private are for this module only; the others are reached by other modules through word::Load().
 */
#ifndef ZELVANE_QUEUE_MODULE_QUEUE_H
#define ZELVANE_QUEUE_MODULE_QUEUE_H

#include "foundations/player_types.h"
#include "foundations/wake.h"

typedef struct tagRtptPayloadTypeS RTP_PAYLOAD_TYPE_S;

/* ---- packet ring ----------------------------------------------------------------------------------------------- */

/** First size of a ring's read buffer, bytes. */
inline constexpr ULONG_32 QUEUE_TMP_BUF_SIZE = 10240;
/** How far the read buffer grows beyond the packet that made it grow, bytes. */
inline constexpr ULONG_32 QUEUE_TMP_BUF_EXTRA = 10000;
/** Bytes of a slot before its payload: the length, in the machine's byte order. */
inline constexpr ULONG_32 QUEUE_SLOT_HEAD = 4;
/** Largest block that one queue may ask for, bytes: what its log line can show. */
inline constexpr DULONG QUEUE_MAX_BLOCK = 0x7FFFFFFF;
/** Distance at which two words never lie in one line of a processor's cache. */
inline constexpr size_t QUEUE_CACHE_LINE = 64;

/** What ends a reader's sleep. The fewer switches of threads for a packet, the better. */
typedef enum tagQueueWaitE {
    QUEUE_WAIT_PACKET = 0, /**< a packet */
    QUEUE_WAIT_BULK = 1,   /**< a quarter of the ring; for a reader under load */
    QUEUE_WAIT_TAIL = 2 /**< the end of a video frame (QUEUE_AddPacketEx()) or a quarter of the ring; within a frame */
} QUEUE_WAIT_E;

/**
 * A ring of equal slots into which packets are copied. Any number of writers, one reader.
 *
 * A slot is a 32-bit length and payload. A longer packet takes consecutive slots, each holding in its length field the
 * bytes still to come, so the first one's is the whole length. One slot always stays empty.
 *
 * Slot ulFrontIndex lies at the front of pcPacketBuf, the others follow it in their order, round the end.
 *
 * Owners: stMutex guards ulWriteIndex, ulFrontIndex, the free slots, and the life of pcPacketBuf against writers. The
 * reader alone moves ulReadIndex and owns pcTmpBuf and ulTmpBufSize. Counters are relaxed words, indexes are released
 * and acquired. Gaps keep what the writers change for each packet, what the reader changes, and what nobody does in
 * lines of their own, or each side would take every line from the other several times a packet.
 */
typedef struct tagPacketBufferQueue {
    CHAR *pcPacketBuf;             /**< ulBufNum slots of ulOneBufSize bytes */
    CHAR *pcTmpBuf;                /**< the packet last read; owned by the ring */
    ULONG_32 ulBufNum;             /**< slots; 0: not initialised */
    CHAR acGap1[QUEUE_CACHE_LINE]; /**< private */
    ULONG_32 ulWriteIndex;         /**< next slot to write */
    CHAR acGap2[QUEUE_CACHE_LINE]; /**< private */
    ULONG_32 ulReadIndex;          /**< next slot to read */
    CHAR acGap3[QUEUE_CACHE_LINE]; /**< private */
    ULONG_32 ulOneBufSize;         /**< slot size: payload size + QUEUE_SLOT_HEAD */
    CHAR acGap4[QUEUE_CACHE_LINE]; /**< private */
    QLOM_SDK_MUTEX_S stMutex;      /**< writers' lock */
    CHAR acGap5[QUEUE_CACHE_LINE]; /**< private */
    ULONG_32 ulErrCount;           /**< packets refused */
    ULONG_32 ulFrameCount;         /**< whole video frames in the ring, a hint: may dip below 0 for a moment */
    ULONG_32 ulTmpBufSize;         /**< size of pcTmpBuf */
    ULONG_32 ulPort;               /**< for log lines */
    DULONG dulMade;                /**< private: tells that stMutex is made, see queue_inner.h */
    WAKE_S stReadWake;             /**< private: the reader sleeps here */
    ULONG_32 ulReadLevel;   /**< private: slots in use at which the sleeping reader is woken, 0 when it is awake */
    BOOL_T bReadTail;       /**< private: the end of a video frame wakes it as well */
    ULONG_32 ulReadLatch;   /**< private: 1 makes the reader's next wait return at once */
    WAKE_S stRoomWake;      /**< private: writers that were refused sleep here */
    ULONG_32 ulRoomWaiting; /**< private: how many of them there are */
    ULONG_32 ulRoomSlots;   /**< private: slots that the packet refused last needs */
    ULONG_32 ulRoomLatch;   /**< private: 1 makes a writer's next wait return at once */
    ULONG_32
    ulFrontIndex; /**< private: the slot that lies at the front of pcPacketBuf; moves while the ring is empty */
} PACKET_BUFFER_QUEUE_S;

/* ---- reorder window -------------------------------------------------------------------------------------------- */

/** Bytes of a reorder slot before its packet: a flag and the length in the machine's byte order. */
inline constexpr ULONG_32 QUEUE_SEQ_SLOT_HEAD = 5;

/**
 * A window of RTP packets (RFC 3550), placed by their sequence numbers. No lock of its own: for one thread.
 *
 * A slot is a byte that is 1 when it holds a packet, a 4-byte length, then the packet. Packets of up to
 * ulOneBufSize - 1 bytes are taken, so the slots lie ulOneBufSize + QUEUE_SEQ_SLOT_HEAD bytes apart.
 */
typedef struct tagAdjustPktSeqQueue {
    CHAR *pcPacketBuf;     /**< one block of ulBufNum slots */
    ULONG_32 ulBufNum;     /**< slots: the window's width */
    ULONG_32 ulReadIndex;  /**< slot that is read next */
    ULONG_32 ulOneBufSize; /**< size asked for + QUEUE_SEQ_SLOT_HEAD */
    ULONG_32 ulErrCount;   /**< unused */
    BOOL_T bFirstSeq;      /**< no packet yet */
    USHORT usPreSequence;  /**< sequence number of the packet last read */
    USHORT usReserved;     /**< unused */
    DULONG dulMade;        /**< private: tells that pcPacketBuf is this module's, see queue_inner.h */
} ADJUST_PACKET_SEQ_QUEUE_S;

/* ---- picture queue --------------------------------------------------------------------------------------------- */

/** A place for one decoded picture. Its planes belong to it and stay from picture to picture; its overlays belong to it
 *  until the next picture is written here or the queue ends. */
typedef struct tagDecodedBufferNode {
    CODE_DECODED_DATA_S stData;           /**< the picture; plane 2 points into plane 1's allocation */
    struct tagDecodedBufferNode *pstNext; /**< next in the circle */
    DULONG dulLumaSize;                   /**< private: bytes of plane 0's allocation */
    DULONG dulChromaSize;                 /**< private: bytes of plane 1's allocation, 0: all lies in plane 0's */
} DECODED_BUFFER_NODE_S;

/** Most nodes that a picture queue may be asked to have. */
inline constexpr ULONG_32 QUEUE_MAX_NODES = 65536;
/** Blocks that the single node of a queue has outgrown and that the reader may still show: each is twice the last. */
inline constexpr ULONG_32 QUEUE_MAX_RETIRED = 64;
/** Overlays that the single node of a queue had and that the reader may still show. */
inline constexpr ULONG_32 QUEUE_MAX_RETIRED_INFO = 32;

/**
 * A circle of pictures between one writer (the decode thread) and one reader (the render thread). The writer never
 * waits: when the queue is full the oldest picture that was not taken goes.
 *
 * Owners: stMutex guards the indexes, the circle's links, bUsingData and bFullWnd of the nodes. The planes between the
 * read index and the write index, and of the node that the reader holds, are not written. stFillMutex is held by the
 * writer while it copies and by Init and Cleanup, and is taken before stMutex; the reader never takes it.
 * With a single node the writer writes what the reader shows; planes and overlays replaced meanwhile are released by
 * the next Get, so that node's overlays are words to load with acquire.
 */
typedef struct tagDecodedBufferQueue {
    ULONG_32 ulBufNum;                     /**< nodes; 0: not initialised */
    ULONG_32 ulErrorNum;                   /**< unused */
    QLOM_SDK_MUTEX_S stMutex;              /**< see above */
    DECODED_BUFFER_NODE_S *pstWriteIndex;  /**< node that is written next */
    DECODED_BUFFER_NODE_S *pstReadIndex;   /**< node that is read next; equal to the write index: empty */
    BOOL_T bIsQueueData;                   /**< a picture has been added since the start */
    DULONG dulMade;                        /**< private: tells that the mutexes are made, see queue_inner.h */
    QLOM_SDK_MUTEX_S stFillMutex;          /**< private: see above */
    WAKE_S stReadWake;                     /**< private: the reader sleeps here */
    ULONG_32 ulReadLatch;                  /**< private: 1 makes the reader's next wait return at once */
    BOOL_T bNewPicture;                    /**< private: a picture was added since the last Get */
    ULONG_32 ulRetiredNum;                 /**< private: blocks in apucRetired */
    UCHAR *apucRetired[QUEUE_MAX_RETIRED]; /**< private: single node only, released by the next Get */
    ULONG_32 ulRetiredInfoNum;             /**< private: rows of astRetiredInfo */
    CODE_DRAWINFO_S astRetiredInfo[QUEUE_MAX_RETIRED_INFO]; /**< private: single node only, likewise */
} DECODED_BUFFER_QUEUE_S;

/* ---- off-screen queue ------------------------------------------------------------------------------------------ */

/** A picture on an off-screen surface: no planes. */
typedef struct tagCodeDecodedDataTS {
    LONG_32 lDuration;          /**< display time, milliseconds */
    LONG_32 lWidth;             /**< pixels */
    LONG_32 lHeight;            /**< rows */
    BOOL_T bUsingData;          /**< held by the reader */
    BOOL_T bFullWnd;            /**< fills the window */
    CODE_DRAWINFO_S stDrawInfo; /**< overlays */
} CODE_DECODED_DATA_T_S;

/** A node of the off-screen queue. */
typedef struct tagOffScreenNode {
    HANDLE lpOffScreen;               /**< surface */
    CODE_DECODED_DATA_T_S stData;     /**< its picture */
    struct tagOffScreenNode *pstNext; /**< next in the circle */
    HANDLE hMonitor;                  /**< monitor of the surface */
} OFF_SCREEN_NODE_S;

/** Queue of off-screen surfaces: no display of this version has any, so it holds no nodes. */
typedef struct tagOffScreenQueue {
    ULONG_32 ulBufNum;                /**< backlog of pictures hoped for: 0 */
    ULONG_32 ulErrorNum;              /**< pictures that the decode thread could not queue */
    QLOM_SDK_MUTEX_S stMutex;         /**< never made in this version */
    OFF_SCREEN_NODE_S *pstWriteIndex; /**< null */
    OFF_SCREEN_NODE_S *pstReadIndex;  /**< null */
} OFF_SCREEN_QUEUE_S;

extern "C" {

/* ---- packet ring ----------------------------------------------------------------------------------------------- */

/**
 * Makes a ring.
 * @param ulOneBufSize payload bytes of a slot
 * @param ulBufNum     slots; one of them always stays empty
 * @return 0; 2 null record; 3 no memory, or more than QUEUE_MAX_BLOCK bytes asked for
 */
MODULE_API ULONG_32 QUEUE_InitPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulOneBufSize, ULONG_32 ulBufNum);

/**
 * Releases the ring's memory and clears its counters. The reader must have ended; writers may still come, and get 2.
 * Null and a ring without memory are fine.
 */
MODULE_API void QUEUE_CleanupPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue);

/**
 * Copies one packet in. It becomes visible to the reader at once and whole.
 * @return 0; 2 null argument or no ring; 260 no room: ulErrCount went up and nothing was added
 */
MODULE_API ULONG_32 QUEUE_AddPacket(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, PACKET_BUFFER_QUEUE_S *pstQueue);

/** QUEUE_AddPacket() that counts the packet in ulFrameCount when it ends a video frame. */
MODULE_API ULONG_32 QUEUE_AddPacketEx(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen, RTP_PAYLOAD_TYPE_S *pstPayloadType,
                                      PACKET_BUFFER_QUEUE_S *pstQueue);

/**
 * Takes one packet out; for one reader.
 * @param ppcPacketBuffer the packet, in the ring's read buffer: valid until the next get
 * @return 0; 2 null argument; 3 no memory for a long packet, which stays in the ring; 261 empty or no ring
 */
MODULE_API ULONG_32 QUEUE_GetPacket(PACKET_BUFFER_QUEUE_S *pstQueue, CHAR **ppcPacketBuffer, ULONG_32 *pulPacketLen);

/** QUEUE_GetPacket() that takes the packet off ulFrameCount when it ends a video frame. */
MODULE_API ULONG_32 QUEUE_GetPacketEx(PACKET_BUFFER_QUEUE_S *pstQueue, RTP_PAYLOAD_TYPE_S *pstPayloadType,
                                      CHAR **ppcPacketBuffer, ULONG_32 *pulPacketLen);

/** Slots in use; 0 without a ring. Any thread. @return 0; 2 null argument */
MODULE_API ULONG_32 QUEUE_GetCurPacketLen(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulPacketLen);

/** Fill level in thousandths; 0 without a ring. Any thread. @return 0; 2 null argument */
MODULE_API ULONG_32 QUEUE_GetCurPacketUsed(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulPacketUsed);

/** Whole video frames in the ring. Any thread. @return 0; 2 null argument */
MODULE_API ULONG_32 QUEUE_GetCurFrameCount(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 *pulFrameCount);

/**
 * Empties the ring and refuses writers from now on (2), while its reader may still be at work: QUEUE_GetPacket() gives
 * 261, a packet handed out stays valid, and the reader is woken. The memory goes with QUEUE_CleanupPacketBuffer().
 */
MODULE_API void QUEUE_StopPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue);

/** Cleans the ring up and destroys its mutex: the owner's last call, when no other thread can reach the record. */
MODULE_API void QUEUE_DestroyPacketBuffer(PACKET_BUFFER_QUEUE_S *pstQueue);

/**
 * The one reader sleeps until there is a packet, QUEUE_WakeAll() was called, or the limit is over. A wake that came
 * since the last wait makes it return at once, so a run flag may be cleared and QUEUE_WakeAll() called at any moment.
 * @param ulWaitFor QUEUE_WAIT_E; to be used with a limit of a few milliseconds unless it is QUEUE_WAIT_PACKET
 * @return whether a packet can be taken
 */
MODULE_API bool QUEUE_WaitForPacket(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds, ULONG_32 ulWaitFor);

/**
 * A writer that got 260 sleeps until the ring is half empty (or empty, if the packet refused last needs more than
 * half of it), QUEUE_WakeAll() was called, or the limit is over. Any number of writers.
 * @return whether there is room now
 */
MODULE_API bool QUEUE_WaitForRoom(PACKET_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds);

/** Wakes the reader and the writers that wait, or makes their next wait return at once. Any thread, any state. */
MODULE_API void QUEUE_WakeAll(PACKET_BUFFER_QUEUE_S *pstQueue);

/* ---- reorder window -------------------------------------------------------------------------------------------- */

/**
 * Makes a window.
 * @param ulOneBufSize size of a packet, bytes, above 0
 * @param ulBufNum     slots, above 0
 * @return 0; 2 bad argument; 3 no memory, or more than QUEUE_MAX_BLOCK bytes asked for
 */
MODULE_API ULONG_32 QUEUE_InitAdjustPktSeqQueue(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, ULONG_32 ulOneBufSize,
                                                ULONG_32 ulBufNum);

/** Releases the window's memory and clears the record. Null is fine. */
MODULE_API void QUEUE_CleanupAdjustPktSeqQueue(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue);

/**
 * Places an RTP packet by its distance from the packet last read. A packet beyond the window moves the read position
 * on and is read last; that is how a gap is given up. A slot in use is overwritten.
 * @return 0, also for length 0; 2 too long, shorter than its sequence number, not RTP version 2, null, or no window
 */
MODULE_API ULONG_32 QUEUE_AddAdjustPktSeqData(CHAR *pcPacketBuffer, ULONG_32 ulPacketLen,
                                              ADJUST_PACKET_SEQ_QUEUE_S *pstQueue);

/**
 * Takes the packet at the read position.
 * @param ppcPacketBuffer the packet, in its slot: valid until that slot is written again
 * @return 0; 2 null argument; 261 the slot is empty or there is no window
 */
MODULE_API ULONG_32 QUEUE_GetAdjustPktSeqData(ADJUST_PACKET_SEQ_QUEUE_S *pstQueue, CHAR **ppcPacketBuffer,
                                              ULONG_32 *pulPacketLen);

/* ---- picture queue --------------------------------------------------------------------------------------------- */

/**
 * Makes the queue, with a dark grey full-window picture of 800 x 600 to be read first. The reader must not be at work;
 * the writer may be, and a node that the reader held is gone.
 * @return 0; 2 null record or no nodes asked for; 3 no memory, or more than QUEUE_MAX_NODES asked for
 */
MODULE_API ULONG_32 QUEUE_InitDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulBufNum);

/** Releases all nodes and clears the record; a writer that comes later gets 2. Null is fine. */
MODULE_API void QUEUE_CleanupDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue);

/**
 * Copies a picture in: the planes with their strides, the size and the duration, not the timestamp. The overlays of
 * stDrawInfo move into the queue, which frees them, and are null in the source afterwards; after a failure they stay
 * the caller's.
 * @param bFullDiscard ignored: a full queue always discards
 * @return 0; 2 null record or plane, no queue, or a picture whose sizes make no sense; 3 no memory for it
 */
MODULE_API ULONG_32 QUEUE_AddDecodeData(CODE_DECODED_DATA_S *pstSrcData, BOOL_T bFullDiscard,
                                        DECODED_BUFFER_QUEUE_S *pstQueue);

/**
 * QUEUE_AddDecodeData() of the picture halved by Image_Compress().
 * @param lCompressLineSize stride of the small picture: half of the source's
 * @param lCompressWidth    its width
 * @param lCompressHight    its height
 * @return as QUEUE_AddDecodeData(); 0 also when the strides do not fit, and then nothing is queued and nothing moves
 */
MODULE_API ULONG_32 QUEUE_AddDecodeDataWithCompress(CODE_DECODED_DATA_S *pstSrcData, BOOL_T bFullDiscard,
                                                    LONG_32 lCompressLineSize, LONG_32 lCompressWidth,
                                                    LONG_32 lCompressHight, DECODED_BUFFER_QUEUE_S *pstQueue);

/**
 * Takes the next picture; for one reader.
 * @param ppstSrcData in: the picture held until now, or null; out, on 0: the next one, held until the next call
 * @return 0; 2 null argument; 261 no picture waits (the one held stays held) or no queue
 */
MODULE_API ULONG_32 QUEUE_GetDecodeData(DECODED_BUFFER_QUEUE_S *pstQueue, CODE_DECODED_DATA_S **ppstSrcData);

/**
 * Halves a picture by picking every second sample of every second row. Rows past the source's end repeat its last one.
 * @param pstCurWriteData planes, lLineSize[0] (half of the source's) and lHeight are set by the caller
 * @return 0; 2 bad argument
 */
MODULE_API ULONG_32 Image_Compress(CODE_DECODED_DATA_S *pstSrcData, CODE_DECODED_DATA_S *pstCurWriteData);

/** Cleans the queue up and destroys its mutexes: the owner's last call, when no other thread can reach the record. */
MODULE_API void QUEUE_DestroyDecodedBufferQueue(DECODED_BUFFER_QUEUE_S *pstQueue);

/**
 * The one reader sleeps until a picture can be taken (with a single node: until one was added since the last Get),
 * QUEUE_WakeDecodeReader() was called, or the limit is over. A wake since the last wait makes it return at once.
 * @return whether there is such a picture
 */
MODULE_API bool QUEUE_WaitForDecodeData(DECODED_BUFFER_QUEUE_S *pstQueue, ULONG_32 ulMSeconds);

/** Wakes the reader, or makes its next wait return at once. Any thread, any state. */
MODULE_API void QUEUE_WakeDecodeReader(DECODED_BUFFER_QUEUE_S *pstQueue);

}  // extern "C"

#endif
