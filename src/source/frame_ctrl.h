/**
 * @file frame_ctrl.h
 * @brief How a thread that reads frames of a recording goes by the client's frame control.
 */
#ifndef ZELVANE_SOURCE_FRAME_CTRL_H
#define ZELVANE_SOURCE_FRAME_CTRL_H

#include "port/player_manager.h"

typedef enum tagFrameCtrlStepE {
    FRAME_CTRL_STEP_WAIT,   /**< paused: nothing is to be read */
    FRAME_CTRL_STEP_READ,   /**< read the next frame */
    FRAME_CTRL_STEP_ONE,    /**< read the next frame; a pause follows */
    FRAME_CTRL_STEP_UNKNOWN /**< no value that means anything; read on */
} FRAME_CTRL_STEP_E;

/** Sets the frame control unless the client has set another one meanwhile. */
void FrameCtrl_Replace(PLAEYR_PORT_S *pstPort, ULONG_32 ulFrom, ULONG_32 ulTo);

/** What a pass of the thread is to do. A single step becomes a pause that lets one frame through. */
FRAME_CTRL_STEP_E FrameCtrl_Serve(PLAEYR_PORT_S *pstPort);

#endif
