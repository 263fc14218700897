// The sound device and its queue: what the device hears is what was pushed, one block a callback.
#include <gtest/gtest.h>

#include <SDL2/SDL.h>
#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "output/audioplay.h"
#include "support/client.h"
#include "support/elapsed.h"
#include "support/temp_dir.h"

namespace {

SDL_AudioSpec lastSpec;  // what the library last asked SDL for; to be looked at once it plays
std::atomic<SDL_AudioCallback> lastCallback;
std::atomic<bool> holdDevice;  // open the device but leave it paused, so that a test plays the device itself
std::atomic<int> opens;
std::atomic<int> closingTime;  // milliseconds more than it takes

template <class F>
F Real(F, const char *pcName) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, pcName));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int SDL_OpenAudio(SDL_AudioSpec *pWanted, SDL_AudioSpec *pGot) {
    lastSpec = *pWanted;
    lastCallback = pWanted->callback;
    opens++;
    return Real(SDL_OpenAudio, "SDL_OpenAudio")(pWanted, pGot);
}
extern "C" __attribute__((visibility("default"))) void SDL_PauseAudio(int iPause) {
    Real(SDL_PauseAudio, "SDL_PauseAudio")(iPause || holdDevice);
}
extern "C" __attribute__((visibility("default"))) void SDL_CloseAudio() {
    std::this_thread::sleep_for(std::chrono::milliseconds(closingTime));
    Real(SDL_CloseAudio, "SDL_CloseAudio")();
}

namespace {

class AudioTest : public testing::Test {
 protected:
    void SetUp() override {
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        holdDevice = true;
        ASSERT_EQ(0u, Audio_Init());
    }
    void TearDown() override { Audio_Cleanup(); }
    static HANDLE Create(ULONG_32 ulRate, ULONG_32 ulChannels, LONG_32 lBlock) {
        AUDIO_DEC_PARAM_S param{ulRate, ulChannels, 16, lBlock};
        return Audio_CreatePlayDec(&param);
    }
    static HANDLE Open(LONG_32 lBlock = 320) {
        HANDLE hDevice = Create(8000, 1, lBlock);
        Start(hDevice);
        return hDevice;
    }
    /** Opens, and waits for the device, which may come later, until it plays. */
    static void Start(HANDLE hDevice) {
        EXPECT_EQ(0u, Audio_OpenSound(hDevice));
        EXPECT_TRUE(support::WaitUntil([&] {
            Push(hDevice, 9, 2);
            return lastCallback.load() != nullptr && Hear(2)[0] == 9;
        }));
        while (Hear(2)[0] != 0) {
        }
    }
    static void Push(HANDLE hDevice, UCHAR ucFill, ULONG_32 ulLen) {
        std::vector<UCHAR> block(ulLen, ucFill);
        EXPECT_EQ(0u, Audio_AddSoundData(hDevice, block.data(), ulLen));
    }
    /** One callback of the device. */
    static std::vector<UCHAR> Hear(int iLen) {
        std::vector<UCHAR> heard(iLen, 0xee);
        lastCallback.load()(nullptr, heard.data(), iLen);
        return heard;
    }
};

TEST_F(AudioTest, DeviceIsAskedForInTheBlocksOfTheStream) {
    struct {
        ULONG_32 ulRate, ulChannels;
        LONG_32 lBlock;
        int iChannels, iSamples;
    } const cases[] = {{8000, 1, 320, 1, 160}, {48000, 2, 4096, 2, 1024}, {8000, 0, 320, 1, 160}};
    for (const auto &row : cases) {
        HANDLE hDevice = Create(row.ulRate, row.ulChannels, row.lBlock);
        Start(hDevice);
        EXPECT_EQ(static_cast<int>(row.ulRate), lastSpec.freq);
        EXPECT_EQ(0x8010, lastSpec.format);
        EXPECT_EQ(row.iChannels, lastSpec.channels);
        EXPECT_EQ(row.iSamples, lastSpec.samples);
        Audio_DestoryPlayDec(&hDevice);
        EXPECT_EQ(nullptr, hDevice);
    }
}

TEST_F(AudioTest, BlocksOfAnyLengthFollowEachOtherAndSilenceThem) {
    HANDLE hDevice = Open();
    Push(hDevice, 1, 480);
    Push(hDevice, 2, 100);
    EXPECT_EQ(std::vector<UCHAR>(320, 1), Hear(320)) << "a block longer than the device's buffer";
    std::vector<UCHAR> heard = Hear(320);
    EXPECT_EQ(1, heard[159]) << "its rest";
    EXPECT_EQ(2, heard[160]);
    EXPECT_EQ(2, heard[259]);
    EXPECT_EQ(0, heard[260]) << "silence where the queue ends";
    EXPECT_EQ(std::vector<UCHAR>(320, 0), Hear(320));
    Audio_DestoryPlayDec(&hDevice);
    EXPECT_EQ(std::vector<UCHAR>(320, 0), Hear(320)) << "a device that nobody has";
}

TEST_F(AudioTest, TheDeviceBeneathOutlivesItsTakersWhileTheFormatStays) {
    HANDLE hDevice = Open();
    const int iOpens = opens;
    closingTime = 300;
    EXPECT_LT(ElapsedMs([&] { Audio_DestoryPlayDec(&hDevice); }), 20 * SANITIZED_SLOWDOWN);
    EXPECT_LT(ElapsedMs([&] {
                  hDevice = Create(8000, 1, 640);
                  Start(hDevice);
              }),
              200 * SANITIZED_SLOWDOWN);
    EXPECT_EQ(iOpens, opens) << "another length of the blocks";
    Audio_DestoryPlayDec(&hDevice);
    hDevice = Create(16000, 1, 640);
    EXPECT_LT(ElapsedMs([&] { EXPECT_EQ(0u, Audio_OpenSound(hDevice)); }), 100 * SANITIZED_SLOWDOWN)
        << "nobody waits for the other rate's device";
    Push(hDevice, 5, 640);
    EXPECT_EQ(0, Hear(320)[0]) << "sound of one rate on a device of another";
    EXPECT_TRUE(support::WaitUntil([&] { return opens == iOpens + 1 && Hear(320)[0] == 5; }));
    closingTime = 0;
    Audio_DestoryPlayDec(&hDevice);
    auto pfnStatus = reinterpret_cast<decltype(&SDL_GetAudioStatus)>(dlsym(RTLD_DEFAULT, "SDL_GetAudioStatus"));
    EXPECT_TRUE(support::WaitUntil([&] { return pfnStatus() == SDL_AUDIO_STOPPED; })) << "closed when unused";
}

TEST_F(AudioTest, EleventhBlockDropsTheFirst) {
    HANDLE hDevice = Open();
    for (UCHAR i = 1; i <= 11; i++) {
        Push(hDevice, i, 320);
    }
    for (UCHAR i = 2; i <= 11; i++) {
        EXPECT_EQ(i, Hear(320)[0]);
    }
    EXPECT_EQ(0, Hear(320)[0]);
    Audio_DestoryPlayDec(&hDevice);
}

TEST_F(AudioTest, DestroyingADeviceClearsTheQueueOfAll) {
    HANDLE hDevice = Open();
    HANDLE hOther = Create(8000, 1, 320);
    Push(hDevice, 1, 320);
    Push(hOther, 2, 320);
    Audio_DestoryPlayDec(&hOther);
    EXPECT_EQ(0, Hear(320)[0]);
    Audio_DestoryPlayDec(&hDevice);
    Audio_DestoryPlayDec(&hDevice);
}

TEST_F(AudioTest, SecondDeviceIsRefusedAndLeavesTheFirstAlone) {
    HANDLE hFirst = Open();
    HANDLE hSecond = Create(8000, 1, 320);
    EXPECT_EQ(1u, Audio_OpenSound(hSecond));
    Audio_DestoryPlayDec(&hSecond);
    auto pfnStatus = reinterpret_cast<decltype(&SDL_GetAudioStatus)>(dlsym(RTLD_DEFAULT, "SDL_GetAudioStatus"));
    EXPECT_EQ(SDL_AUDIO_PAUSED, pfnStatus()) << "closed by a port that never had it";
    Audio_DestoryPlayDec(&hFirst);
    hSecond = Open();
    Audio_DestoryPlayDec(&hSecond);
}

// The whole way, at the device's own pace: SDL's disk driver writes down what a loudspeaker would get.
TEST_F(AudioTest, FileOfTheDeviceHoldsThePushedSound) {
    Audio_Cleanup();
    TempDir dir;
    const std::string file = dir.At("sound");
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", file.c_str(), 1);
    setenv("SDL_DISKAUDIODELAY", "5", 1);
    holdDevice = false;
    Audio_Init();
    HANDLE hDevice = Create(8000, 1, 320);
    ASSERT_EQ(0u, Audio_OpenSound(hDevice));
    std::string pushed;
    for (int iBlock = 0; iBlock < 8; iBlock++) {  // no more than the queue holds, however late the device is
        std::string block(320, 0);
        for (int i = 0; i < 320; i++) {
            block[i] = static_cast<char>(1 + (iBlock * 31 + i) % 200);
        }
        pushed += block;
        Audio_AddSoundData(hDevice, reinterpret_cast<UCHAR *>(block.data()), 320);
    }
    std::string heard;
    support::WaitUntil([&] {
        heard = ReadText(file);
        heard.erase(std::remove(heard.begin(), heard.end(), '\0'), heard.end());  // silence in between
        return heard.size() >= pushed.size();
    });
    Audio_CloseSound(hDevice);
    Audio_DestoryPlayDec(&hDevice);
    EXPECT_EQ(pushed, heard);
}

}  // namespace
