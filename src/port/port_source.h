/**
 * @file port_source.h
 * @brief A port's slices of the sources: what it plays, files with their trick play, cloud recordings.
 */
#ifndef ZELVANE_PORT_PORT_SOURCE_H
#define ZELVANE_PORT_PORT_SOURCE_H

#include "cloud/hls_types.h"
#include "file/module_file.h"
#include "foundations/player_types.h"

/** Use mode of a port. */
typedef enum tagPortUsedTypeE {
    PORT_USED_TYPE_NULL = 0,  /**< allocated, no source */
    PORT_USED_TYPE_INPUT = 1, /**< packets pushed by the client */
    PORT_USED_TYPE_NET = 2,   /**< network stream */
    PORT_USED_TYPE_FILE = 3,  /**< local file */
    PORT_USED_TYPE_VOICE = 4, /**< voice service */
    PORT_USED_TYPE_HLS = 5    /**< cloud recording */
} PORT_USED_TYPE_E;

/** The older names of the same numbers. */
typedef enum tagPortUsedE {
    PORT_USED_NULL = 0,
    PORT_USED_INPUT = 1,
    PORT_USED_NET = 2,
    PORT_USED_FILE = 3,
    PORT_USED_VOICE = 4
} PORT_USED_E;

/** Source of a port. */
typedef struct tagPortSourceS {
    ULONG_32 ulPortUsed; /**< PORT_USED_TYPE_E; written under the API lock, loaded by all as a word */
    BOOL_T bInit;        /**< the port takes pushed packets; released by the open, acquired by a push */
} PORT_SOURCE_S;

/** File being played. */
typedef struct tagPortFileS {
    /* ---- play thread; made and released by open and close around it */
    FILE_INFO_S stFileInfo;    /**< container, position and properties; rate and region are words */
    void *lpParser;            /**< file parser object; nothing uses it in this version */
    DULONG dulTimeStampBefore; /**< time stamp of the last video frame */
    ULONG_32 ulControlTicket;  /**< ticket of stControlWake that the thread's pass began with */

    /* ---- the client's controls, words that the threads load; stControlWake makes them look */
    BOOL_T bFilePort;                 /**< the port plays a file */
    BOOL_T bAudioPlayOnly;            /**< likewise */
    ULONG_32 ulSetPlayTime;           /**< pending seek, seconds; all ones for none */
    ULONG_32 ulFrameCtrl;             /**< FILE_FRAME_CTRL_TYPE_E; released by whoever starts a step */
    BOOL_T bCtrlSucc;                 /**< 0 while a single step is pending; released by the play thread */
    FLOAT fFilePlaySpeed;             /**< pacing factor: below 1 is faster */
    PLAYER_PLAY_SPEED_E enSpeedValue; /**< speed asked for */

    /* ---- the thread's answer to getters, relaxed */
    ULONG_32 ulFilePlayTime; /**< position, seconds */
} PORT_FILE_S;

/** Cloud recording being played. */
typedef struct tagPortCloudS {
    QLOM_SDK_THREAD_S hHlsDownloadThread;  /**< fetches segments; started and joined under the API lock */
    QLOM_SDK_THREAD_S hTsManagerThread;    /**< plays them out, likewise */
    PLAYER_HLS_TYPE_INFO_S stHlsTypeInfos; /**< what the two threads and the client share */
} PORT_CLOUD_S;

#endif
