/**
 * @file run_messages.h
 * @brief Run messages of ports, and their road to the client.
 */
#ifndef ZELVANE_PORT_RUN_MESSAGES_H
#define ZELVANE_PORT_RUN_MESSAGES_H

#include "port/player_manager.h"

/** A run message of a port. */
struct PORT_RUN_MSG_S {
    ULONG_32 ulType;     /**< PLAYER_RUN_INFO_... */
    ULONG_32 ulCode;     /**< PLAYER_RUN_... or PLAYER_ERR_... */
    ULONG_32 ulReserved; /**< a number that goes with it */
    const CHAR *pcText;  /**< what goes out as the message's file path, cut to its room; null for none */
};

/**
 * Sends a run message. Rooms below the port send none.
 * @return of Report_SendMsg(); the caller logs a failure in its own words
 */
ULONG_32 Port_SendRunMsg(ULONG_32 ulPort, const PORT_RUN_MSG_S &stRunMsg);

extern "C" {

/** The library's dispatcher on the report thread: hands messages of kind 1 to the port's own callback. */
MODULE_API void Player_RunMsgReportDealWith(ULONG_32 ulRunInfoType, void *pMsg);
MODULE_API ULONG_32 Player_SetPlayerRunMsgCB(PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);
MODULE_API ULONG_32 Player_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc);
}

#endif
