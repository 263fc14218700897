/**
 * @file hls_resolve.h
 * @brief Host names become addresses on threads of their own, which nobody has to wait for.
 */
#ifndef ZELVANE_CLOUD_HLS_RESOLVE_H
#define ZELVANE_CLOUD_HLS_RESOLVE_H

#include <sys/socket.h>

#include "cloud/hls_wait.h"

/** Threads that may hang in a resolver at a time; no name is looked up beyond that. */
inline constexpr ULONG_32 HLS_RESOLVER_MAX = 64;

/** The first address of a host; its port is left open. */
typedef struct tagHlsAddressS {
    struct sockaddr_storage stAddress;
    socklen_t ulLen;
} HLS_ADDRESS_S;

/** @return 0; PLAYER_ERR_HLS_CONNECT when the name has no address or no answer comes; PLAYER_ERR_HLS_CANCELLED */
ULONG_32 HlsResolve_Host(const std::string &strHost, HLS_ADDRESS_S *pstAddress, const PLAYER_HLS_TYPE_INFO_S *pstInfos);

#endif
