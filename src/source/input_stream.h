/**
 * @file input_stream.h
 * @brief Pushed streams: open, push, close, and the settings and statistics of any stream.
 *
 * Every function with a port number logs and returns PLAYER_ERR_PORT when there is no such port.
 */
#ifndef ZELVANE_SOURCE_INPUT_STREAM_H
#define ZELVANE_SOURCE_INPUT_STREAM_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_OpenInputStream(ULONG_32 ulPort, const UCHAR *pucFileHeadBuf, ULONG_32 ulSize);
MODULE_API ULONG_32 Player_InputMediaData(ULONG_32 ulPort, const UCHAR *pucDataBuf, ULONG_32 ulDataLen);
/** Also closes voice and cloud ports; success without a port. */
MODULE_API ULONG_32 Player_CloseInputStream(ULONG_32 ulPort);
MODULE_API ULONG_32 Player_SetPacketBuffer(ULONG_32 ulPort, ULONG_32 ulBufferSize, ULONG_32 ulDelayRenderTime);
MODULE_API ULONG_32 Player_SetBufferCtrl(ULONG_32 ulPort, ULONG_32 ulBufferCtrl);
MODULE_API ULONG_32 Player_GetPacketQueueStart(ULONG_32 ulPort, ULONG_32 *pulFrameCount, ULONG_32 *pulPacketCount);
MODULE_API ULONG_32 Player_GetBitRate(ULONG_32 ulPort, LONG_32 *plBitRate);
MODULE_API ULONG_32 Player_GetLostPacketRate(ULONG_32 ulPort, LONG_32 *plRecvPktNum, LONG_32 *plLostPktNum);
MODULE_API ULONG_32 Player_ResetLostPacketRate(ULONG_32 ulPort);
}

#endif
