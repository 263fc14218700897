/** Read-only bytes. */
#ifndef TOOLS_BYTES_H
#define TOOLS_BYTES_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace tools {

using Bytes = std::span<const uint8_t>;

}  // namespace tools

#endif
