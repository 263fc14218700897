#include "source/frame_ctrl.h"

#include "foundations/shared_word.h"

void FrameCtrl_Replace(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrom, ULONG_32 ulTo) {
    __atomic_compare_exchange_n(&pstPort->ulFrameCtrl, &ulFrom, ulTo, false, __ATOMIC_RELAXED, __ATOMIC_RELAXED);
}

FRAME_CTRL_STEP_E FrameCtrl_Serve(PLAEYR_PORT_S *pstPort) {
    const ULONG_32 ulFrameCtrl = word::LoadAcquire(pstPort->ulFrameCtrl);
    switch (ulFrameCtrl) {
        case FRAME_CTRL_PAUSE:
            return FRAME_CTRL_STEP_WAIT;
        case FRAME_CTRL_PLAY:
        case FRAME_CTRL_ONLY_I_SP_FRAME:
            return FRAME_CTRL_STEP_READ;
        case FRAME_CTRL_AFRAME_GO:
        case FRAME_CTRL_AFRAME_BACK:
            FrameCtrl_Replace(pstPort, ulFrameCtrl, FRAME_CTRL_PAUSE);
            return FRAME_CTRL_STEP_ONE;
        case FRAME_CTRL_ONLY_I_FRAME:
            if (pstPort->stFileInfo.bUcodeFile) {
                FrameCtrl_Replace(pstPort, ulFrameCtrl, FRAME_CTRL_ONLY_I_SP_FRAME);
            }
            return FRAME_CTRL_STEP_READ;
        default:
            return FRAME_CTRL_STEP_UNKNOWN;
    }
}
