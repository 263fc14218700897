/**
 * @file key_der.h
 * @brief A key in hexadecimal text as the DER that crypto libraries read.
 */
#ifndef ZELVANE_ADAPTERS_ZVRSA_KEY_DER_H
#define ZELVANE_ADAPTERS_ZVRSA_KEY_DER_H

#include <cstdint>
#include <vector>

#include "codec/zvrsa.h"

/** RSAPrivateKey of RFC 8017, A.1.2; empty when a number is not hexadecimal text or the modulus has not unBit bits. */
std::vector<uint8_t> KeyDer_Write(const RSA_INFO_S &stKey);

#endif
