#include "source/source_kind.h"

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "source/file_play.h"
#include "source/hls_port.h"
#include "source/input_stream.h"
#include "source/net_stream.h"
#include "source/stream_common.h"
#include "source/voice.h"

namespace {

const ULONG_32 ALL_SPEEDS = 0xFFFFFFFF;
const ULONG_32 NO_SPEEDS = 0;
const ULONG_32 CLOUD_SPEEDS = PLAYER_SPEED_4_FORWARD + 1;

ULONG_32 StreamTime(PLAEYR_PORT_S *pstPort, ULONG_32 *pulPlayTime) {
    const ULONG_32 ulTime = Stream_PlayTime(pstPort);
    if (ulTime == 0) {
        return PLAYER_ERR_FAILED;
    }
    *pulPlayTime = ulTime;
    return PLAYER_ERR_OK;
}

ULONG_32 FileTime(PLAEYR_PORT_S *pstPort, ULONG_32 *pulPlayTime) {
    ULONG_32 ulResult = File_GetPlayTime(&pstPort->stFileInfo, pulPlayTime);
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Player_CurPlayTime: File_GetPlayTime Failed, Error:[0x%x].", pstPort->ulPort, ulResult);
    }
    return ulResult;
}

ULONG_32 CloudTime(PLAEYR_PORT_S *pstPort, ULONG_32 *pulPlayTime) {
    *pulPlayTime = word::Load(pstPort->stHlsTypeInfos.ulCurPlayTime);
    return PLAYER_ERR_OK;
}

/** By PORT_USED_TYPE_E. */
const SOURCE_KIND_S gastSourceKind[] = {
    {nullptr, StreamTime, NO_SPEEDS, false},                   // PORT_USED_TYPE_NULL
    {Player_CloseInputStream, StreamTime, ALL_SPEEDS, false},  // PORT_USED_TYPE_INPUT
    {Player_CloseNetStream, StreamTime, ALL_SPEEDS, false},    // PORT_USED_TYPE_NET
    {Player_CloseMediaFile, FileTime, ALL_SPEEDS, true},       // PORT_USED_TYPE_FILE
    {Player_CloseVoiceSvc, StreamTime, NO_SPEEDS, false},      // PORT_USED_TYPE_VOICE
    {Player_CloseHlsStream, CloudTime, CLOUD_SPEEDS, true},    // PORT_USED_TYPE_HLS
};
const ULONG_32 SOURCE_KINDS = sizeof(gastSourceKind) / sizeof(gastSourceKind[0]);
static_assert(SOURCE_KINDS == PORT_USED_TYPE_HLS + 1);

}  // namespace

const SOURCE_KIND_S &SourceKind_Of(const PORT_SOURCE_S *pstSource) {
    const ULONG_32 ulUsed = word::Load(pstSource->ulPortUsed);
    return gastSourceKind[ulUsed < SOURCE_KINDS ? ulUsed : ULONG_32{PORT_USED_TYPE_NULL}];
}
