/**
 * @file seal.h
 * @brief The camera's side of libZvRSA.so: closes what that opens. For zvcam and the tests; no part of the player.
 */
#ifndef ZELVANE_ADAPTERS_SEAL_SEAL_H
#define ZELVANE_ADAPTERS_SEAL_SEAL_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/**
 * Encrypts a message to a public RSA key, with PKCS #1 v1.5 padding (RFC 8017, 7.2). No two results are alike.
 * @return as many bytes as the modulus has; empty on failure
 */
std::vector<uint8_t> Seal_Rsa(std::span<const uint8_t> modulus, std::span<const uint8_t> exponent,
                              std::span<const uint8_t> message);

/** Encrypts 16 bytes by AES-256 in ECB; the key is the password, cut or filled with zeros to 32 bytes. */
std::vector<uint8_t> Seal_Block(const std::string &password, std::span<const uint8_t, 16> block);

#endif
