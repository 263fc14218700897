/**
 * @file common_datatype.h
 * @brief Times, codings and states of KRDF records.
 */
#ifndef ZELVANE_FILE_KRDF_COMMON_DATATYPE_H
#define ZELVANE_FILE_KRDF_COMMON_DATATYPE_H

#include "foundations/com_public_fun.h"
#include "foundations/player_types.h"

/** Broken-down local time. In a record and its parser the year is full and the month counts from 1. */
typedef struct tagZardoDateTime {
    LONG_32 lSecond;  /**< 0 to 60; up to 63 in a damaged record */
    LONG_32 lMinute;  /**< 0 to 59 */
    LONG_32 lHour;    /**< 0 to 23 */
    LONG_32 lDay;     /**< 1 to 31 */
    LONG_32 lMonth;   /**< 1 to 12; 0 to 11 out of ZARDO_localtime() and into ZARDO_mktime_withdst() */
    LONG_32 lYear;    /**< full; less 1900 out of ZARDO_localtime() and into ZARDO_mktime_withdst() */
    LONG_32 lWeekDay; /**< days since Sunday */
    LONG_32 lYearDay; /**< days since 1 January */
    LONG_32 lIsDst;   /**< above 0 in summer time */
} ZARDO_DATE_TIME_S;

/** A span of time. */
typedef struct tagZardoTime {
    LONG_32 lSeconds; /**< whole seconds */
} ZARDO_TIME_S;

/** Coding of video, as the low three bits of a packet's stream type tell it. */
typedef enum tagVideoCodecE {
    VIDEO_CODEC_V1R1 = 0,
    VIDEO_CODEC_VINCIH265 = 1, /**< H.265 */
    VIDEO_CODEC_WISMPEG2 = 2,
    VIDEO_CODEC_WISMPEG4 = 3,
    VIDEO_CODEC_VINCIMPEG2 = 4,
    VIDEO_CODEC_VINCIMPEG4 = 5,
    VIDEO_CODEC_VINCIH264 = 6,  /**< H.264 */
    VIDEO_CODEC_VINCIMJPEG = 7, /**< JPEG */
    VIDEO_CODEC_UNKNOW = 8
} VIDEO_CODEC_E;

/** Coding of sound. */
typedef enum tagAudioCodecE {
    AUDIO_CODEC_G711A = 0,
    AUDIO_CODEC_G711U = 1,
    AUDIO_CODEC_G722 = 2,
    AUDIO_CODEC_G7221 = 3,
    AUDIO_CODEC_G723 = 4,
    AUDIO_CODEC_G728 = 5,
    AUDIO_CODEC_AAC = 6,
    AUDIO_CODEC_PCM = 7,
    AUDIO_CODEC_G729 = 8,
    AUDIO_CODEC_MPEG2 = 9,
    AUDIO_CODEC_PCMA = 10,
    AUDIO_CODEC_NONE = 11
} AUDIO_CODEC_E;

/** Whether a parser gives packets. */
typedef enum tagModuleStateE {
    MODULESTATE_ID_STOP = 0,
    MODULESTATE_ID_PAUSE = 1,
    MODULESTATE_ID_RUN = 2 /**< the only one in which it does */
} MODULE_STATE_E;

/** What a reader of packets is after. */
typedef enum tagFileReadUnitE {
    FILE_READUNIT_ID_NONE = 0,
    FILE_READUNIT_ID_FRAME = 1,
    FILE_READUNIT_ID_GOP = 2
} FILE_READ_UNIT_E;

/** Kind of a packet; nothing tells kinds apart. */
typedef enum tagPacketTypeE { PACKET_TYPE_NONE = 0, PACKET_TYPE_RTP_H265 = 14 } PACKET_TYPE_E;

/** What a packet belongs to, as far as a damaged head tells. */
typedef enum tagVideoAudioE {
    VIDEO_AUDIO_NONE = 0,
    AUDIO_ONLY = 1,
    VIDEO_ONLY = 2,
    VIDEO_AUDIO_BOTH = 3,
    PRIVATE_ONLY = 4
} VIDEO_AUDIO_E;

extern "C" {

/** Breaks a time down as localtime() does, month from 0 and year less 1900; all zero if it can't. Null does nothing. */
MODULE_API void ZARDO_localtime(const TIME_T *pulTime, ZARDO_DATE_TIME_S *pstDateTime);

/**
 * Local time to seconds since 1970 as mktime() does, under the daylight saving of the present moment, whatever the date
 * is. Month from 0 and year less 1900.
 * @return -1 for null, and for what no time_t holds
 */
MODULE_API TIME_T ZARDO_mktime_withdst(const ZARDO_DATE_TIME_S *pstDateTime);

/** Milliseconds since 1970. */
MODULE_API DLONG getCurrentTime(void);
}

#endif
