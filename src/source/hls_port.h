/**
 * @file hls_port.h
 * @brief Cloud recordings on a port.
 */
#ifndef ZELVANE_SOURCE_HLS_PORT_H
#define ZELVANE_SOURCE_HLS_PORT_H

#include "port/player_manager.h"

extern "C" {

MODULE_API ULONG_32 Player_CloseHlsStream(ULONG_32 ulPort);
}

#endif
