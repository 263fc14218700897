/**
 * @file standard_intake.h
 * @brief What a client asks of a port whose RTP may come from any sender.
 */
#ifndef ZELVANE_PORT_STANDARD_INTAKE_H
#define ZELVANE_PORT_STANDARD_INTAKE_H

#include "player_ext.h"
#include "port/player_manager.h"

/** Switches the mode for the next open; its memory is made here. @return 0, PLAYER_ERR_PORT, PLAYER_ERR_MALLOC */
ULONG_32 Player_SetStandardIntake(ULONG_32 ulPort, BOOL_T bOn);

/** Keeps parameter sets for the next open. @return 0, PLAYER_ERR_PORT, PLAYER_ERR_PARAM */
ULONG_32 Player_SetParameterSets(ULONG_32 ulPort, ULONG_32 ulVideoEncodeType, const UCHAR *pucSets, ULONG_32 ulSize);

/** @return 0, PLAYER_ERR_PORT */
ULONG_32 Player_GetIntakeInfo(ULONG_32 ulPort, ZELVANE_EXT_INTAKE_S *pstInfo);

/** Gives a record port the intake that the port's open stream has. @return 0 or PLAYER_ERR_MALLOC */
ULONG_32 StandardIntake_Copy(const PORT_INTAKE_S *pstFrom, PORT_INTAKE_S *pstTo);

#endif
