// The record of a port's standard intake, and the road of a packet through it.
#include "intake/rtp_standard.h"

#include <stdlib.h>

#include "foundations/shared_word.h"

namespace {

bool MakeWindow(RTP_WINDOW_S *pstWindow) {
    pstWindow->pucMemory = static_cast<UCHAR *>(malloc(size_t{RTP_WINDOW_SLOTS} * RTP_MAX_PACKET));
    return pstWindow->pucMemory != nullptr;
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
    return pstStandard != nullptr && pstStandard->bWanted != 0;
}
