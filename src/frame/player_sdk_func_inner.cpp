// The inner family of exported wrappers: a failure is logged and sets no last error.
#include "frame/wrapper_forms.h"
#include "pipeline/callbacks.h"
#include "pipeline/port_settings.h"
#include "port/run_messages.h"
#include "source/input_stream.h"
#include "player_sdk_func.h"

BOOL_T Zelvane_GetPacketQueueStart(ULONG_32 ulPort, ULONG_32 *pulFrameCount, ULONG_32 *pulPacketCount) {
    return form::LogOnly(__func__, ulPort,
                         [&] { return Player_GetPacketQueueStart(ulPort, pulFrameCount, pulPacketCount); });
}

BOOL_T Zelvane_SetDrawMediaDataCBEx(ULONG_32 ulPort, PLAYER_DRAW_DATA_CALLBACK_PF pfnDrawDataCBFun, void *pUserParam) {
    return form::LogOnly(__func__, ulPort,
                         [&] { return Player_SetDrawMediaDataCBEx(ulPort, pfnDrawDataCBFun, pUserParam); });
}

BOOL_T Zelvane_SetDecodeQueueBufferNum(ULONG_32 ulPort, ULONG_32 ulDecodeBufferNum) {
    return form::LogOnlyDetail(__func__, ulPort, "BufferNum:[%d]",
                               [&] { return Player_SetDecodeQueueBufferNum(ulPort, ulDecodeBufferNum); });
}

BOOL_T Zelvane_SetRunMsgCB(ULONG_32 ulPort, PLAYER_RUN_INFO_CALLBACK_PF pfnRunInfoFunc) {
    return form::LogOnly(__func__, ulPort, [&] { return Player_SetRunMsgCB(ulPort, pfnRunInfoFunc); });
}
