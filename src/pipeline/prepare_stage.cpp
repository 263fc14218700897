#include "pipeline/prepare_stage.h"

#include "foundations/com_log.h"
#include "foundations/shared_word.h"
#include "pipeline/fisheye_stage.h"
#include "pipeline/scramble_work.h"
#include "protection/rsa_key.h"

namespace {

/** How the frames of a road are descrambled. */
struct SCRAMBLE_ROAD_S {
    ULONG_32 (*pfnWork)(PLAEYR_PORT_S *);
    ULONG_32 ulError; /**< of a frame that the key at hand doesn't open */
    const CHAR *pcName;
};

const SCRAMBLE_ROAD_S LIVE_ROAD = {Player_ScrambleWork, PLAYER_ERR_SCRAMBLE, "Player_ScrambleWork"};
const SCRAMBLE_ROAD_S FILE_ROAD = {Player_FileScrambleWork, PLAYER_ERR_FILE_SCRAMBLE, "Player_FileScrambleWork"};

/** The road that the client has given a key for, or null. */
const SCRAMBLE_ROAD_S *RoadOf(const PLAEYR_PORT_S *pstPort) {
    if (word::Load(pstPort->bFilePort)) {
        return word::Load(pstPort->stScrambleInfo.lUserPassWordLen) > 0 ? &FILE_ROAD : nullptr;
    }
    return RsaKey_IsSet() ? &LIVE_ROAD : nullptr;
}

/** Descrambles the frame if it is scrambled. @return 0; the error of a frame that stays unreadable */
ULONG_32 Descramble(PLAEYR_PORT_S *pstPort, const SCRAMBLE_ROAD_S &stRoad) {
    const ULONG_32 ulErrCount = pstPort->stScrambleInfo.ulErrCount;
    ULONG_32 ulResult = stRoad.pfnWork(pstPort);
    if (ulResult == PLAYER_ERR_OK && pstPort->stScrambleInfo.ulErrCount != ulErrCount) {
        ulResult = stRoad.ulError;
    }
    PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    // The units that carried the key were counted among those that the decoder is to skip.
    if (ulResult == PLAYER_ERR_OK && pstPort->bScrambleFlag == 1 &&
        Sei_GetSeiTotalLen(stFrame.lPayload, stFrame.pucData, stFrame.lDataLen, &pstPort->stSeiInfo) != PLAYER_ERR_OK) {
        pstPort->stSeiInfo.ulSeiTotalLen = 0;
    }
    return ulResult;
}

/** The decoder must not see the frame, nor what leans on it: the last clean picture stays. */
void RefuseFrame(PLAEYR_PORT_S *pstPort, const SCRAMBLE_ROAD_S &stRoad, ULONG_32 ulResult) {
    pstPort->bNeedIFrame = 1;
    pstPort->stSeiInfo.ulSeiType = 0;
    // Once a key frame at most: until the next one no frame comes this far.
    LOG_ERROR("Port[%03d] Player_PrepareFrame Failed, %s Failed, Error:[0x%x], Count:[%d].", pstPort->ulPort,
              stRoad.pcName, ulResult, static_cast<int>(pstPort->stScrambleInfo.ulErrCount));
}

}  // namespace

bool Player_PrepareFrame(PLAEYR_PORT_S *pstPort) {
    PLAYER_FRAMEDATA_S &stFrame = pstPort->stFrameData;
    const SCRAMBLE_ROAD_S *pstRoad = RoadOf(pstPort);
    const bool bFisheye = word::Load(pstPort->stFishInfo.bStartFisheye) != 0;
    if (!Payload_IsVideo(stFrame.lPayload) ||
        (pstRoad == nullptr && !bFisheye && !word::Load(pstPort->stSeiInfo.stSeiIvaInfo.stIvaInfo.bDRVEnable))) {
        return true;
    }
    // A bad message is counted where it is read and keeps no frame from being decoded.
    Sei_Parse(stFrame.lPayload, stFrame.pucData, stFrame.lDataLen, &pstPort->stSeiInfo);
    ULONG_32 ulResult = pstRoad != nullptr ? Descramble(pstPort, *pstRoad) : ULONG_32{PLAYER_ERR_OK};
    if (ulResult != PLAYER_ERR_OK) {
        RefuseFrame(pstPort, *pstRoad, ulResult);
        return false;
    }
    if (bFisheye) {
        Player_CatchPtzState(pstPort);
    }
    return true;
}
