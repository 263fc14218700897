/**
 * @file iva_text.h
 * @brief Labels of the attributes of a target: what the one-byte codes of a result's attachment mean, in Chinese.
 *
 * A function gets a code and a buffer of IVA_LABEL_LEN characters. For a code that it knows it writes the label with
 * its end and adds 1 to the counter; for others (98, 99, 0 and 9 stand for "unknown" in the various attributes) it
 * leaves both alone. A null buffer counts as unknown. No state, any thread.
 */
#ifndef ZELVANE_ANALYTICS_IVA_TEXT_H
#define ZELVANE_ANALYTICS_IVA_TEXT_H

#include "foundations/player_types.h"

enum : ULONG_32 {
    IVA_LABEL_LEN = 20,      /**< wide characters of a label's buffer, the end included */
    IVA_VEH_BRAND_NUM = 193, /**< makes of vehicles */
    IVA_COLOUR_NUM = 3,      /**< colours of CharToColor3() */
};

extern "C" {

/** Gender. */
MODULE_API void CharToGender(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Age. */
MODULE_API void CharToRange(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Whether a mask is worn. */
MODULE_API void CharToMaskFlag(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Direction of a movement. */
MODULE_API void CharToDirect(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Speed of a movement. */
MODULE_API void CharToSpeed(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Side that a person shows. */
MODULE_API void CharToBodyAngle(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Pattern of the upper clothes. */
MODULE_API void CharToClothTexture(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Length of the hair. */
MODULE_API void CharToHair(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of shoes. */
MODULE_API void CharToShoes(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of bag. */
MODULE_API void CharToBag(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of glasses. */
MODULE_API void CharToGlassType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of vehicle. */
MODULE_API void CharToVehType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of number plate. */
MODULE_API void CharToPlateStruct(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Colour of a number plate. */
MODULE_API void CharToPlateColor(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Kind of vehicle without a number plate. */
MODULE_API void CharToNonVehType(CHAR cCode, wchar_t *pwcOut, ULONG_32 &ulCount);
/** Both at once, the speed first; counted once, if at least one of them is known. */
MODULE_API void CharToDirectSpeed(CHAR cDirect, CHAR cSpeed, wchar_t *pwcOut, ULONG_32 &ulCount);

/** Upper clothes; for an unknown code the label is their name and bKnown 0. */
MODULE_API void CharToUpClothStyle(CHAR cCode, wchar_t *pwcOut, BOOL_T &bKnown);
/** Lower clothes, likewise. */
MODULE_API void CharToDnClothStyle(CHAR cCode, wchar_t *pwcOut, BOOL_T &bKnown);

/** Colours: pcChar has IVA_COLOUR_NUM codes, and the label of the last known one is what stays. */
MODULE_API void CharToColor3(const CHAR *pcChar, wchar_t *pwcOut);

/** Make of a vehicle, by a code of two letters. */
MODULE_API void CharToBrand(const CHAR *pcChar, wchar_t *pwcOut, ULONG_32 &ulCount);

}  // extern "C"

#endif
