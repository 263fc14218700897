/**
 * @file player_manager.h
 * @brief The port record, and the table of ports.
 *
 * Which thread owns what. The client's calls on a port take turns under its API lock (port/port_lock.h); the pipeline
 * threads never take it. stFrameData, the stream records, the codecs and the statistics belong to the decode thread (on
 * a file port the play thread); stDecodeVideoData.stLock guards the decoded picture and the video decoder against the
 * render thread and snapshots; stFishInfoMutex and stSnatchInfo.stMutex guard what their names say. Run flags, settings
 * and counters that several threads see are words reached through foundations/shared_word.h.
 * */
#ifndef ZELVANE_PORT_PLAYER_MANAGER_H
#define ZELVANE_PORT_PLAYER_MANAGER_H

#include "analytics/port_analytics.h"
#include "codec/port_codec.h"
#include "foundations/player_types.h"
#include "intake/port_intake.h"
#include "output/port_output.h"
#include "port/port_play.h"
#include "port/port_record.h"
#include "port/port_source.h"
#include "port/port_voice.h"
#include "protection/port_protection.h"
#include "queue/com_report.h"
#include "queue/port_queue.h"

/**
 * Everything that a port has, put together of the rooms' slices; the port's release frees it last. Functions take the
 * slice that they need. A void pointer that travels (to a thread, a display, an encoder) is always the whole port.
 */
struct tagPlayerPortS : PORT_INTAKE_S,
                        PORT_QUEUE_S,
                        PORT_CODEC_S,
                        PORT_ANALYTICS_S,
                        PORT_PROTECTION_S,
                        PORT_OUTPUT_S,
                        PORT_PLAY_S,
                        PORT_RECORD_S,
                        PORT_SOURCE_S,
                        PORT_FILE_S,
                        PORT_CLOUD_S,
                        PORT_VOICE_S {
    ULONG_32 ulPort; /**< this port's number; fixed */
    BOOL_T bHelper;  /**< helper port of a recording, which alone knows it; fixed */
};
typedef struct tagPlayerPortS PLAEYR_PORT_S;

/** The port table. Null is a free port. Written under gstPortMutexLock. */
extern PLAEYR_PORT_S *gapPortList[PLAYER_MAX_PORT_NUM];
extern QLOM_SDK_MUTEX_S gstPortMutexLock;
/** Library-wide wish for hardware decoding; ports read it when they build a decoder. */
extern BOOL_T gbGpuAble;
extern BOOL_T gbGpuAbleH265;
extern LONG_32 glMaxDecChlNum;

/** Logs and leaves with PLAYER_ERR_PORT when there is no such port; declares pstPort otherwise. */
#define PLAYER_GET_PORT(pstPort, ulPort)                                   \
    PLAEYR_PORT_S *pstPort = Player_GetPort(ulPort);                       \
    if (pstPort == nullptr) {                                              \
        LOG_ERROR("Get Port[%03d] Failed.", static_cast<LONG_32>(ulPort)); \
        return PLAYER_ERR_PORT;                                            \
    }

/** Whether ports are handed out: not while the library ends, or one could slip in behind those that were freed. */
void PortTable_Open();
void PortTable_Shut();

/** A port for a recording's own use: it has a number, and Player_GetPort() doesn't know it. */
ULONG_32 PortTable_AllocHelper(PLAEYR_PORT_S **ppstPort);

/**
 * Frees a port whose source, recording and window are closed, and logs its success line. Takes it out of the table
 * first, and waits for whoever still uses it by number.
 */
void Port_Release(PLAEYR_PORT_S *pstPort);

extern "C" {

/** The record of a port, or null when the number is out of range, free or a helper port's. Takes no lock: the caller holds the port's
 *  API lock or a CPortHold (port/port_hold.h), or is a thread of the port. */
MODULE_API PLAEYR_PORT_S *Player_GetPort(ULONG_32 ulPort);
/** Takes the next free number in rotation and publishes a record with its defaults. 2 while the table is shut, 3 or
 *  PLAYER_ERR_PORT. */
MODULE_API ULONG_32 Player_AllocPort(ULONG_32 *pulPort);
/** Allocated ports whose mode is not 1, 2 or 3. */
MODULE_API ULONG_32 Player_GetPortUsedNum(void);
}

#endif
