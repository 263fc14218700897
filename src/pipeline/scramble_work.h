/**
 * @file scramble_work.h
 * @brief The key of a port's scrambled stream, and what opens it.
 */
#ifndef ZELVANE_PIPELINE_SCRAMBLE_WORK_H
#define ZELVANE_PIPELINE_SCRAMBLE_WORK_H

#include "port/player_manager.h"

extern "C" {

/**
 * Descrambles the live video frame in stFrameData, in place, with what stSeiInfo holds of its messages.
 * @return 0, also for a frame of another payload and for one that could not be restored, which
 *         stScrambleInfo.ulErrCount counts; PLAYER_ERR_SCRAMBLE when a key frame's messages give no key
 */
MODULE_API ULONG_32 Player_ScrambleWork(PLAEYR_PORT_S *pstPort);
/** The same for a frame of a file, with the port's password; PLAYER_ERR_FILE_SCRAMBLE. */
MODULE_API ULONG_32 Player_FileScrambleWork(PLAEYR_PORT_S *pstPort);
MODULE_API ULONG_32 Player_SetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo);
MODULE_API ULONG_32 Player_GetRsaKey(PLAYER_RSA_INFO_S *pstRsaInfo);
/** More than 64 bytes are cut to 64, with success. A length of 0 takes the password away. */
MODULE_API ULONG_32 Player_SetFilePassword(ULONG_32 ulPort, CHAR *pcPassword, LONG_32 lPasswordLen);
}

#endif
