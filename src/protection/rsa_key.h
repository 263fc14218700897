/**
 * @file rsa_key.h
 * @brief The process-wide RSA key that opens the key messages of live streams.
 */
#ifndef ZELVANE_PROTECTION_RSA_KEY_H
#define ZELVANE_PROTECTION_RSA_KEY_H

#include "codec/zvrsa.h"
#include "foundations/player_types.h"

/** Replaces the key, every field of it. Any thread. */
void RsaKey_Set(const PLAYER_RSA_INFO_S *pstRsaInfo);

/** The key in use: the built-in one until one was set. Any thread. */
PLAYER_RSA_INFO_S RsaKey_Get();

/** Whether a client has set a key in this process. */
bool RsaKey_IsSet();

/** The key in use in the form of the library that decrypts. */
RSA_INFO_S RsaKey_ForDecrypt();

#endif
