// The calls of analytics, fisheye and PTZ as a client meets them.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/client.h"

using support::Library;

namespace {

struct Call {
    const char *name;
    std::function<BOOL_T(ULONG_32)> call;
    const char *entry; /**< line on entry, for port 256; null for a quiet one */
};

std::vector<Call> Calls() {
    static PLAYER_POINT_S point = {3, 4};
    static ULONG_32 number;
    return {
        {"Zelvane_SetIVAEnable", [](ULONG_32 port) { return Zelvane_SetIVAEnable(port, 1); },
         "Port[256] Call Zelvane_SetIVAEnable, bAble:[%d]."},
        {"Zelvane_SetIVAShowParamEx", [](ULONG_32 port) { return Zelvane_SetIVAShowParamEx(port, 7, 0); },
         "Port[256] Call Zelvane_SetIVAShowParamEx, bFlag:[%d]."},
        {"Zelvane_SetOSDStyle", [](ULONG_32 port) { return Zelvane_SetOSDStyle(port, 2); },
         "Port[256] Call Zelvane_SetOSDStyle, Style:[%d]."},
        {"Zelvane_EnableTargetTag", [](ULONG_32 port) { return Zelvane_EnableTargetTag(port, 1, 0, 1); },
         "Call Port[256] Zelvane_EnableTargetTag, State[1, 0, 1]."},
        {"Zelvane_EnableIvaOsd", [](ULONG_32 port) { return Zelvane_EnableIvaOsd(port, 1); },
         "Call Port[256] Zelvane_EnableIvaOsd, State[1]."},
        {"Zelvane_GetFishEyeParam",
         [](ULONG_32 port) { return Zelvane_GetFishEyeParam(port, &point, &number, nullptr); },
         "Port[256] Call Zelvane_GetFishEyeParam."},
        {"Zelvane_SetPtzAndFixMode", [](ULONG_32 port) { return Zelvane_SetPtzAndFixMode(port, 3, 1); },
         "Call Port[256] Zelvane_SetPtzAndFixMode, PtzMode:[3] FixMode:[1]."},
        {"Zelvane_GetPtzAndFixMode", [](ULONG_32 port) { return Zelvane_GetPtzAndFixMode(port, &number, &number); },
         "Port[256] Call Zelvane_GetPtzAndFixMode."},
        {"Zelvane_SetPtzDisplayMode", [](ULONG_32 port) { return Zelvane_SetPtzDisplayMode(port, 1); },
         "Port[256] Call Zelvane_SetPtzDisplayMode, PtzMode:[%d]."},
        {"Zelvane_SetPtzKeepAliveTime", [](ULONG_32 port) { return Zelvane_SetPtzKeepAliveTime(port, 9); },
         "Port[256] Call Zelvane_SetPtzKeepAliveTime, ulKeepAliveTime:[%d]."},
        {"Zelvane_OnMouseMove", [](ULONG_32 port) { return Zelvane_OnMouseMove(port, 1, point); }, nullptr},
        {"Zelvane_OnLButtonDown", [](ULONG_32 port) { return Zelvane_OnLButtonDown(port, 1, point); }, nullptr},
        {"Zelvane_OnLButtonUp", [](ULONG_32 port) { return Zelvane_OnLButtonUp(port, 1, point); }, nullptr},
        {"Zelvane_OnMouseWheel", [](ULONG_32 port) { return Zelvane_OnMouseWheel(port, 1, -2, point); }, nullptr},
    };
}

}  // namespace

TEST(AnalyticsCalls, OnPortsThatAreThereAndOthers) {
    Library library;
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    for (const Call &call : Calls()) {
        EXPECT_TRUE(call.call(port)) << call.name;
        Library::ForgetLines();
        EXPECT_FALSE(call.call(256)) << call.name;
        EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT)) << call.name;
        EXPECT_EQ(Library::LinesWith(std::string(call.name) + " Get Port[256] Failed."), 1U) << call.name;
        EXPECT_EQ(Library::LinesWith(call.entry != nullptr ? call.entry : call.name), 1U) << call.name;
        if (std::string(call.name) != "Zelvane_SetIVAShowParamEx") {  // which asks for no port
            EXPECT_FALSE(call.call(200)) << call.name;
            EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT)) << call.name;
        }
    }
    EXPECT_EQ(Library::LinesWith("Call Port[200] Zelvane_OnMouseWheel Failed, Flag:[1], Delta:[-2], Point[3-4], "
                                 "Error:[0x103]."),
              1U);
    Zelvane_EnableTargetTag(200, 1, 1, 1);
    EXPECT_EQ(Library::LinesWith("Get port[200] fail"), 1U);
    EXPECT_EQ(Library::LinesWith("Call Port[200] Zelvane_EnableTargetTag Failed, Player_EnableTargetTag Failed, "
                                 "Error[0x103]."),
              1U);
    Zelvane_FreePort(port);
}

TEST(AnalyticsCalls, OddResultsStay) {
    Library library;
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    EXPECT_EQ(Zelvane_IsFishEyeStream(port), 0);
    EXPECT_EQ(Library::LinesWith("Zelvane_IsFishEyeStream Return:(FALSE)."), 1U);
    EXPECT_EQ(Zelvane_IsFishEyeStream(200), PLAYER_ERR_PORT);
    EXPECT_EQ(Zelvane_IsFishEyeStream(256), 0);
    EXPECT_TRUE(Zelvane_SetIVAShowParam(5));
    EXPECT_TRUE(Zelvane_SetIVAShowParam(7));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT));
    PLAYER_POINT_S point = {7, 8};
    ULONG_32 number = 9;
    EXPECT_EQ(Zelvane_GetFishEyeParam(port, &point, nullptr, nullptr), PLAYER_ERR_PARAM);
    EXPECT_EQ(Zelvane_GetFishEyeParam(port, nullptr, &number, nullptr), PLAYER_ERR_PARAM);
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PORT)) << "no last error";
    EXPECT_EQ(Zelvane_GetFishEyeParam(port, &point, &number, nullptr), 1);
    EXPECT_EQ(7 + 8 + 9, point.usX + point.usY + static_cast<int>(number)) << "nothing is written";
    EXPECT_FALSE(Zelvane_GetPtzAndFixMode(port, nullptr, &number));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
    EXPECT_FALSE(Zelvane_FaceCorrectFunc("a", "b", nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_NOT_SUPPORT));
    EXPECT_FALSE(Zelvane_SetOSDStyle(port, 3));
    EXPECT_EQ(Zelvane_GetLastError(), static_cast<ULONG_32>(PLAYER_ERR_PARAM));
    Zelvane_FreePort(port);
}
