// Times of KRDF records.
#include "file/krdf/common_datatype.h"

#include <time.h>

void ZARDO_localtime(const TIME_T *pulTime, ZARDO_DATE_TIME_S *pstDateTime) {
    if (pstDateTime == nullptr) {
        return;
    }
    *pstDateTime = {};
    struct tm stLocal = {};
    if (pulTime != nullptr && localtime_r(pulTime, &stLocal) != nullptr) {
        *pstDateTime = {stLocal.tm_sec,  stLocal.tm_min,  stLocal.tm_hour, stLocal.tm_mday, stLocal.tm_mon,
                        stLocal.tm_year, stLocal.tm_wday, stLocal.tm_yday, stLocal.tm_isdst};
    }
}

TIME_T ZARDO_mktime_withdst(const ZARDO_DATE_TIME_S *pstDateTime) {
    if (pstDateTime == nullptr) {
        return -1;
    }
    const time_t lNow = time(nullptr);
    struct tm stNow = {};
    localtime_r(&lNow, &stNow);
    struct tm stLocal = {};
    stLocal.tm_sec = pstDateTime->lSecond;
    stLocal.tm_min = pstDateTime->lMinute;
    stLocal.tm_hour = pstDateTime->lHour;
    stLocal.tm_mday = pstDateTime->lDay;
    stLocal.tm_mon = pstDateTime->lMonth;
    stLocal.tm_year = pstDateTime->lYear;
    stLocal.tm_isdst = stNow.tm_isdst;
    return mktime(&stLocal);
}

DLONG getCurrentTime(void) {
    struct timeval stNow = {};
    WYK_gettimeofday(&stNow, nullptr);
    return static_cast<DLONG>(stNow.tv_sec) * 1000 + stNow.tv_usec;
}
