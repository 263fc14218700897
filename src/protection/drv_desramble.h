/**
 * @file drv_desramble.h
 * @brief Restores one scrambled frame, in place.
 *
 * A camera scrambles all but the first 16 bytes of a picture's first slice, and whatever follows it in the frame, by an
 * XOR with one byte, then puts emulation prevention bytes in. On key frames two SEI units, with the key and with a
 * random number, go in front.
 *
 * No function reads or writes outside of the *pulStreamLen bytes.
 */
#ifndef ZELVANE_PROTECTION_DRV_DESRAMBLE_H
#define ZELVANE_PROTECTION_DRV_DESRAMBLE_H

#include "foundations/player_types.h"

/** A stream's key. */
typedef struct tagScrambleCfg {
    UCHAR ucVersion;    /**< 3 */
    UCHAR ucSubVersion; /**< 0 */
    UCHAR aucReserved[2];
    UCHAR aucKeyM[4];     /**< master key */
    ULONG_32 ulKey;       /**< derived key; its low byte is the one that counts */
    ULONG_32 ulRand;      /**< random number of the stream */
    ULONG_32 ulFrameType; /**< SCRAMBLE_FRAME_E, set per call */
    ULONG_32 ulFormat;    /**< SCRAMBLE_FORMAT_E, set per call */
    ULONG_32 ulChannelID; /**< port, for the log */
} DRV_SCRAMBLE_CFG_S;

/** DRV_SCRAMBLE_CFG_S::ulFrameType. */
typedef enum tagScrambleFrameE { SCRAMBLE_FRAME_I = 0, SCRAMBLE_FRAME_P = 1 } SCRAMBLE_FRAME_E;

/** DRV_SCRAMBLE_CFG_S::ulFormat. */
typedef enum tagScrambleFormatE { SCRAMBLE_FORMAT_H264 = 0, SCRAMBLE_FORMAT_H265 = 1 } SCRAMBLE_FORMAT_E;

/** Sizes of a scrambled frame. */
enum : ULONG_32 {
    SCRAMBLE_FRAME_MAX = 1000000, /**< frames of this size and above are not handled */
    SCRAMBLE_CLEAR_LEN = 16,      /**< bytes of a slice, its header on, that stay clear */
};

extern "C" {

/**
 * Restores a frame of the kind that the key record says.
 * @param pulStreamLen in: bytes of the frame; out: bytes left of it
 * @return 0; 1 when it is no frame of that kind, or a null pointer, and then nothing has changed
 */
MODULE_API ULONG_32 Enc_Descramble(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg);

/**
 * Restores a key frame and removes the units that carried the key. A slice with 16 bytes or less has nothing to
 * restore.
 * @param pucBuff not needed, since the work is done in place; may be null
 * @return 0; 1 without a slice of the kind or with SCRAMBLE_FRAME_MAX bytes and more
 */
MODULE_API ULONG_32 Descramble_TypeIFrame(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg,
                                          UCHAR *pucBuff);
/** The same for a P frame, which carries no key. */
MODULE_API ULONG_32 Descramble_TypePFrame(ULONG *pulStreamLen, UCHAR *pucInbuf, DRV_SCRAMBLE_CFG_S *pstCfg,
                                          UCHAR *pucBuff);

/** @name Removal of the one unit of its kind that begins in the first 1000 bytes. @return 0; 1 when there is none */
/** @{ */
MODULE_API ULONG_32 Descramble_H264RemoveKeySei(ULONG *pulStreamLen, UCHAR *pucInbuf);
MODULE_API ULONG_32 Descramble_H264RemoveRandSei(ULONG *pulStreamLen, UCHAR *pucInbuf);
MODULE_API ULONG_32 Descramble_H265RemoveKeySei(ULONG *pulStreamLen, UCHAR *pucInbuf);
MODULE_API ULONG_32 Descramble_H265RemoveRandSei(ULONG *pulStreamLen, UCHAR *pucInbuf);
/** @} */

}  // extern "C"

#endif
