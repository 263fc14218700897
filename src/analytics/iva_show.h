/**
 * @file iva_show.h
 * @brief What a client wants to see of analytics: one setting for the library, and one for each port.
 *
 * The setters may run on any thread and beside each other; port numbers of 256 and more are ignored. Readers take
 * words.
 */
#ifndef ZELVANE_ANALYTICS_IVA_SHOW_H
#define ZELVANE_ANALYTICS_IVA_SHOW_H

#include "foundations/player_types.h"

/** Which records are shown. */
typedef struct tagIVAShowParamS {
    BOOL_T bShowRule;              /**< rules */
    BOOL_T bShowResultTouthRule;   /**< targets that set off a rule */
    BOOL_T bShowResultUntouthRule; /**< targets that set off none */
    BOOL_T bShowResultTrack;       /**< tracks of targets; always 1, nothing draws them */
} IVA_SHOW_PARAM_S;

/** Which kinds of objects are shown. Stored only: a target's record doesn't say what it is. */
typedef struct tagIVAShowObjTypeS {
    BOOL_T bShowPerson; /**< people */
    BOOL_T bShowVeh;    /**< vehicles */
    BOOL_T bShowNonVeh; /**< vehicles without an engine */
} IVA_SHOW_OBJ_TYPE_S;

extern "C" {

/** Sets what the library shows. @param ulShowParam bit 0 rules, bit 1 targets that set off a rule, bit 2 the others */
MODULE_API void SetIVAShowParam(ULONG_32 ulShowParam);
/** Sets what a port shows. @param bFlag 1: from now on every port shows what is set for it; 0: what the library shows
 */
MODULE_API void SetIVAShowParamEx(ULONG_32 ulPort, ULONG_32 ulShowParam, BOOL_T bFlag);
/** Stores which kinds of objects a port shows. */
MODULE_API void SetIVAShowObjType(ULONG_32 ulPort, BOOL_T bShowPerson, BOOL_T bShowVeh, BOOL_T bShowNonVeh);
/** Stores whether a port shows the attributes of targets as text. */
MODULE_API void SetIVAShowOsdInfo(ULONG_32 ulPort, BOOL_T bShowOsd);
/** Sets all that is kept for each port to its start: everything shown, but no text. The first setter of a port does so.
 */
MODULE_API void InitDrawParam(void);

/** What is to be shown on a port now; of a number out of range, what the library shows. */
MODULE_API void IvaShow_GetParam(ULONG_32 ulPort, IVA_SHOW_PARAM_S *pstParam);
/** Changes with every setter above, so that a picture that stands can be drawn anew. */
MODULE_API ULONG_32 IvaShow_Ticket(void);

}  // extern "C"

#endif
