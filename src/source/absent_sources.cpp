// A source that this build can't open, so there is nothing of it to close.
#include "source/hls_port.h"

ULONG_32 Player_CloseHlsStream(ULONG_32) { return PLAYER_ERR_OK; }
