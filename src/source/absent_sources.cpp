<<<<<<< HEAD
// A source that this build can't open, so there is nothing of it to close.
#include "source/hls_port.h"

ULONG_32 Player_CloseHlsStream(ULONG_32) { return PLAYER_ERR_OK; }
=======
// Sources that this build can't open, so there is nothing of them to close.
#include "port/player_manager.h"
#include "source/voice.h"

namespace {
PLAYER_BROADCAST_INFO_S gstBroadcastInfo;
}

ULONG_32 Player_CloseVoiceSvc(ULONG_32) { return PLAYER_ERR_OK; }

void Player_BroadcastInit(void) {
    gstBroadcastInfo = {};
    for (ULONG_32 &ulPort : gstBroadcastInfo.aulPortArray) {
        ulPort = BROADCAST_PORT_FREE;
    }
}
>>>>>>> 5c90428 (Cloud recordings: playlists, fetches over HTTP and HTTPS, a bounded cache, and a port that plays from it)
