/**
 * @file analytics_settings.h
 * @brief What a client wants to see of a port's analytics.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port, where nothing else is
 * said.
 */
#ifndef ZELVANE_PIPELINE_ANALYTICS_SETTINGS_H
#define ZELVANE_PIPELINE_ANALYTICS_SETTINGS_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_SetIvaEnable(ULONG_32 ulPort, BOOL_T bAble);
MODULE_API ULONG_32 Player_SetIVAShowParam(ULONG_32 ulShowParam);
/** Takes any port number, and the flag is the library's: see SetIVAShowParamEx(). */
MODULE_API ULONG_32 Player_SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag);
/** ulOSDStyle is a PLAYER_OSD_STYL_E. */
MODULE_API ULONG_32 Player_SetOSDStyle(ULONG_32 ulPort, ULONG_32 ulOSDStyle);
MODULE_API ULONG_32 Player_EnableTargetTag(ULONG_32 ulPort, BOOL_T bTargetVeh, BOOL_T bTargetNonVeh,
                                           BOOL_T bTargetPerson);
MODULE_API ULONG_32 Player_EnableIvaOsd(ULONG_32 ulPort, BOOL_T bEnable);
}

#endif
