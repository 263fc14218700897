// A server's answer on its way into a file: any bytes in any pieces end as one of the told results, and no more is
// written than came.
//
// Input: a byte that says how the rest is cut into pieces, then what the server sends before it closes.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <thread>

#include "cloud/module_hls.h"
#include "foundations/com_log.h"
#include "source/hls_port.h"

namespace {

void Require(bool bTrue) {
    if (!bTrue) {
        abort();
    }
}

// A sink, so that the log lines are put together too.
void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** Sends pieces whose sizes follow from a seed, with a breath between them, so that reads see them apart. */
void SendInPieces(int iFd, const uint8_t *pucData, size_t ulSize, uint32_t ulSeed) {
    for (size_t ulAt = 0; ulAt < ulSize;) {
        ulSeed = ulSeed * 1664525U + 1013904223U;
        const size_t ulPiece = std::min<size_t>(ulSize - ulAt, 1 + (ulSeed >> 16) % ((ulSeed >> 28) != 0 ? 4096 : 16));
        if (send(iFd, pucData + ulAt, ulPiece, MSG_NOSIGNAL) < 0) {
            break;
        }
        ulAt += ulPiece;
        std::this_thread::yield();
    }
    close(iFd);
}

bool IsTold(ULONG_32 ulResult) {
    const ULONG_32 aulTold[] = {PLAYER_ERR_OK, PLAYER_ERR_FAILED, PLAYER_ERR_HLS_HTTP_STATUS,
                                PLAYER_ERR_HLS_HTTP_DENIED};
    return std::count(std::begin(aulTold), std::end(aulTold), ulResult) == 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *pucData, size_t ulSize) {
    static char acFile[1 << 20];
    if (ulSize == 0 || ulSize > sizeof(acFile)) {
        return 0;
    }
    Log_SetSysLogCB(DropLine);
    Player_SetMaxCache(100);
    int aiPair[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM, 0, aiPair) == 0);
    std::thread oServer(SendInPieces, aiPair[1], pucData + 1, ulSize - 1, pucData[0]);
    FILE *fp = fmemopen(acFile, sizeof(acFile), "wb");
    NET_STATEINFO_S stState = {};
    PLAYER_HLS_TYPE_INFO_S stInfos = {};
    stInfos.bStartDownload = 1;
    HLS_NODE_LIST liNodes(1);
    ULONG_32 ulResult = Hls_Socket_Recv(liNodes.begin(), aiPair[0], nullptr, &stState, &stInfos, fp);
    Require(IsTold(ulResult));
    Require(ftell(fp) >= 0 && static_cast<size_t>(ftell(fp)) < ulSize);
    fclose(fp);
    Hls_Socket_Close(liNodes.begin(), aiPair[0], nullptr);
    oServer.join();
    return 0;
}
