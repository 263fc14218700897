/**
 * @file hls_response.h
 * @brief What the head of a server's answer says.
 */
#ifndef ZELVANE_CLOUD_HLS_RESPONSE_H
#define ZELVANE_CLOUD_HLS_RESPONSE_H

#include "foundations/player_types.h"

/** A head longer than this is given up. */
inline constexpr ULONG_32 HLS_HEAD_MAX = 4096;

/** What is known of an answer so far. */
typedef struct tagHlsResponseS {
    LONG_32 lContentLength; /**< bytes of the body; 0 when unknown */
    ULONG_32 ulBodyOffset;  /**< where the body begins */
} HLS_RESPONSE_S;

/**
 * Reads what has come of a head, from its start; called again with all of it when more has come. The whole first line
 * has to come in one piece, and a head without Content-Length, in this spelling, never ends.
 * @param pcHead bytes with a NUL behind them
 * @return 0 when the head is whole; PLAYER_ERR_NEED_MORE_DATA; 1 when it can't be read; PLAYER_ERR_HLS_HTTP_DENIED for
 *         401 and 403; PLAYER_ERR_HLS_HTTP_STATUS for all but 200
 */
ULONG_32 HlsResponse_ReadHead(const CHAR *pcHead, HLS_RESPONSE_S *pstResponse);

#endif
