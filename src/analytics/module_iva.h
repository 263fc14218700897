/**
 * @file module_iva.h
 * @brief Records of video analytics: rules (lines and areas that are watched) and results (targets with their boxes).
 *
 * They come in data frames, read by DataParse(), and in private SEI messages, read by IvaV2Parse(). The newest records
 * stay in an IVA_INFO_S, in host order; DataCopy() makes the copy that travels with one displayed picture, and
 * analytics/iva_records.h reads it. A malformed record is logged and dropped, and the one before it stays.
 *
 * All functions run on the thread that decodes the port, without a lock. Only bDRVEnable is written by other threads;
 * it is a shared word.
 */
#ifndef ZELVANE_ANALYTICS_MODULE_IVA_H
#define ZELVANE_ANALYTICS_MODULE_IVA_H

#include "foundations/player_types.h"

/** Numbers of the records. */
enum : ULONG_32 {
    IVA_BUFFER_START_LEN = 2048, /**< first size of a record buffer, bytes */
    IVA_RULE_NUM_V1 = 8,         /**< rules of a version-1 record */
    IVA_COORD_NUM_V2 = 16,       /**< corners of a version-2 rule */
};

/* ---- version 1 -------------------------------------------------------------------------------------------------- */

/** Shape of a version-1 rule. */
typedef enum tagDrvPeaRuleTypeE : ULONG_32 {
    RULE_SUB_TYPE_STUMBLE_LINE_E = 0, /**< a line to be crossed */
    RULE_SUB_TYPE_FRAME_E = 1         /**< an area */
} DRV_PEA_RULE_TYPE_E;

/** Direction that a line forbids. */
typedef enum tagRuleLineDirectE : ULONG_32 {
    RULE_LINE_DIRECT_DEASIL_FORBID_E = 0,       /**< clockwise */
    RULE_LINE_DIRECT_WIDDERSHINES_FORBID_E = 1, /**< counterclockwise */
    RULE_LINE_DIRECT_NO_E = 2                   /**< both ways alike */
} RULE_LINE_DIRECT_E;

/** Direction that an area forbids. */
typedef enum tagRuleFrameDirectE : ULONG_32 {
    RULE_FRAME_DIRECT_ENTER_E = 0, /**< into it */
    RULE_FRAME_DIRECT_EXIT_E = 1,  /**< out of it */
    RULE_FRAME_DIRECT_NO_E = 2     /**< both ways alike */
} RULE_FRAME_DIRECT_E;

/** What a version-1 rule record says for all rules. */
typedef struct tagIVAReportCommonConfig {
    ULONG_32 ulChlId;                 /**< channel */
    BOOL_T bChlIdEnable;              /**< the channel is watched */
    ULONG_32 ulBehaviorConfFps;       /**< frames per second that are analysed */
    BOOL_T bBehaviorConfShadowEnable; /**< shadows are told from objects */
} IVA_REPORT_COMN_CFG_S;

/** Smallest and largest object that a rule heeds. */
typedef struct tagIVAReportSizeFilter {
    BOOL_T bEnable;      /**< the filter is on */
    UCHAR ucMinArea[16]; /**< smallest, as four words */
    UCHAR ucMaxArea[16]; /**< largest, as four words */
} IVA_REPORT_SIZE_FILTER_S;

/** Corners of a version-1 rule. */
typedef struct tagIVAReportRulePoints {
    ULONG_32 ulPointNum;  /**< how many; as the device says, so bound it when reading */
    UCHAR ucPointDat[56]; /**< coordinates, as words */
} IVA_REPORT_RULE_PTS_S;

/** A version-1 rule. */
typedef struct tagIVAReportRuleInfo {
    ULONG_32 ulChlId;                      /**< channel */
    ULONG_32 ulRuleId;                     /**< rule */
    BOOL_T bEnable;                        /**< the rule is on */
    DRV_PEA_RULE_TYPE_E enRuleType;        /**< line or area */
    IVA_REPORT_SIZE_FILTER_S stSizeFilter; /**< object size */
    union {
        RULE_LINE_DIRECT_E enLineDirect;  /**< of a line */
        RULE_FRAME_DIRECT_E enZoneDirect; /**< of an area */
    };
    IVA_REPORT_RULE_PTS_S stRulePts; /**< corners */
    ULONG_32 ulRuleColor;            /**< colour */
    ULONG_32 ulLineRuleHeight;       /**< height of a line's plane */
} IVA_REPORT_RULE_INFO_S;
static_assert(sizeof(IVA_REPORT_RULE_INFO_S) == 124);

/** All rules of a version-1 channel. */
typedef struct tagIVAReportRuleConfig {
    IVA_REPORT_COMN_CFG_S stComnCfg;                 /**< for all */
    IVA_REPORT_RULE_INFO_S astRule[IVA_RULE_NUM_V1]; /**< each */
} IVA_REPORT_RULE_CFG_S;
static_assert(sizeof(IVA_REPORT_RULE_CFG_S) == 1008);

/** Head of a version-1 result. The targets follow as words. */
typedef struct tagIVAReportResultHead {
    ULONG_32 ulAllNum;                    /**< targets */
    ULONG_32 aulRuleNum[IVA_RULE_NUM_V1]; /**< targets of each rule */
} IVA_REPORT_RESULT_HEAD_S;
static_assert(sizeof(IVA_REPORT_RESULT_HEAD_S) == 36);

/** Newest version-1 records of a port. */
typedef struct tagIVAInfoV1S {
    BOOL_T bHaveRule;                      /**< stRuleConfig is to be shown */
    IVA_REPORT_RULE_CFG_S stRuleConfig;    /**< rules */
    LONG_32 lUseRuleCount;                 /**< pictures that have shown it */
    BOOL_T bHaveResult;                    /**< the result is to be shown */
    IVA_REPORT_RESULT_HEAD_S stResultHead; /**< its head */
    CHAR *pcResultBuf;                     /**< its targets; owned by the record */
    LONG_32 lIVAResultBufLen;              /**< their bytes; 0 in a copy made by DataCopy() */
    LONG_32 lIVAResultBufMaxLen;           /**< size of the buffer */
    LONG_32 lUseResultCount;               /**< pictures that have shown it */
} IVA_INFO_V1_S;

/* ---- version 2 -------------------------------------------------------------------------------------------------- */

/** Shape of a version-2 rule. */
typedef enum tagIVAReportRuleTypeV2E : ULONG_32 {
    IVA_REPORT_RULE_LINE = 0, /**< a line to be crossed */
    IVA_REPORT_RULE_POLY = 1  /**< an area */
} IVA_REPORT_RULE_TYPE_V2_E;

/** What sets a version-2 rule off. */
typedef enum tagIVAReportTrigTypeE : ULONG_32 {
    IVA_REPORT_TRIG_NONE = 0, /**< nothing */
    IVA_REPORT_TRIG_BOTH = 1, /**< both directions */
    IVA_REPORT_TRIG_CW = 2,   /**< clockwise */
    IVA_REPORT_TRIG_CCW = 3,  /**< counterclockwise */
    IVA_REPORT_TRIG_IN = 4,   /**< entering */
    IVA_REPORT_TRIG_OUT = 5   /**< leaving */
} IVA_REPORT_TRIG_TYPE_E;

/** Colours of lines and areas. */
typedef enum tagIVAReportColorType : ULONG_32 {
    IVA_REPORT_COLOR_NONE = 0,
    IVA_REPORT_COLOR_DEEP = 1,
    IVA_REPORT_COLOR_LIGHT = 2,
    IVA_REPORT_COLOR_WHITE = 3,
    IVA_REPORT_COLOR_BLACK = 4,
    IVA_REPORT_COLOR_RED = 5,
    IVA_REPORT_COLOR_GREEN = 6,
    IVA_REPORT_COLOR_BLUE = 7,
    IVA_REPORT_COLOR_ORANGE = 8,
    IVA_REPORT_COLOR_PURPLE = 9,
    IVA_REPORT_COLOR_PINK = 10,
    IVA_REPORT_COLOR_YELLOW = 11,
    IVA_REPORT_COLOR_BROWN = 12,
    IVA_REPORT_COLOR_GRAY = 13
} IVA_REPORT_COLOR_TYPE_E;

/** A point in the picture, in the device's coordinates. */
typedef struct tagIVAReportCoordS {
    USHORT usX; /**< across */
    USHORT usY; /**< down */
} IVA_REPORT_COORD_S;

/** Head of version-2 rules. */
typedef struct tagIVAReportRuleHeadV2S {
    ULONG_32 ulChannel;       /**< channel */
    BOOL_T bEnable;           /**< analytics is on */
    USHORT usRuleNum;         /**< rules that follow */
    USHORT usDisplayHoldTime; /**< how long to show them, milliseconds */
} IVA_REPORT_RULE_HEAD_V2_S;
static_assert(sizeof(IVA_REPORT_RULE_HEAD_V2_S) == 12);

/** Head of a version-2 result. */
typedef struct tagIVAReportResultHeadV2S {
    ULONG_32 ulChannel;       /**< channel */
    BOOL_T bEnable;           /**< analytics is on */
    USHORT usTargetNum;       /**< targets that follow */
    USHORT usDisplayHoldTime; /**< how long to show them, milliseconds */
} IVA_REPORT_RESULT_HEAD_V2_S;
static_assert(sizeof(IVA_REPORT_RESULT_HEAD_V2_S) == 12);

/** A version-2 rule as it stands in pcRuleBuf. */
typedef struct tagIVAReportRuleInfoV2S {
    ULONG_32 ulRuleID;                             /**< rule */
    BOOL_T bTriggered;                             /**< it is set off now */
    IVA_REPORT_RULE_TYPE_V2_E enRuleType;          /**< line or area */
    IVA_REPORT_TRIG_TYPE_E enTrigType;             /**< what sets it off */
    IVA_REPORT_COORD_S astCoord[IVA_COORD_NUM_V2]; /**< corners */
    ULONG_32 ulCoordNum;                           /**< how many; as the device says, so bound it when reading */
    IVA_REPORT_COLOR_TYPE_E enLineColor;           /**< outline */
    IVA_REPORT_COLOR_TYPE_E enFillColor;           /**< inside */
    ULONG_32 ulLineAlpha;                          /**< opacity */
    ULONG_32 ulFillAlpha;                          /**< opacity */
    ULONG_32 ulAttachLen;                          /**< attachment; none is carried */
    ULONG_32 ulAttachType;                         /**< its kind */
} IVA_REPORT_RULE_INFO_V2_S;
static_assert(sizeof(IVA_REPORT_RULE_INFO_V2_S) == 108);

/** A version-2 target as it stands in pcResultBuf, at any alignment. Its ulAttachLen bytes szMsgData follow at once. */
typedef struct tagIVAReportResultInfoV2ExS {
    ULONG_32 ulTargetID;                 /**< target */
    ULONG_32 ulTrigRule;                 /**< rule that it sets off */
    IVA_REPORT_COORD_S stStart;          /**< first corner of its box */
    IVA_REPORT_COORD_S stEnd;            /**< last corner of its box */
    IVA_REPORT_COLOR_TYPE_E enLineColor; /**< colour of the box */
    ULONG_32 ulLineAlpha;                /**< opacity */
    ULONG_32 ulTrailHoldTime;            /**< how long to show its track */
    ULONG_32 ulAttachLen;                /**< bytes of szMsgData */
    ULONG_32 ulAttachType;               /**< kind of szMsgData */
} IVA_REPORT_RESULT_INFO_V2_EX_S;
static_assert(sizeof(IVA_REPORT_RESULT_INFO_V2_EX_S) == 36);

/** Newest version-2 records of a port. */
typedef struct tagIVAInfoV2S {
    BOOL_T bHaveRule;                         /**< the rules are to be shown */
    IVA_REPORT_RULE_HEAD_V2_S stRuleHead;     /**< their head */
    CHAR *pcRuleBuf;                          /**< rules; owned by the record */
    ULONG_32 ulIVARuleBufLen;                 /**< their bytes */
    ULONG_32 ulIVARuleBufMaxLen;              /**< size of the buffer */
    ULONG_32 ulUseRuleCount;                  /**< pictures that have shown them */
    BOOL_T bHaveResult;                       /**< the result is to be shown */
    IVA_REPORT_RESULT_HEAD_V2_S stResultHead; /**< its head */
    CHAR *pcResultBuf;                        /**< targets; owned by the record */
    ULONG_32 ulIVAResultBufLen;               /**< their bytes */
    ULONG_32 ulIVAResultAttLen;               /**< bytes of all attachments among them */
    ULONG_32 ulIVAResultBufMaxLen;            /**< size of the buffer */
    ULONG_32 ulUseResultCount;                /**< pictures that have shown it */
    BOOL_T bRuleFromData;                     /**< the rules came in a data frame: see analytics/iva_records.h */
    BOOL_T bResultFromData;                   /**< the result did */
} IVA_INFO_V2_S;

/* ---- both ------------------------------------------------------------------------------------------------------- */

/** Analytics of a port. The three BufMaxLen start at IVA_BUFFER_START_LEN; all else starts zeroed. */
typedef struct tagIVAInfoS {
    BOOL_T bDRVEnable;          /**< analytics is on for this port; a shared word */
    ULONG_32 ulMetaDataVersion; /**< 1 or 2: which of the two below is in force */
    IVA_INFO_V1_S stMetaV1;     /**< version 1 */
    IVA_INFO_V2_S stMetaV2;     /**< version 2 */
} IVA_INFO_S;

/** What ClearData() takes away. */
typedef enum tagIVAClearDataType {
    IVA_CLEAR_DATA_RULE = 1,   /**< rules */
    IVA_CLEAR_DATA_RESULT = 2, /**< results */
    IVA_CLEAR_DATA_TRACK = 4   /**< tracks; none are kept here */
} IVA_CLEAR_DATA_TYPE_E;

extern "C" {

/**
 * Parses one data frame: a kind byte, a length, and a body in one or more segments.
 *
 * @param pstIvaInfo analytics of the port
 * @param pcDataAddr frame; its segments are joined in place
 * @param lDataLen its bytes
 * @return 0, also for a frame that is malformed (dropped with a log line) and with analytics off;
 *         PLAYER_ERR_IVA_PARAM (1025) for a null pointer; PLAYER_ERR_MALLOC (3)
 */
MODULE_API ULONG_32 DataParse(IVA_INFO_S *pstIvaInfo, CHAR *pcDataAddr, LONG_32 lDataLen);

/**
 * Parses one version-2 body of an SEI message, without emulation prevention bytes.
 *
 * @param ulType 16 result, 17 rules; others do nothing
 * @param pstIvaV2Info records of the port
 * @param pcDataAddr body
 * @param ulDataLen its bytes
 * @return 0, also for a wrong length; PLAYER_ERR_PARAM (2) when the targets run past the body; PLAYER_ERR_MALLOC (3);
 *         PLAYER_ERR_IVA_PARAM (1025) for a null pointer
 */
MODULE_API ULONG_32 IvaV2Parse(ULONG_32 ulType, IVA_INFO_V2_S *pstIvaV2Info, CHAR *pcDataAddr, ULONG_32 ulDataLen);

/**
 * Makes the copy for one displayed picture and counts the use, which lets records expire: version-1 rules after 61
 * pictures, results after 6; version-2 records when their hold time is over. The counts in the heads of a version-2
 * copy never say more than its buffers hold.
 *
 * @param lFrameRate pictures per second
 * @param pstIvaInfo analytics of the port
 * @return an IVA_INFO_S that the caller releases with FreeInfo(); null if there is nothing to show or no memory
 */
MODULE_API HANDLE DataCopy(LONG_32 lFrameRate, IVA_INFO_S *pstIvaInfo);

/** Frees a copy made by DataCopy() with its buffers and nulls the handle. */
MODULE_API void FreeInfo(HANDLE *phDrawInfo);

/** Frees the three buffers inside a record and zeroes their lengths and sizes; the record itself stays. */
MODULE_API void IVA_FreeBuffers(IVA_INFO_S *pstIvaInfo);

/** Takes records off the display. @param ulClearType bits of tagIVAClearDataType */
MODULE_API void ClearData(ULONG_32 ulClearType, IVA_INFO_S *pstIvaInfo);

/**
 * Stores data in a buffer that grows on demand, with every whole 32-bit word turned from big-endian to host order.
 *
 * @param pcDataAddr data
 * @param ulDataLen bytes
 * @param pulIVABufLen set to ulDataLen
 * @param pulIVABufMaxLen size of the buffer; grows to ulDataLen + 4 when the data don't fit
 * @param ppIVABufAddr buffer; null until the first need
 * @return 0; PLAYER_ERR_MALLOC (3)
 */
MODULE_API ULONG_32 DataMallocAndCopy(CHAR *pcDataAddr, ULONG_32 ulDataLen, ULONG_32 *pulIVABufLen,
                                      ULONG_32 *pulIVABufMaxLen, CHAR **ppIVABufAddr);

/**
 * Stores version-2 targets in a buffer that grows on demand and turns their fixed fields to host order; attachments
 * stay as they came.
 *
 * @param ulTargetNum targets among the data
 * @param pulIVAAttLen bytes of all attachments are added to it
 * @return 0; PLAYER_ERR_PARAM (2) when the targets run past the data; PLAYER_ERR_MALLOC (3)
 */
MODULE_API LONG_32 DataMallocAndCopyEx(CHAR *pcDataAddr, ULONG_32 ulDataLen, ULONG_32 ulTargetNum,
                                       ULONG_32 *pulIVABufLen, ULONG_32 *pulIVABufMaxLen, ULONG_32 *pulIVAAttLen,
                                       CHAR **ppIVABufAddr);

}  // extern "C"

#endif
