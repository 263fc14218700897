/**
 * @file player_ext.h
 * @brief Extensions of the Zelvane player library: what a client may ask for beyond the functions of player_sdk_func.h.
 *
 * Everything here is off until it is asked for, so a client that doesn't know this header misses nothing. Results,
 * threads and lifetimes are as in player_sdk_func.h. Compiles alone as C11 and as C++20.
 */
#ifndef ZELVANE_PLAYER_EXT_H
#define ZELVANE_PLAYER_EXT_H

#include "player_sdk_func.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- cloud recordings ------------------------------------------------------------------------------------------- */

/**
 * Has the servers of cloud recordings verified, for the whole library, from the next connection on. By default they are
 * not: HTTPS then keeps others from listening, but not from posing as the server. With a CA file the server must show a
 * certificate for its host name that one of these CAs has issued; otherwise the segment is not fetched, the run message
 * PLAYER_ERR_HLS_CONNECT comes, and the log says why. May be called before Zelvane_Init(), from any thread.
 * @param pcCaFile file of CA certificates in PEM form, read by this call; null turns verification off again
 * @return 1; or 0 with PLAYER_ERR_FILE_NOT_FOUND for a file that can't be read or holds no certificate: what was set
 *         before stays
 */
ZELVANE_API BOOL_T ZelvaneExt_SetCloudCa(const CHAR *pcCaFile);

#ifdef __cplusplus
}
#endif

#endif
