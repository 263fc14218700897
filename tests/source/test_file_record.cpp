// A played file into the record ring.
#include <gtest/gtest.h>

#include "zelvane_modules.h"

// A head without its frame would make the next packet, whatever it is, the frame of that head.
TEST(FileRecord, AddsAHeadWithItsFrameOrNeither) {
    ULONG_32 number = 0;
    ASSERT_EQ(Player_AllocPort(&number), 0U);
    PLAEYR_PORT_S *port = Player_GetPort(number);
    const ULONG_32 slots = 12;
    for (const ULONG_32 free : {2U, 3U}) {  // a frame of two slots and its head need three
        ASSERT_EQ(QUEUE_InitPacketBuffer(&port->stRecordBufferQueue, RECORD_RING_SLOT, slots), 0U);
        CHAR filler[16] = {};
        for (ULONG_32 i = 0; i + 1 + free < slots; ++i) {
            ASSERT_EQ(QUEUE_AddPacketEx(filler, sizeof(filler), nullptr, &port->stRecordBufferQueue), 0U);
        }
        UCHAR frame[RECORD_RING_SLOT + 1] = {};
        port->ulBufferCtrl = 0;
        port->bStartRecord = 1;
        port->stFrameData.pucData = frame;
        port->stFrameData.lDataLen = sizeof(frame);
        ULONG_32 before = 0;
        ULONG_32 after = 0;
        QUEUE_GetCurPacketLen(&port->stRecordBufferQueue, &before);
        FileRecord_Add(port);
        QUEUE_GetCurPacketLen(&port->stRecordBufferQueue, &after);
        EXPECT_EQ(after - before, free == 3 ? 3U : 0U);
        port->bStartRecord = 0;
        port->stFrameData = {};
        QUEUE_DestroyPacketBuffer(&port->stRecordBufferQueue);
    }
    Player_FreePort(number);
}
