/**
 * @file port_play.h
 * @brief A port's slice of the pipeline: its threads' run flags, taps and pace.
 */
#ifndef ZELVANE_PORT_PORT_PLAY_H
#define ZELVANE_PORT_PORT_PLAY_H

#include "foundations/player_types.h"
#include "foundations/wake.h"

/** One tap of the pipeline. The function is loaded once, then tested and called. */
typedef struct tagPlayerCallBackS {
    HANDLE hFunc;     /**< function, or null */
    void *pUserParam; /**< the client's value */
    BOOL_T bContinue; /**< the pipeline goes on past this tap */
} PLAYER_CALLBACK_S;

/** The taps of a port. */
typedef struct tagPortCallbackSetS {
    PLAYER_CALLBACK_S stSourceCB;     /**< raw packets */
    PLAYER_CALLBACK_S stVideoFrameCB; /**< whole video frames */
    PLAYER_CALLBACK_S stAudioFrameCB; /**< whole audio frames */
    PLAYER_CALLBACK_S stVideoDataCB;  /**< pictures */
    PLAYER_CALLBACK_S stAudioDataCB;  /**< PCM */
    PLAYER_CALLBACK_S stDrawCB;       /**< drawing */
    PLAYER_CALLBACK_S stVoiceDataCB;  /**< PCM for a voice service */
    PLAYER_CALLBACK_S stRunMsgCB;     /**< run messages */
} PLAYER_CALLBACKSET_S;

/** The pipeline of a port. */
typedef struct tagPortPlayS {
    /* ---- threads: started and joined under the API lock; each run flag is a word that its thread polls */
    BOOL_T bStartRecv;               /**< source and decode (or play) threads run while set */
    BOOL_T bStartVideo;              /**< the render thread runs while set */
    QLOM_SDK_THREAD_S hSourceThread; /**< net thread, 0 for none */
    QLOM_SDK_THREAD_S hDecodeThread; /**< decode thread, or a file's play thread; 0 for none */
    QLOM_SDK_THREAD_S hRenderThread; /**< render thread, 0 for none */
    WAKE_S stControlWake;            /**< cuts the waits of the port's threads short: stop, seek, settings */
    WAKE_FD_S stSourceWake;          /**< wakes the net thread; made and closed under gstPortMutexLock too */

    /* ---- set by the client under the API lock, read by the threads as words */
    PLAYER_CALLBACKSET_S stCallBack;      /**< taps; functions are released and acquired */
    LONG_32 lRectify;                     /**< PLAYER_VIDEO_CB_TYPE_E */
    PLAYER_PICTURE_FLUENCY_E enPicFluncy; /**< pacing mode */
    BOOL_T bPause;                        /**< live pause */
    ULONG_32 ulDelayTime;                 /**< stored, unused */

    /* ---- decode thread alone */
    struct timeval tiProTime; /**< last pacing instant; the second field holds milliseconds */
} PORT_PLAY_S;

#endif
