/**
 * @file hls_tls.h
 * @brief TLS of the segment fetch, and the one place where it is decided whether servers are verified.
 *
 * Servers are not verified unless the client names a CA file. Sessions are kept for a few hosts, so that the fetches
 * after the first one are spared most of a handshake; a change of the CA file forgets them.
 */
#ifndef ZELVANE_CLOUD_HLS_TLS_H
#define ZELVANE_CLOUD_HLS_TLS_H

#include "cloud/hls_wait.h"
#include "cloud/module_hls.h"

/**
 * Names the CA certificates by which servers are verified from the next connection on.
 * @param pcCaFile PEM file, read now; null verifies nobody
 * @return 0; PLAYER_ERR_FILE_NOT_FOUND when it can't be read or holds no certificate: nothing changes then
 */
ULONG_32 HlsTls_SetCa(const CHAR *pcCaFile);

/**
 * Makes a TLS connection of a connected socket that does not block.
 * @param ppCyassl for HlsTls_Close(); untouched after a failure
 * @param pbAgain  set after a failure that a kept session may have caused: it is forgotten, so try again with a new socket
 * @return 0; 1; PLAYER_ERR_HLS_CONNECT for a server that fails the verification; PLAYER_ERR_HLS_CANCELLED
 */
ULONG_32 HlsTls_Connect(const std::string &strHost, WYK_SOCKET_S stSocket, CYASSL **ppCyassl, bool *pbAgain,
                        const PLAYER_HLS_TYPE_INFO_S *pstInfos);

/** What came of a read or write. */
typedef enum tagHlsIoE {
    HLS_IO_DONE,       /**< some bytes, or all of a write */
    HLS_IO_END,        /**< the peer has closed */
    HLS_IO_WANT_READ,  /**< again once the socket can be read */
    HLS_IO_WANT_WRITE, /**< again once it can be written to */
    HLS_IO_FAILED
} HLS_IO_E;

/** Reads or writes once, without waiting. A poll of the socket doesn't show decrypted bytes that lie ready: read first. */
HLS_IO_E HlsTls_Read(CYASSL *pCyassl, void *pBuffer, ULONG_32 ulRoom, LONG *plLen);
HLS_IO_E HlsTls_Write(CYASSL *pCyassl, const void *pData, ULONG_32 ulLen);

/** Says goodbye, keeps the session for the next connection to this host, and releases the object. */
void HlsTls_Close(const std::string &strHost, CYASSL *pCyassl);

/** Forgets the sessions and gives the TLS library back. No connection may exist. */
void HlsTls_Cleanup();

#endif
