/**
 * @file com_report.h
 * @brief Run messages: any thread posts an event, one thread delivers them all to the client in order.
 *
 * An event waits at most about 40 ms. 255 events may wait; more are refused. A slow client callback delays later
 * events and nothing else.
 */
#ifndef ZELVANE_QUEUE_COM_REPORT_H
#define ZELVANE_QUEUE_COM_REPORT_H

#include "foundations/module_api.h"
#include "player_public.h"

/** One event. */
typedef struct tagReportMsgS {
    ULONG_32 ulRunInfoType;  /**< PLAYER_MEDIA_RUN_INFO_TYPE_E */
    REPORT_MSG_U uReportMsg; /**< what happened */
} REPORT_MSG_S;

static_assert(sizeof(REPORT_MSG_S) == 272);

extern "C" {

/** Makes the ring and starts the report thread: 0 or an error code. While it runs, 0 with nothing done. */
MODULE_API ULONG_32 Report_Init(void);

/** Stops the report thread; events that still wait are dropped and the callbacks forgotten. Called on the report
 *  thread itself (a client that cleans up in its callback) it leaves that thread to end on its own. */
MODULE_API void Report_Cleanup(void);

/** Sets the client's callback for all ports, null for none; may come before Report_Init(). Returns 0. */
MODULE_API ULONG_32 Report_SetReportCallBack(PLAYER_RUN_INFO_CALLBACK_PF pfnReportCB);
/** Sets the library's own callback, called after the client's. Returns 0. */
MODULE_API ULONG_32 Report_ManageSetReportCallBack(PLAYER_RUN_INFO_CALLBACK_PF pfnReportCB);

/**
 * Posts a copy of an event.
 * @param ulPort port, for the log lines alone
 * @return 0; PLAYER_ERR_PARAM for null or while nothing runs; PLAYER_ERR_QUEUE_FULL when 255 wait. Callers go on
 */
MODULE_API ULONG_32 Report_SendMsg(ULONG_32 ulPort, REPORT_MSG_S *pstMsg);

/**
 * Takes the next event; for the report thread alone.
 * @param ppMsg gives a REPORT_MSG_U inside the ring, valid until the next call
 * @return 0; PLAYER_ERR_QUEUE_EMPTY; 1 for a packet that is no event
 */
MODULE_API ULONG_32 Report_ReadMsg(ULONG_32 *pulRunInfoType, void **ppMsg);
}

/** Whether the calling thread is a report thread. */
bool Report_IsOwnThread();

#endif
