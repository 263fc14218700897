/**
 * @file port_analytics.h
 * @brief A port's slice of analytics: records from the stream, fisheye and PTZ state.
 */
#ifndef ZELVANE_ANALYTICS_PORT_ANALYTICS_H
#define ZELVANE_ANALYTICS_PORT_ANALYTICS_H

#include "analytics/fisheye_types.h"
#include "analytics/module_iva.h"

/** Analytics of a port. */
typedef struct tagPortAnalyticsS {
    IVA_INFO_S stIvaInfo;             /**< records of data frames; decode thread, its switch a word of the client's */
    PLAYER_OSD_STYL_E enOSDStyle;     /**< placement of texts; a word of the client's */
    QLOM_SDK_MUTEX_S stFishInfoMutex; /**< guards stFishInfo, between the client and the decode thread */
    FISH_EYE_INFO_S stFishInfo;       /**< fisheye geometry */
    PTZ_INFO_S stPtzInfo;             /**< electronic PTZ; ulPtzMode a word of the client's */
    BOOL_T bReportFisheyeStream;      /**< the client was told of a fisheye stream; decode thread */
    BOOL_T bReportPtzStream;          /**< likewise of a PTZ stream */
} PORT_ANALYTICS_S;

#endif
