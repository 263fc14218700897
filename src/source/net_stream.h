/**
 * @file net_stream.h
 * @brief Network streams: open, close, and the thread that receives.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_NET_STREAM_H
#define ZELVANE_SOURCE_NET_STREAM_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_OpenNetStream(ULONG_32 ulPort, const CHAR *pcLocalIP, USHORT usLocalPort,
                                         const CHAR *pcRemoteIP, USHORT usRemotePort, ULONG_32 ulTransProtl);
/** Success without a port. */
MODULE_API ULONG_32 Player_CloseNetStream(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetNatParam(ULONG_32 ulPort, ULONG_32 ulNatMode, const CHAR *pcNatSessionStr);
/** PLAYER_ERR_NOT_SUPPORT: the client chooses a stream's local port itself. */
MODULE_API ULONG_32 Player_GetLocalNetPort(ULONG_32 ulPort, const CHAR *pcLocalIP, LONG *plPort);
MODULE_API ULONG_32 Player_ReleaseLocalNetPort(ULONG_32 ulPort);
/** Stored and not used. Returns 0. */
MODULE_API ULONG_32 Player_SetTcpOutTime(LONG_32 lTcpOutTime);
/** The net receive thread of a net port; pParam is the port. */
MODULE_API void *__NetRecvThreadEntry(void *pParam);
/**
 * One step of taking frames out of a TCP stream: looks at what pcRecvDataAddr holds, or reads once.
 * @return 0 when one whole frame with its head lies at the start of pcRecvDataAddr, ulRecvDataLen bytes long, and what
 *         was behind it in pcRecvDataTmpAddr; 529 when it is to be called again; 2 without both buffers
 * (NET_TCP_BUFFER_SIZE bytes each); 5 or 6 when the stream is broken or at its end
 */
MODULE_API ULONG_32 Player_RecvPacketEx(NET_INFO_S *pstNetInfo, PLAEYR_PORT_S *pstPort);
}

#endif
