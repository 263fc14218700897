// The room's tests need ports 80 and 443, so they run in a network of their own. With "--fetch FOLDER PLAYLIST" the
// program is another process that shares a cache: it fetches until it is killed.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "player_sdk_func.h"
#include "support/cloud_server.h"

namespace {

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

int FetchUntilKilled(const char *folder, const char *playlist) {
    ULONG_32 port = 0;
    Zelvane_SetWriteLogCB(DropLine);
    if (!Zelvane_Init() || !Zelvane_SetCachePath(folder) || !Zelvane_AllocPort(&port) || !Zelvane_OpenHlsStream(port) ||
        !Zelvane_UpdatePlayInfo(port, playlist, 0)) {
        return 1;
    }
    for (;;) {
        pause();
    }
}

}  // namespace

int main(int argc, char **argv) {
    if (argc == 4 && strcmp(argv[1], "--fetch") == 0) {
        return FetchUntilKilled(argv[2], argv[3]);
    }
    support::EnterNetwork(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
