/**
 * @file foreign_ts.h
 * @brief Transport streams of other makers: what a file of them looks like, its programmes, and frames of its packets.
 *
 * Our own dialect (intake/module_ts.h) marks the last packet of a frame. Others don't: there a frame ends where the
 * next unit of its PID starts, many packets have no adaptation field, and any PID may carry anything.
 *
 * Nothing in here reads a file, waits or allocates: packets come as pointers to TS_PACKET_SIZE bytes. A record belongs
 * to one thread.
 */
#ifndef ZELVANE_FILE_FOREIGN_TS_H
#define ZELVANE_FILE_FOREIGN_TS_H

#include <cstddef>

#include "foundations/player_types.h"
#include "intake/module_ts.h"

enum : ULONG_32 {
    FOREIGN_TS_PROGRAMMES = 32,        /**< of a stream; further ones are not looked at */
    FOREIGN_TS_SECTION_SIZE = 1024,    /**< of a table, at most */
    FOREIGN_TS_SOUND_ROOM = 64 * 1024, /**< sound that waits for the rest of a frame is far below that */
    FOREIGN_TS_LAYOUT_SIZE = 204 * 9,  /**< bytes that settle how packets lie in a file */
    FOREIGN_TS_OWN_PACKETS = 512,      /**< in which a stream of others shows itself by a unit that ours can't have */
    FOREIGN_TS_TAIL_BYTES = 0x200000   /**< a frame of ours is no longer: without a tail bit in here there is none */
};

/* ---- the file ---- */

/** How packets lie in a file: at ulFirst + n * ulStride. Time stamps or check bytes between them are passed over. */
struct FOREIGN_TS_LAYOUT_S {
    ULONG_32 ulFirst;
    ULONG_32 ulStride;
};

/** Finds out how packets lie, from the first bytes of a file; false if they are no transport stream. */
bool ForeignTs_FindLayout(const UCHAR *pucHead, size_t ulLen, FOREIGN_TS_LAYOUT_S *pstLayout);

/** What the packets looked at so far say of who wrote the file. Starts zeroed. */
struct FOREIGN_TS_MARKS_S {
    ULONG_32 ulPackets;
    bool bTail;    /**< one of them ends a frame, as ours do */
    bool bForeign; /**< a unit starts right behind a packet's head, where ours always have an adaptation field */
};

/** Looks at one more packet. @return false once no further one can change anything */
bool ForeignTs_Mark(const UCHAR *pucPacket, FOREIGN_TS_MARKS_S *pstMarks);

/* ---- programmes ---- */

/** A table on its way, which may take several packets. */
struct FOREIGN_TS_SECTION_S {
    USHORT usPid;
    bool bOpen;
    ULONG_32 ulLen;
    UCHAR aucData[FOREIGN_TS_SECTION_SIZE];
};

/** A programme, as far as this player can play it. A PID of 0: there is no such stream. */
struct FOREIGN_TS_PROGRAMME_S {
    USHORT usNumber;
    USHORT usVideoPid;
    USHORT usAudioPid;
    LONG_32 lVideo; /**< PLAYER_PAYLOAD_E */
    LONG_32 lAudio; /**< PLAYER_PAYLOAD_E; PLAYER_PAYLOAD_NULL: its first frame tells */
    bool bSeen;     /**< its table has come */
};

/** The search for a programme. Starts zeroed. */
struct FOREIGN_TS_TABLES_S {
    FOREIGN_TS_SECTION_S stPat;
    FOREIGN_TS_SECTION_S astPmt[FOREIGN_TS_PROGRAMMES];
    FOREIGN_TS_PROGRAMME_S astProgramme[FOREIGN_TS_PROGRAMMES];
    ULONG_32 ulProgrammes;
    UCHAR aucPidSeen[0x2000]; /**< which PIDs have come */
};

/** Looks at one more packet. @return true once every table has come and a programme's pictures too */
bool ForeignTs_AddTable(const UCHAR *pucPacket, FOREIGN_TS_TABLES_S *pstTables);

/** The programme to play: the first one whose pictures came, else the first with any; false if there is none. */
bool ForeignTs_ChooseProgramme(const FOREIGN_TS_TABLES_S *pstTables, FOREIGN_TS_PROGRAMME_S *pstProgramme);

/* ---- frames ---- */

/** The payload of one PID. */
struct FOREIGN_TS_TRACK_S {
    USHORT usPid; /**< 0: none */
    LONG_32 lPayload;
    UCHAR *pucData;
    ULONG_32 ulRoom;
    ULONG_32 ulLen;
    ULONG_32 ulHeadLeft; /**< bytes of a unit's head that are in the next packet */
    LONG_32 lCounter;    /**< continuity counter of the packet before; -1: unknown */
    bool bOpen;          /**< a unit is being gathered */
    DULONG dulTime;      /**< of the unit, 90 kHz, 33 bits */
};

/** A programme being read. Starts with ForeignTs_Begin(). */
struct FOREIGN_TS_S {
    FOREIGN_TS_TRACK_S stVideo; /**< gathers in the caller's buffer */
    FOREIGN_TS_TRACK_S stAudio; /**< gathers in aucSound */
    ULONG_32 ulSoundAt;         /**< where the sound begins that was not given out yet */
    ULONG_32 ulStampAt;         /**< from where on the stamp below holds */
    bool bStamp;
    DULONG dulStamp;
    DULONG dulSoundTime; /**< of the next frame of sound without a stamp of its own */
    UCHAR aucSound[FOREIGN_TS_SOUND_ROOM];
};

/** A frame of sound; it lies in the record until the next packet. */
struct FOREIGN_TS_SOUND_S {
    const UCHAR *pucData; /**< AAC: without its ADTS head */
    ULONG_32 ulLen;
    DULONG dulTime;
    UCHAR ucObjectType; /**< AAC only, as are the two below */
    UCHAR ucRateIndex;
    UCHAR ucChannels;
};

enum class FOREIGN_TS_E {
    MORE,  /**< the packet is taken */
    FRAME, /**< stVideo holds a whole frame; the packet belongs to the next one and is to be given again */
    LOST   /**< the packet is taken; pictures are damaged from here to the next key frame */
};

/** Begins to read a programme, pictures into a buffer of VIDEO_FRAME_BUFFER_SIZE bytes. */
void ForeignTs_Begin(const FOREIGN_TS_PROGRAMME_S &stProgramme, UCHAR *pucVideo, FOREIGN_TS_S *pstStream);

/** Forgets what is gathered: the next packet comes from another place. */
void ForeignTs_Flush(FOREIGN_TS_S *pstStream);

/** Reads one packet. Sound is gathered if bSound; then ForeignTs_NextSound() is to be called until it gives none. */
FOREIGN_TS_E ForeignTs_Add(const UCHAR *pucPacket, bool bSound, FOREIGN_TS_S *pstStream);

/** Ends the frame of pictures that is being gathered, at the end of the file; false if there is none. */
bool ForeignTs_EndVideo(FOREIGN_TS_S *pstStream);

/** Gives the next whole frame of sound; false if there is none yet. */
bool ForeignTs_NextSound(FOREIGN_TS_S *pstStream, FOREIGN_TS_SOUND_S *pstSound);

/** Whether play can begin with a frame of this payload: a key picture, and in H.264 its parameter set. */
bool ForeignTs_IsKey(LONG_32 lPayload, const UCHAR *pucFrame, size_t ulLen);

/** Whether a unit starts in a packet of this PID. */
bool ForeignTs_StartsUnit(const UCHAR *pucPacket, USHORT usPid);

/** Reads the time of the unit that starts in a packet of this PID; false if none does, or it has none. */
bool ForeignTs_UnitTime(const UCHAR *pucPacket, USHORT usPid, DULONG *pdulTime);

/** A time of 33 bits as the one next to a reference that does not wrap; may lie before 0, then it is above 2^63. */
DULONG ForeignTs_Unwrap(DULONG dulTime, DULONG dulNear);

#endif
