// Player_RecvPacketEx over a TCP stream that arrives in pieces: of each two bytes in front of a piece one is its
// length, the other tells what becomes of the frames found in it.
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "zelvane_modules.h"

namespace {

void Require(bool good) {
    if (!good) {
        abort();
    }
}

/** One connection and one port for all runs. The port's wake is always signalled, so that no read waits. */
struct Stream {
    int near;
    int far;
    int wake;
    PLAEYR_PORT_S *port;

    Stream() {
        int fds[2];
        Require(socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0);
        near = fds[0];
        far = fds[1];
        wake = eventfd(0, EFD_NONBLOCK);
        port = static_cast<PLAEYR_PORT_S *>(calloc(1, sizeof(PLAEYR_PORT_S)));
        port->pcRecvDataAddr = static_cast<CHAR *>(malloc(NET_TCP_BUFFER_SIZE));
        port->pcRecvDataTmpAddr = static_cast<CHAR *>(malloc(NET_TCP_BUFFER_SIZE));
        port->stNetInfo.stSocket = near;
        port->stSourceWake.lHandle = wake + 1;
    }

    void Begin() {
        char rest[4096];
        while (recv(near, rest, sizeof(rest), MSG_DONTWAIT) > 0) {
        }
        port->ulRecvDataLen = 0;
        port->ulRecvDataTmpLen = 0;
    }
};

/** What the receiving thread does with a frame: takes it, or (the tap keeps the packets) looks at it once more. */
void TakeFrame(PLAEYR_PORT_S *port, bool tapKeeps) {
    const uint8_t *head = reinterpret_cast<const uint8_t *>(port->pcRecvDataAddr);
    const ULONG_32 length = static_cast<ULONG_32>(head[2] << 8 | head[3]);
    Require(head[0] == '$' && (head[1] == 0 || head[1] == 2));
    Require(length <= NET_READ_SIZE && port->ulRecvDataLen == length + 4);
    port->ulRecvDataLen = tapKeeps ? length : 0;
    memmove(port->pcRecvDataAddr, port->pcRecvDataAddr + 4, length);
}

/** Steps until the stream wants more bytes than there are. */
void StepThrough(Stream &stream, bool tapKeeps) {
    PLAEYR_PORT_S *port = stream.port;
    for (int idle = 0; idle < 3;) {
        const ULONG_32 before = port->ulRecvDataLen + port->ulRecvDataTmpLen;
        eventfd_write(stream.wake, 1);
        const ULONG_32 result = Player_RecvPacketEx(&port->stNetInfo, port);
        Require(result == PLAYER_ERR_OK || result == PLAYER_ERR_TCP_RECV);
        Require(port->ulRecvDataLen <= NET_TCP_BUFFER_SIZE && port->ulRecvDataTmpLen <= NET_TCP_BUFFER_SIZE);
        if (result == PLAYER_ERR_OK) {
            TakeFrame(port, tapKeeps);
        }
        idle = before == port->ulRecvDataLen + port->ulRecvDataTmpLen ? idle + 1 : 0;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static Stream stream;
    stream.Begin();
    while (size > 2) {
        const size_t wanted = data[0] * size_t{64} + 1;
        const bool tapKeeps = (data[1] & 1) != 0;
        const size_t length = wanted < size - 2 ? wanted : size - 2;
        Require(send(stream.far, data + 2, length, MSG_DONTWAIT) == static_cast<ssize_t>(length));
        StepThrough(stream, tapKeeps);
        data += 2 + length;
        size -= 2 + length;
    }
    return 0;
}
