/**
 * @file limits.h
 * @brief What a hostile stream may cost.
 */
#ifndef ZELVANE_ADAPTERS_LIMITS_H
#define ZELVANE_ADAPTERS_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace zv {

/** Largest picture, pixels: that of level 6.2 in both standards (8192 x 4352). */
constexpr int64_t kMaxPixels = 35651584;

/** Bytes that may be gathered for one picture. */
constexpr size_t kMaxPictureBytes = 0x2000000;

}  // namespace zv

#endif
