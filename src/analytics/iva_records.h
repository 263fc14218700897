/**
 * @file iva_records.h
 * @brief Reads the version-2 rules and targets that module_iva keeps.
 *
 * Records of an SEI message are kept with every field in host order. Those of a data frame are kept as turned 32-bit
 * words of the whole frame: the two 16-bit fields of a word have changed places, in the head too, so that the number of
 * records stands in usDisplayHoldTime and the hold time in usTargetNum or usRuleNum; and behind an attachment whose
 * length is no multiple of four the words don't lie where the fields do. bRuleFromData and bResultFromData tell which
 * it is, and the functions here read both alike. They never read past a buffer, whatever the record says.
 */
#ifndef ZELVANE_ANALYTICS_IVA_RECORDS_H
#define ZELVANE_ANALYTICS_IVA_RECORDS_H

#include "analytics/module_iva.h"

extern "C" {

/** How many rules the head names. */
MODULE_API ULONG_32 IvaRecords_RuleNum(const IVA_INFO_V2_S &stInfo);
/** How many targets the head names. */
MODULE_API ULONG_32 IvaRecords_TargetNum(const IVA_INFO_V2_S &stInfo);
/** How long the rules are to be shown, milliseconds. */
MODULE_API ULONG_32 IvaRecords_RuleHoldTime(const IVA_INFO_V2_S &stInfo);
/** How long the result is to be shown, milliseconds. */
MODULE_API ULONG_32 IvaRecords_ResultHoldTime(const IVA_INFO_V2_S &stInfo);

/** Reads rule ulIndex into *pstRule. False when the buffer ends before its end. */
MODULE_API bool IvaRecords_Rule(const IVA_INFO_V2_S &stInfo, ULONG_32 ulIndex, IVA_REPORT_RULE_INFO_V2_S *pstRule);

/**
 * Reads the target at byte *pdulAt of the result, without its attachment, and moves *pdulAt behind both.
 * @return false, with nothing moved, when the buffer ends before the end of either
 */
MODULE_API bool IvaRecords_NextTarget(const IVA_INFO_V2_S &stInfo, DULONG *pdulAt,
                                      IVA_REPORT_RESULT_INFO_V2_EX_S *pstTarget);

}  // extern "C"

#endif
