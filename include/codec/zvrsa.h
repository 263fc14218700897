/**
 * @file zvrsa.h
 * @brief Interface of libZvRSA.so: opens the key messages of scrambled streams, and the digest that keys are made with.
 *
 * Compiles as C11 and as C++. The functions keep no state and may be called from any thread.
 */
#ifndef ZELVANE_CODEC_ZVRSA_H
#define ZELVANE_CODEC_ZVRSA_H

#include "player_public.h"

#define ZVRSA_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/** Sizes, bytes. */
enum tagZvRsaLimits {
    ZVRSA_MD5_LEN = 16,     /**< an MD5 digest */
    ZVRSA_MAX_CIPHER = 130, /**< largest encrypted message, so 1040 bits of modulus */
    ZVRSA_MAX_PLAIN = 119,  /**< largest message in it */
    ZVRSA_ECB_BITS = 256,   /**< the one key size of ZvRSA_Decrypt_Ecb() */
    ZVRSA_ECB_BLOCK = 16,   /**< bytes that ZvRSA_Decrypt_Ecb() reads */
    ZVRSA_ECB_PLAIN = 4     /**< bytes that it writes */
};

/**
 * An RSA key pair. The big numbers are hexadecimal text in either case, leading zeros allowed, and end with a zero byte
 * or with their field.
 */
typedef struct tagZvRsaInfo {
    ULONG_32 unBit; /**< size of the modulus, bits: eight times its bytes */
    ULONG_32 unPub; /**< public exponent */
    CHAR cN[260];   /**< modulus */
    CHAR cPri[260]; /**< private exponent */
    CHAR cP[132];   /**< first prime */
    CHAR cQ[132];   /**< second prime */
    CHAR cDP[132];  /**< private exponent modulo cP - 1 */
    CHAR cDQ[132];  /**< private exponent modulo cQ - 1 */
    CHAR cQP[132];  /**< inverse of cQ modulo cP */
} RSA_INFO_S;

/**
 * Opens a message encrypted to the key by RSA with PKCS #1 v1.5 padding (RFC 8017, 7.2), so that a wrong key is told.
 * @param pstRsaInfo key
 * @param pucIn      unBit / 8 bytes
 * @param pucOut     receives the message; room for ZVRSA_MAX_PLAIN bytes
 * @return 0; 1 for a null pointer, a key that is none, and a message that the key does not open
 */
ZVRSA_API ULONG_32 ZvRSA_Decrypt(RSA_INFO_S *pstRsaInfo, const UCHAR *pucIn, UCHAR *pucOut);

/**
 * Opens a file's key message: one block of AES-256 in ECB. The key is the password, cut or filled with zeros to 32
 * bytes.
 * @param pucIn      ZVRSA_ECB_BLOCK bytes
 * @param pcPassword text
 * @param lBits      ZVRSA_ECB_BITS
 * @param pucOut     receives ZVRSA_ECB_PLAIN bytes
 * @return 0; 1 for a null pointer or another key size, and when the rest of the block is no padding: all 0x00 or all
 * 0x0C
 */
ZVRSA_API ULONG_32 ZvRSA_Decrypt_Ecb(const UCHAR *pucIn, const CHAR *pcPassword, LONG_32 lBits, UCHAR *pucOut);

/**
 * MD5 (RFC 1321).
 * @param pucData   data; may be null when there are none
 * @param ulLength  bytes
 * @param pucDigest receives ZVRSA_MD5_LEN bytes
 * @return 0; 1 for a null pointer
 */
ZVRSA_API ULONG_32 BP_MD5_Calc(const UCHAR *pucData, unsigned long ulLength, UCHAR *pucDigest);

#ifdef __cplusplus
}
#endif

#endif
