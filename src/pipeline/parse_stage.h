/**
 * @file parse_stage.h
 * @brief From a packet to the frame in hand.
 */
#ifndef ZELVANE_PIPELINE_PARSE_STAGE_H
#define ZELVANE_PIPELINE_PARSE_STAGE_H

#include "port/player_manager.h"

extern "C" {

/** Takes one packet; 0 when stFrameData holds a complete frame. */
MODULE_API ULONG_32 Player_ParseStream(CHAR *pcRecvDataAddr, ULONG_32 ulRecvDataLen, PLAEYR_PORT_S *pstPort);
/**
 * On a port with standard intake, the next frame of packets taken before; to be called until it gives 526, before a packet
 * is taken and, with bQuiet, when none is there. @return as Player_ParseStream(); 526 at once on any other port
 */
MODULE_API ULONG_32 Player_ParsePending(PLAEYR_PORT_S *pstPort, BOOL_T bQuiet);
/** Milliseconds until Player_ParsePending() is due again though no packet comes; RTP_WAIT_NONE when it isn't. */
ULONG_32 Player_PendingWaitMs(const PLAEYR_PORT_S *pstPort);
/** Works out frame rate and picture size for the video frame in stFrameData. */
MODULE_API ULONG_32 Player_StatisticsTimestamp(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_GetFrameRate(ULONG_32 ulPort, LONG_32 *plFrameRate);
}

#endif
