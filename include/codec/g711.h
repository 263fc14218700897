/**
 * @file g711.h
 * @brief Interface of libG711.so: G.711 (ITU-T G.711) in both laws.
 *
 * Compiles as C11 and as C++. The functions keep no state and may be called from any thread.
 */
#ifndef ZELVANE_CODEC_G711_H
#define ZELVANE_CODEC_G711_H

#include "player_public.h"

#define G711_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** The law flag. */
enum tagG711Law {
    G711_LAW_A = 0, /**< A-law */
    G711_LAW_MU = 1 /**< mu-law */
};

/**
 * Decodes to 16-bit PCM of the machine's byte order.
 * @param pucInput    one byte a sample
 * @param ulInputLen  bytes
 * @param pucOutput   receives two bytes for each input byte; any alignment
 * @param pulOutputLen receives the bytes written; what it holds on entry is not looked at
 * @param lLaw        tagG711Law
 * @return 0, or -1 for a null pointer or a length that cannot be doubled
 */
G711_API LONG_32 G711Decoder(const UCHAR *pucInput, ULONG_32 ulInputLen, UCHAR *pucOutput, ULONG_32 *pulOutputLen,
                             LONG_32 lLaw);

/**
 * Encodes 16-bit PCM of the machine's byte order.
 * @param pucInput    samples; any alignment
 * @param ulInputLen  bytes; an odd last byte is left out
 * @param pucOutput   receives one byte for each sample
 * @param pulOutputLen receives the bytes written; what it holds on entry is not looked at
 * @param lLaw        tagG711Law
 * @return 0, or -1 for a null pointer
 */
G711_API LONG_32 G711Encoder(const UCHAR *pucInput, ULONG_32 ulInputLen, UCHAR *pucOutput, ULONG_32 *pulOutputLen,
                             LONG_32 lLaw);

#ifdef __cplusplus
}
#endif

#endif
