/** RSA keys in PEM files, as openssl writes them. */
#ifndef TOOLS_RSA_PEM_H
#define TOOLS_RSA_PEM_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/failure.h"

namespace tools {

/** The numbers of a key, highest byte first, without zeros in front. Of a public key the first two. */
struct RsaKey {
    std::vector<uint8_t> modulus, exponent, private_exponent, prime1, prime2, exponent1, exponent2, coefficient;
};

/**
 * Reads a key: PRIVATE KEY (RFC 5958), RSA PRIVATE KEY, PUBLIC KEY (RFC 5280) or RSA PUBLIC KEY (RFC 8017, A.1).
 * @param want_private a public key alone will not do
 * @return false with the failure filled; also for a modulus of more than the 1040 bits that the player takes
 */
bool ReadRsaPem(const std::string &path, bool want_private, RsaKey *key, Failure *failure);

}  // namespace tools

#endif
