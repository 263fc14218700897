// The record of a port's standard intake, and the road of a packet through it.
#include "intake/rtp_standard.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "intake/rtp_standard_inner.h"

namespace {

bool MakeWindow(RTP_WINDOW_S *pstWindow) {
    pstWindow->pucMemory = static_cast<UCHAR *>(malloc(size_t{RTP_WINDOW_SLOTS} * RTP_MAX_PACKET));
    return pstWindow->pucMemory != nullptr;
}

const RTP_MEDIA_S &MediaOf(PLAYER_PAYLOAD_E enMedia) {
    if (enMedia == PLAYER_PAYLOAD_JPEG) {
        return gstRtpJpeg;
    }
    return Payload_IsVideo(enMedia) ? gstRtpPicture : gstRtpSound;
}

/** One packet of a window, if one is due. */
RTP_STEP_E StepWindow(RTP_STANDARD_S *pstStandard, RTP_WINDOW_S *pstWindow, const RTP_READ_S &stRead) {
    const RTP_PACKET_VIEW_S *pstPacket = RtpWindow_Peek(pstWindow, stRead, &pstStandard->stFigures);
    if (pstPacket == nullptr) {
        return RTP_STEP_NONE;
    }
    const RTP_MEDIA_S &stMedia = MediaOf(pstPacket->enMedia);
    RTP_STEP_E enStep = RTP_STEP_MORE;
    if (pstWindow->bGap != 0) {
        enStep = pstWindow == &pstStandard->stVideoWindow ? RtpPicture_EndMarked(pstStandard, stRead) : RTP_STEP_MORE;
        if (enStep == RTP_STEP_MORE) {
            pstWindow->bGap = 0;
            enStep = stMedia.pfnLose(pstStandard);
        }
    }
    if (enStep == RTP_STEP_MORE) {
        enStep = stMedia.pfnEndBefore(pstStandard, *pstPacket, stRead);
    }
    if (enStep == RTP_STEP_MORE) {
        enStep = stMedia.pfnRead(pstStandard, *pstPacket, stRead);
        RtpWindow_Pop(pstWindow);
    }
    return enStep;
}

RTP_STEP_E Step(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    RTP_STEP_E enStep = RtpSound_NextUnit(pstStandard, stRead);
    if (enStep == RTP_STEP_NONE) {
        enStep = StepWindow(pstStandard, &pstStandard->stAudioWindow, stRead);
    }
    if (enStep == RTP_STEP_NONE) {
        enStep = StepWindow(pstStandard, &pstStandard->stVideoWindow, stRead);
    }
    return enStep == RTP_STEP_NONE && stRead.bQuiet ? RtpPicture_EndByTime(pstStandard, stRead) : enStep;
}

}  // namespace

RTP_STANDARD_S *RtpStandard_Create(void) {
    RTP_STANDARD_S *pstStandard = static_cast<RTP_STANDARD_S *>(calloc(1, sizeof(RTP_STANDARD_S)));
    if (pstStandard != nullptr &&
        (!MakeWindow(&pstStandard->stVideoWindow) || !MakeWindow(&pstStandard->stAudioWindow))) {
        RtpStandard_Free(pstStandard);
        return nullptr;
    }
    return pstStandard;
}

void RtpStandard_Free(RTP_STANDARD_S *pstStandard) {
    if (pstStandard != nullptr) {
        free(pstStandard->stVideoWindow.pucMemory);
        free(pstStandard->stAudioWindow.pucMemory);
        free(pstStandard);
    }
}

BOOL_T RtpStandard_Begin(RTP_STANDARD_S *pstStandard) {
    if (pstStandard == nullptr || pstStandard->bWanted == 0) {
        return 0;
    }
    pstStandard->stSets = pstStandard->stSetsWanted;
    RtpWindow_Reset(&pstStandard->stVideoWindow);
    RtpWindow_Reset(&pstStandard->stAudioWindow);
    memset(&pstStandard->stVideo, 0, sizeof(pstStandard->stVideo));
    pstStandard->stUnits = {};
    pstStandard->bQuietLoss = 0;
    RTP_FIGURES_S &stFigures = pstStandard->stFigures;
    for (ULONG_32 *pulFigure : {&stFigures.ulReceived, &stFigures.ulReordered, &stFigures.ulDuplicate,
                                &stFigures.ulLate, &stFigures.ulLost, &stFigures.ulDamaged}) {
        word::Store(*pulFigure, 0);
    }
    return 1;
}

bool RtpStandard_Push(RTP_STANDARD_S *pstStandard, const UCHAR *pucPacket, ULONG_32 ulPacketLen,
                      const RTP_PAYLOAD_TYPE_S *pstTable, DULONG dulNow) {
    RTP_PACKET_VIEW_S stPacket = {};
    pstStandard->stUnits.ulUnits = 0;  // they lie in the packet before
    if (!RtpWindow_ReadHead(pucPacket, ulPacketLen, pstTable, &stPacket)) {
        return true;
    }
    if (stPacket.enMedia == PLAYER_PAYLOAD_DATA || stPacket.enMedia == PLAYER_PAYLOAD_NULL) {
        return stPacket.enMedia != PLAYER_PAYLOAD_DATA;
    }
    RTP_WINDOW_S *pstWindow =
        Payload_IsVideo(stPacket.enMedia) ? &pstStandard->stVideoWindow : &pstStandard->stAudioWindow;
    RtpWindow_Push(pstWindow, stPacket, dulNow, &pstStandard->stFigures);
    return true;
}

ULONG_32 RtpStandard_Next(RTP_STANDARD_S *pstStandard, const RTP_READ_S &stRead) {
    for (;;) {
        switch (Step(pstStandard, stRead)) {
            case RTP_STEP_NONE:
                return PLAYER_ERR_NEED_MORE_DATA;
            case RTP_STEP_FRAME:
                return PLAYER_ERR_OK;
            case RTP_STEP_LOST:
                return PLAYER_ERR_PACKET_LOST;
            case RTP_STEP_QUIET:
                pstStandard->bQuietLoss = 1;
                break;
            default:
                break;
        }
    }
}

void RtpStandard_ForgetFrames(RTP_STANDARD_S *pstStandard) {
    pstStandard->stVideo.stPicture = {};
    pstStandard->stUnits = {};
}

ULONG_32 RtpStandard_WaitMs(const RTP_STANDARD_S *pstStandard, DULONG dulNow) {
    ULONG_32 ulWait = RTP_WAIT_NONE;
    for (const DULONG dulDue :
         {RtpWindow_Deadline(&pstStandard->stVideoWindow), RtpWindow_Deadline(&pstStandard->stAudioWindow),
          RtpPicture_Deadline(&pstStandard->stVideo)}) {
        if (dulDue != 0) {
            ulWait = std::min(ulWait, dulDue > dulNow ? static_cast<ULONG_32>(dulDue - dulNow) : 0U);
        }
    }
    return ulWait;
}
