#include <stdio.h>
#include <threads.h>
#include <player_sdk_func.h>

static void OnLog(ULONG_32 level, ULONG_32 code, ULONG_32 module, const CHAR *file, ULONG_32 line, const CHAR *text) {}
static void OnPicture(ULONG_32 port, PLAYER_PICTURE_DATA_S *picture, void *count, LONG_REAL zero) { ++*(int *)count; }

int main(int argc, char **argv) {
    static UCHAR packet[65536];
    ULONG_32 port, frames, slots = 1;
    int pictures = 0, high;
    FILE *capture = argc > 1 ? fopen(argv[1], "rb") : NULL;
    Zelvane_SetWriteLogCB(OnLog); /* before Zelvane_Init(), or the library opens log files of its own */
    if (!capture || !Zelvane_Init() || !Zelvane_AllocPort(&port) || !Zelvane_OpenInputStream(port, 0, 0, 0)) return 1;
    Zelvane_SetDecodeVideoMediaDataCB(port, OnPicture, 1, &pictures);
    /* with a window: Zelvane_StartPlay(port, (HANDLE)window); with sound: Zelvane_OpenSound(port); */
    while ((high = getc(capture)) != EOF) { /* 16-bit big-endian length, RTP packet */
        ULONG_32 length = (ULONG_32)(high << 8 | getc(capture));
        if (fread(packet, 1, length, capture) == length) Zelvane_InputMediaData(port, packet, length);
    }
    while (slots && Zelvane_GetPacketQueueStart(port, &frames, &slots)) thrd_sleep(&(struct timespec){0, 5000000}, 0);
    Zelvane_CloseInputStream(port); /* waits for the decode thread: nothing touches `pictures` any more */
    printf("%d pictures\n", pictures);
    Zelvane_Cleanup(); /* frees the port too */
}
