/**
 * @file run_messages.h
 * @brief Run messages of ports, and their road to the client.
 */
#ifndef ZELVANE_PORT_RUN_MESSAGES_H
#define ZELVANE_PORT_RUN_MESSAGES_H

#include "port/player_manager.h"

/**
 * Sends a run message of kind 1. Rooms below the port send none.
 * @param pcText what goes out as the message's file path, or null
 * @return of Report_SendMsg(); the caller logs a failure in its own words
 */
ULONG_32 Port_ReportRun(ULONG_32 ulPort, ULONG_32 ulCode, const CHAR *pcText);

extern "C" {

/** The library's dispatcher on the report thread: hands messages of kind 1 to the port's own callback. */
MODULE_API void Player_RunMsgReportDealWith(ULONG_32 ulRunInfoType, void *pMsg);
MODULE_API ULONG_32 Player_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);
MODULE_API ULONG_32 Player_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);
}

#endif
