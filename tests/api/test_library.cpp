// Start and stop, the port table, last errors: through the public headers alone.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>
#include <vector>

#include "support/client.h"

using support::Library;

TEST(LibraryLife, CountsItsUsers) {
    EXPECT_EQ(Zelvane_GetVersion(), 0x00520502U);
    Library first;
    ASSERT_TRUE(Zelvane_Init());
    EXPECT_EQ(Zelvane_GetInitCount(), 2U);
    Zelvane_Cleanup();
    EXPECT_EQ(Zelvane_GetInitCount(), 1U);
    ULONG_32 port = 0;
    EXPECT_TRUE(Zelvane_AllocPort(&port)) << "one user is left";
    Zelvane_Cleanup();
    Zelvane_Cleanup();
    EXPECT_EQ(Zelvane_GetInitCount(), 0U) << "a cleanup too many changes nothing";
    EXPECT_FALSE(Zelvane_AllocPort(&port)) << "the library is off";
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
    ASSERT_TRUE(Zelvane_Init());
}

#ifndef ZELVANE_SANITIZED  // sanitizers need more address space than any limit leaves
TEST(LibraryLife, AStartThatFailsCountsNobody) {
    const pid_t child = fork();
    if (child == 0) {
        for (int i = 0; i < 10; ++i) {
            std::thread([] { pause(); }).detach();  // they hold the stacks that earlier threads left
        }
        const rlimit none = {0, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &none);  // no stack for another
        const BOOL_T started = Zelvane_Init();
        const ULONG_32 users = Zelvane_GetInitCount();
        const ULONG_32 error = Zelvane_GetLastError();
        _exit(started ? 1 : users != 0 ? 2 : error != PLAYER_ERR_INIT ? 3 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}
#endif

TEST(LibraryLife, EachInitForgetsLastErrors) {
    Library library;
    EXPECT_EQ(Zelvane_GetLastError(), 0U);
    EXPECT_FALSE(Zelvane_OpenSound(300));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT));
    std::thread([] { EXPECT_EQ(Zelvane_GetLastError(), 0U) << "each thread has its own"; }).join();
    ASSERT_TRUE(Zelvane_Init());
    EXPECT_EQ(Zelvane_GetLastError(), 0U);
    Zelvane_Cleanup();
}

TEST(PortTable, Holds256AndGoesRound) {
    Library library;
    std::set<ULONG_32> numbers;
    ULONG_32 port = 0;
    for (int i = 0; i < PLAYER_MAX_PORT_NUM; i++) {
        ASSERT_TRUE(Zelvane_AllocPort(&port));
        numbers.insert(port);
    }
    EXPECT_EQ(numbers.size(), size_t{PLAYER_MAX_PORT_NUM});
    EXPECT_FALSE(Zelvane_AllocPort(&port));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT));
    Zelvane_FreePort(7);
    Zelvane_FreePort(9);
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    const ULONG_32 other = 16 - port;
    EXPECT_TRUE(port == 7 || port == 9);
    Zelvane_FreePort(port);
    ULONG_32 next = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&next));
    EXPECT_EQ(next, other) << "a number just freed comes last";
    EXPECT_FALSE(Zelvane_AllocPort(nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
}

namespace {

struct Call {
    const char *name;
    std::function<BOOL_T(ULONG_32)> call;
};

/** A call of each wrapper form. */
std::vector<Call> PortCalls() {
    static LONG_32 number;
    static PLAYER_VIDEOADJUST_PARAM_S adjust;
    return {
        {"Zelvane_OpenInputStream", [](ULONG_32 port) { return Zelvane_OpenInputStream(port, nullptr, 0, 0); }},
        {"Zelvane_CloseInputStream", [](ULONG_32 port) { return Zelvane_CloseInputStream(port); }},
        {"Zelvane_InputMediaData",
         [](ULONG_32 port) { return Zelvane_InputMediaData(port, reinterpret_cast<const UCHAR *>("x"), 1); }},
        {"Zelvane_SetPacketBuffer", [](ULONG_32 port) { return Zelvane_SetPacketBuffer(port, 1000, 0); }},
        {"Zelvane_StartPlay", [](ULONG_32 port) { return Zelvane_StartPlay(port, nullptr); }},
        {"Zelvane_StopPlay", [](ULONG_32 port) { return Zelvane_StopPlay(port, nullptr); }},
        {"Zelvane_GetFrameRate", [](ULONG_32 port) { return Zelvane_GetFrameRate(port, &number); }},
        {"Zelvane_GetAdjust", [](ULONG_32 port) { return Zelvane_GetAdjust(port, &adjust); }},
        {"Zelvane_SetVideoCallBackMode", [](ULONG_32 port) { return Zelvane_SetVideoCallBackMode(port, 0); }},
    };
}

}  // namespace

TEST(PortCalls, RefuseNumbersOutOfRangeAndFreeOnes) {
    Library library;
    for (const Call &call : PortCalls()) {
        EXPECT_FALSE(call.call(PLAYER_MAX_PORT_NUM)) << call.name;
        EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT)) << call.name;
        EXPECT_EQ(Library::LinesWith(std::string(call.name) + " Get Port[256] Failed."), 1U) << call.name;
        if (std::string(call.name) != "Zelvane_CloseInputStream") {
            EXPECT_FALSE(call.call(200)) << call.name;
            EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT)) << call.name;
        }
    }
    EXPECT_TRUE(Zelvane_CloseInputStream(200)) << "nothing to close is success";
    Zelvane_FreePort(300);
    Zelvane_FreePort(200);
}

TEST(PortCalls, RefuseNullPointersAndWrongStates) {
    Library library;
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    const UCHAR byte = 0x47;
    LONG_32 number = 0;
    const std::vector<Call> wrong = {
        {"no stream is open", [&](ULONG_32 p) { return Zelvane_InputMediaData(p, &byte, 1); }},
        {"no output", [](ULONG_32 p) { return Zelvane_GetFrameRate(p, nullptr); }},
        {"one output of two", [&](ULONG_32 p) { return Zelvane_GetPictureSize(p, &number, nullptr); }},
        {"no parameters", [](ULONG_32 p) { return Zelvane_SetAdjust(p, 1, nullptr); }},
        {"no such mode", [](ULONG_32 p) { return Zelvane_SetPictureFluency(p, 5); }},
        {"no such control", [](ULONG_32 p) { return Zelvane_SetBufferCtrl(p, 2); }},
    };
    for (const Call &call : wrong) {
        EXPECT_FALSE(call.call(port)) << call.name;
        EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM)) << call.name;
    }
    ASSERT_TRUE(Zelvane_OpenInputStream(port, nullptr, 0, 0));
    EXPECT_FALSE(Zelvane_OpenInputStream(port, nullptr, 0, 0)) << "in use";
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
    EXPECT_FALSE(Zelvane_InputMediaData(port, nullptr, 5));
    EXPECT_TRUE(Zelvane_InputMediaData(port, nullptr, 0)) << "nothing to push is success";
}

TEST(Settings, LimitsAndOddities) {
    Library library;
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    EXPECT_FALSE(Zelvane_SetMaxDecChlNum(257));
    EXPECT_TRUE(Zelvane_SetMaxDecChlNum(256));
    EXPECT_FALSE(Zelvane_AbleGpuDecode(1));
    EXPECT_TRUE(Zelvane_AbleGpuDecode(0));

    EXPECT_TRUE(Zelvane_SetDeinterlaceMode(port, 1, static_cast<PLAYER_DEINTERLACEMODE_E>(9))) << "stored as it is";
    EXPECT_TRUE(Zelvane_SetPlaySoundChannel(port, 77));
    PLAYER_RECORD_FILES_NAME_INFO_S files = {5, nullptr};
    EXPECT_FALSE(Zelvane_GetRecordFiles(port, static_cast<PLAYER_RECORD_GET_FILENAME_POS_E>(7), &files))
        << "no list yet";
    EXPECT_EQ(files.ulFileCount, 5U);

    LONG_32 volume = 0;
    ASSERT_TRUE(Zelvane_SetSoundQuietStatus(port, 1));
    ASSERT_TRUE(Zelvane_SetSoundVolume(port, 50));
    ASSERT_TRUE(Zelvane_SetSoundQuietStatus(port, 0));
    EXPECT_TRUE(Zelvane_GetSoundVolume(port, &volume));
    EXPECT_EQ(volume, 50) << "a volume set while quiet is the one that comes back";
    ASSERT_TRUE(Zelvane_SetSoundQuietStatus(port, 1));
    ASSERT_TRUE(Zelvane_SetSoundQuietStatus(port, 1));
    ASSERT_TRUE(Zelvane_SetSoundQuietStatus(port, 0));
    EXPECT_TRUE(Zelvane_GetSoundVolume(port, &volume));
    EXPECT_EQ(volume, 0) << "quiet twice forgets the volume";
}
