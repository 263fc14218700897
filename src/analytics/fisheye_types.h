/**
 * @file fisheye_types.h
 * @brief Fisheye and PTZ state that a port holds.
 */
#ifndef ZELVANE_ANALYTICS_FISHEYE_TYPES_H
#define ZELVANE_ANALYTICS_FISHEYE_TYPES_H

#include "codec/module_code.h"
#include "foundations/player_types.h"

/** Fisheye state of a port, under the port's stFishInfoMutex. */
typedef struct tagFisheyeInfoS {
    BOOL_T bIsFisheyeStream;      /**< the stream is fisheye */
    ULONG_32 ulRadius;            /**< lens circle */
    PLAYER_POINT_S stCenterPoint; /**< its centre */
    void *pLensParam;
    LONG_32 lFixMode;             /**< mounting */
    LONG_32 lPtzMode;             /**< view */
    PLAYER_POINT_S stMousePoint;
    PLAYER_POINT_S stMouseDragPoint;
    BOOL_T bMouseLButtonDown;
    SHORT sDelta;                 /**< wheel */
    SHORT sReserved;
    LONG_32 lWidth;               /**< source picture */
    LONG_32 lHeight;
    LONG_32 lLineSize;
    void *pIsfHandle;
    QLOM_SDK_MUTEX_S stMutexLock;
    LONG_32 lNoSeiCount;          /**< frames without fisheye data */
    LONG_32 lAreaId;              /**< present view */
    LONG_32 lPtzId;
    LONG_32 lPtzCategory;
    LONG_32 lDeltaX;
    LONG_32 lDeltaY;
    SHORT sSoundDir;              /**< direction of the sound */
    BOOL_T bStartFisheye;         /**< the client asked for fisheye processing */
    LONG_32 lDrawWidth;
    LONG_32 lDrawHeight;
    ULONG_32 ulReportTime;
} FISH_EYE_INFO_S;

typedef enum tagPtzStateE {
    PTZ_STATE_NONE = 0,
    PTZ_STATE_MOUSE_KEEP_ALIVE = 1,
    PTZ_STATE_SEI_KEEP_ALIVE = 2
} PTZ_STATE_E;

/** One view of a PTZ stream. */
typedef struct tagPtzCtrlS {
    PTZ_STATE_E stPtzState;
    LONG_32 lTargetID;
    PLAYER_POINT_S stSeiStartPoint;
    PLAYER_POINT_S stSeiEndPoint;
    PLAYER_POINT_S stMontageStartPoint;
    PLAYER_POINT_S stMontageEndPoint;
    ULONG_32 ulLineColor;
    ULONG_32 ulLineWidth;
    BOOL_T bIsShowRectInPTZ;
    BOOL_T bIsShowRect;
    BOOL_T bShowRectOnSrc;
    LONG_32 lKeepFrameCnt;
    PLAYER_POINT_S stPreSetStartPoint;
    PLAYER_POINT_S stPreSetEndPoint;
    LONG_32 iFiveFramCunt;
    USHORT usCurCenterX;
    USHORT usCurCenterY;
    USHORT ausLatelyFiveX[5];
    USHORT ausLatelyFiveY[5];
    ULONG_32 ulReserved; /**< 0; the copies that travel with pictures are of 88 bytes a view */
} PTZ_CTRL_S;
static_assert(sizeof(PTZ_CTRL_S) == 88);

enum : ULONG_32 { PTZ_VIEW_NUM = 5 };

/** PTZ state of a port. */
typedef struct tagPtzInfoS {
    PTZ_CTRL_S astPtzCtrl[PTZ_VIEW_NUM];
    QLOM_SDK_MUTEX_S stMutexLock;
    QLOM_SDK_MUTEX_S stMutexMouseLock;
    BOOL_T bIsInit;
    ULONG_32 ulPtzMode; /**< 1: the views travel with each picture */
    LONG_32 lPtzId;
    ULONG_32 ulKeepAliveTime;
    PLAYER_POINT_S stMousePoint;
    PLAYER_POINT_S stMouseDragPoint;
    BOOL_T bMouseLButtonDown;
    BOOL_T bGetPtzIdFlag;
    BOOL_T bIsInPtzCtrl;
    SHORT sDelta;
    LONG_32 lWidth;
    LONG_32 lHeight;
    LONG_32 lFrameRate;
    LONG_32 lNoSeiCnt;
    CODEC_PIC_S stMontagePic;
} PTZ_INFO_S;

#endif
