/**
 * @file rtp_standard.h
 * @brief RTP of any sender becomes frames: packets in order first (RFC 3550), then whole pictures and sound units
 * (RFC 6184, 7798, 2435, 3640).
 *
 * One record reads the packets of one port; one thread uses it. A packet is pushed, then frames are asked for until none
 * is left. Packets that wait for an earlier one are copied into the record, all others are read where they lie. Nothing
 * is allocated after RtpStandard_Create(). The time comes from the caller.
 */
#ifndef ZELVANE_INTAKE_RTP_STANDARD_H
#define ZELVANE_INTAKE_RTP_STANDARD_H

#include "intake/module_rtp.h"

enum : ULONG_32 {
    RTP_MAX_PACKET = 65535,   /**< bytes of a packet */
    RTP_WINDOW_SLOTS = 64,    /**< packets that may come ahead of a missing one */
    RTP_WINDOW_MS = 50,       /**< how long they wait for it */
    RTP_MAX_SETS = 4096,      /**< bytes of parameter sets of a session */
    RTP_QUANT_SIZE = 64,      /**< bytes of a quantisation table of JPEG */
    RTP_FIRST_CACHED_Q = 128, /**< the Q whose tables may be left out when they were sent before: 128 to 254 */
    RTP_CACHED_QS = 127,
    RTP_WAIT_NONE = 0xFFFFFFFF /**< nothing is due */
};

/** What came of the packets so far; words, which getters load. */
typedef struct tagRtpFiguresS {
    ULONG_32 ulReceived;
    ULONG_32 ulReordered;
    ULONG_32 ulDuplicate;
    ULONG_32 ulLate;
    ULONG_32 ulLost;
    ULONG_32 ulDamaged;
} RTP_FIGURES_S;

/** Parameter sets of a session, each behind a start code of 4 bytes. */
typedef struct tagRtpParameterSetsS {
    LONG_32 lPayload; /**< PLAYER_PAYLOAD_H264 or PLAYER_PAYLOAD_H265 */
    ULONG_32 ulSize;  /**< 0: none */
    UCHAR aucData[RTP_MAX_SETS];
} RTP_PARAMETER_SETS_S;

/** One packet, its head read. It points into the packet's bytes. */
typedef struct tagRtpPacketViewS {
    const UCHAR *pucPacket;
    ULONG_32 ulPacketLen;
    const UCHAR *pucPayload; /**< without padding; may be empty */
    ULONG_32 ulLen;
    PLAYER_PAYLOAD_E enMedia;
    USHORT usSequence;
    UCHAR ucMarker; /**< 0 or 1 */
    ULONG_32 ulTimestamp;
    ULONG_32 ulSsrc;
    ULONG_32 ulRate; /**< clock rate by the port's table, 0 if it has no row */
} RTP_PACKET_VIEW_S;

/** A place of the window. */
typedef struct tagRtpWindowSlotS {
    BOOL_T bUsed;
    RTP_PACKET_VIEW_S stPacket; /**< of the copy in the window's memory */
    DULONG dulArrived;          /**< milliseconds */
} RTP_WINDOW_SLOT_S;

/** The packets of one sender, video or sound, on their way into order. */
typedef struct tagRtpWindowS {
    UCHAR *pucMemory; /**< RTP_WINDOW_SLOTS times RTP_MAX_PACKET; what isn't used stays without pages */
    RTP_WINDOW_SLOT_S astSlot[RTP_WINDOW_SLOTS]; /**< by sequence number modulo the slots */
    ULONG_32 ulHeld;                             /**< slots in use */
    BOOL_T bStarted;                             /**< a packet has come */
    ULONG_32 ulSsrc;                             /**< whose */
    USHORT usNext;                               /**< number that is due */
    USHORT usHighest;                            /**< highest that came */
    DULONG dulSeen;                              /**< bit i: the number i + 1 before usNext came */
    USHORT usLateNext;                           /**< follows the last late packet: a run of them is a restart */
    ULONG_32 ulLateRun;
    BOOL_T bGap;       /**< packets in front of the next one are missing */
    BOOL_T bIncoming;  /**< a packet was pushed and is not yet read */
    RTP_PACKET_VIEW_S stIncoming;
    DULONG dulNow; /**< when it was pushed */
} RTP_WINDOW_S;

/** Whether a marker ends a picture. */
typedef enum tagRtpMarkerE {
    RTP_MARKER_UNPROVEN, /**< a picture ends with the next timestamp, or when it's quiet after a marker */
    RTP_MARKER_TRUSTED,  /**< it ends with its marker */
    RTP_MARKER_MISUSED   /**< a slice in mid-picture had it: pictures end with the next timestamp */
} RTP_MARKER_E;

/** A picture of H.264 or H.265 being put together in the frame buffer. */
typedef struct tagRtpPictureS {
    BOOL_T bOpen;
    ULONG_32 ulTimestamp;
    LONG_32 lPayload;
    ULONG_32 ulLen;       /**< bytes in the buffer */
    BOOL_T bFragment;     /**< a unit in fragments is not complete */
    BOOL_T bDamaged;      /**< something is missing or too large */
    BOOL_T bSets;         /**< it has a sequence parameter set */
    BOOL_T bRecovery;     /**< H.264: its message says that all is well from here on */
    BOOL_T bIdr;          /**< H.264: it has an IDR slice */
    ULONG_32 ulSliceAt;   /**< place of its first slice in the buffer, 0 for none yet */
    ULONG_32 ulMarkers;   /**< markers on slices or behind them */
    BOOL_T bMarkedLast;   /**< the last packet had one */
    DULONG dulMarkedAt;   /**< when it was read */
} RTP_PICTURE_S;

/** What outlives a picture. */
typedef struct tagRtpVideoS {
    RTP_PICTURE_S stPicture;
    RTP_MARKER_E enMarker;
    BOOL_T bSkip;          /**< the rest of a damaged picture is passed over */
    ULONG_32 ulSkipStamp;  /**< its timestamp */
    BOOL_T bDone;          /**< a picture has been handed out */
    ULONG_32 ulDoneStamp;  /**< its timestamp */
    BOOL_T bDropLeading;   /**< pictures that lean on what was before the key picture are left out */
    BOOL_T bOwnSets;       /**< the stream brings its parameter sets itself */
    ULONG_32 ulJpegBytes;  /**< bytes of the scan so far */
    UCHAR aucTables[RTP_CACHED_QS][2 * RTP_QUANT_SIZE];
    UCHAR aucTablesKnown[RTP_CACHED_QS];
} RTP_VIDEO_S;

/** AAC units that wait in a packet, or of which a part has come. */
typedef struct tagRtpUnitsS {
    const UCHAR *pucSizes; /**< 16 bits a unit, in the packet read last */
    ULONG_32 ulUnits;      /**< still to hand out */
    const UCHAR *pucData;
    ULONG_32 ulLeft;
    ULONG_32 ulTimestamp; /**< of the next one */
    ULONG_32 ulRate;
    ULONG_32 ulWanted; /**< bytes of a unit in fragments, 0 for none */
    ULONG_32 ulHave;   /**< of which are there */
} RTP_UNITS_S;

/** The intake of one port. */
typedef struct tagRtpStandardS {
    BOOL_T bWanted;                     /**< the client's wish; API lock */
    RTP_PARAMETER_SETS_S stSetsWanted;  /**< likewise */
    RTP_PARAMETER_SETS_S stSets;        /**< those of the open stream; the reading thread, as all below */
    RTP_WINDOW_S stVideoWindow;
    RTP_WINDOW_S stAudioWindow;
    RTP_VIDEO_S stVideo;
    RTP_UNITS_S stUnits;
    BOOL_T bQuietLoss; /**< sound or a JPEG is lost, on which nothing leans; the caller counts it and clears this */
    RTP_FIGURES_S stFigures;
} RTP_STANDARD_S;

/** What a record reads into, and what the port says; all the port's own. */
typedef struct tagRtpReadS {
    RTP_STREAM_INFO_S *pstVideo;        /**< gets pictures, with a buffer of VIDEO_FRAME_BUFFER_SIZE */
    RTP_STREAM_INFO_S *pstAudio;        /**< gets sound, with a buffer of AUDIO_FRAME_BUFFER_SIZE */
    const RTP_AUDIO_INFO_S *pstAacInfo; /**< AAC by the client's word; words */
    BOOL_T bNeedKey;                    /**< the caller waits for a key picture */
    BOOL_T bQuiet;                      /**< no packet waits: what is due by time is given up or handed out */
    DULONG dulNow;                      /**< milliseconds */
} RTP_READ_S;

extern "C" {

/** Makes a record, switched off; null if there is no memory. */
MODULE_API RTP_STANDARD_S *RtpStandard_Create(void);

/** Frees it; null is fine. */
MODULE_API void RtpStandard_Free(RTP_STANDARD_S *pstStandard);

/** Begins a stream as the client wants it. @return whether the stream is read by the record; 0 for null */
MODULE_API BOOL_T RtpStandard_Begin(RTP_STANDARD_S *pstStandard);

/**
 * Hands one packet in; its bytes stay until the next one. What the packet before had left over is gone.
 * @return true if it is the record's; false for media that it leaves to others (PLAYER_PAYLOAD_DATA)
 */
MODULE_API bool RtpStandard_Push(RTP_STANDARD_S *pstStandard, const UCHAR *pucPacket, ULONG_32 ulPacketLen,
                                 const RTP_PAYLOAD_TYPE_S *pstTable, DULONG dulNow);

/**
 * The next frame. 0: it is in the record of its kind, ulFrameLen set. 525: video is lost, what leans on it can't be
 * shown. 526: nothing more for now. A frame's data stay until the next call.
 */
MODULE_API ULONG_32 RtpStandard_Next(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead);

/** Forgets what lies half done in the frame buffers: others have written into them. */
MODULE_API void RtpStandard_ForgetFrames(RTP_STANDARD_S *pstStandard);

/** Milliseconds until something is due by time; RTP_WAIT_NONE if nothing is. */
MODULE_API ULONG_32 RtpStandard_WaitMs(const RTP_STANDARD_S *pstStandard, DULONG dulNow);
}

#endif
