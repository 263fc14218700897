// The sound device and its queue: what the device hears is what was pushed, one block a callback.
#include <gtest/gtest.h>

#include <SDL2/SDL.h>
#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "output/audioplay.h"
#include "support/log_lines.h"
#include "support/temp_dir.h"

namespace {

SDL_AudioSpec lastSpec;        // what the library last asked SDL for
std::atomic<bool> holdDevice;  // open the device but leave it paused, so that a test plays the device itself

template <class F>
F Real(F, const char *pcName) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, pcName));
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int SDL_OpenAudio(SDL_AudioSpec *pWanted, SDL_AudioSpec *pGot) {
    lastSpec = *pWanted;
    return Real(SDL_OpenAudio, "SDL_OpenAudio")(pWanted, pGot);
}
extern "C" __attribute__((visibility("default"))) void SDL_PauseAudio(int iPause) {
    Real(SDL_PauseAudio, "SDL_PauseAudio")(iPause || holdDevice);
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
        EXPECT_EQ(0u, Audio_OpenSound(hDevice));
        return hDevice;
    }
    static void Push(HANDLE hDevice, UCHAR ucFill, ULONG_32 ulLen) {
        std::vector<UCHAR> block(ulLen, ucFill);
        EXPECT_EQ(0u, Audio_AddSoundData(hDevice, block.data(), ulLen));
    }
    /** One callback of the device. */
    static std::vector<UCHAR> Hear(int iLen) {
        std::vector<UCHAR> heard(iLen, 0xee);
        lastSpec.callback(nullptr, heard.data(), iLen);
        return heard;
    }
    LogLines m_log;
};

TEST_F(AudioTest, DeviceIsAskedForInTheBlocksOfTheStream) {
    struct {
        ULONG_32 ulRate, ulChannels;
        LONG_32 lBlock;
        int iChannels, iSamples;
    } const cases[] = {{8000, 1, 320, 1, 160}, {48000, 2, 4096, 2, 1024}, {8000, 0, 320, 1, 160}};
    for (const auto &row : cases) {
        HANDLE hDevice = Create(row.ulRate, row.ulChannels, row.lBlock);
        ASSERT_EQ(0u, Audio_OpenSound(hDevice));
        EXPECT_EQ(static_cast<int>(row.ulRate), lastSpec.freq);
        EXPECT_EQ(0x8010, lastSpec.format);
        EXPECT_EQ(row.iChannels, lastSpec.channels);
        EXPECT_EQ(row.iSamples, lastSpec.samples);
        Audio_DestoryPlayDec(&hDevice);
        EXPECT_EQ(nullptr, hDevice);
    }
}

TEST_F(AudioTest, OneBlockACallbackAndSilenceWithout) {
    HANDLE hDevice = Open();
    UCHAR aucBlock[320];
    for (int i = 0; i < 320; i++) {
        aucBlock[i] = static_cast<UCHAR>(i * 7);
    }
    Audio_AddSoundData(hDevice, aucBlock, sizeof(aucBlock));
    std::vector<UCHAR> pushed(aucBlock, aucBlock + 320);
    memset(aucBlock, 0, sizeof(aucBlock));
    EXPECT_EQ(pushed, Hear(320)) << "the block is the decoder's no more once it is pushed";
    EXPECT_EQ(std::vector<UCHAR>(320, 0), Hear(320));
    Push(hDevice, 1, 640);
    EXPECT_EQ(std::vector<UCHAR>(320, 1), Hear(320)) << "a block longer than the device's buffer";
    EXPECT_EQ(std::vector<UCHAR>(320, 0), Hear(320)) << "its rest is not kept";
    Push(hDevice, 2, 100);
    Push(hDevice, 3, 100);
    std::vector<UCHAR> heard = Hear(320);
    EXPECT_EQ(2, heard[99]);
    EXPECT_EQ(0, heard[100]) << "two blocks in one callback";
    EXPECT_EQ(3, Hear(320)[0]);
    Audio_DestoryPlayDec(&hDevice);
}

TEST_F(AudioTest, EleventhBlockDropsTheFirst) {
    HANDLE hDevice = Open();
    for (UCHAR i = 1; i <= 11; i++) {
        Push(hDevice, i, 320);
    }
    EXPECT_EQ("SDL_AudioDateSize:[11].", LogLines::All().back().strText);
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
    EXPECT_EQ("SDL_AudioDateSize clear.", LogLines::All().back().strText);
    EXPECT_EQ(0, Hear(320)[0]);
    Audio_DestoryPlayDec(&hDevice);
    Audio_DestoryPlayDec(&hDevice);
    Audio_DestoryPlayDec(nullptr);
}

TEST_F(AudioTest, SecondDeviceIsRefusedAndLeavesTheFirstAlone) {
    HANDLE hFirst = Open();
    HANDLE hSecond = Create(8000, 1, 320);
    EXPECT_EQ(1u, Audio_OpenSound(hSecond));
    EXPECT_EQ(0u, LogLines::All().back().strText.find("SDL_Open_Audio Failed, Error:("));
    Audio_DestoryPlayDec(&hSecond);
    auto pfnStatus = reinterpret_cast<decltype(&SDL_GetAudioStatus)>(dlsym(RTLD_DEFAULT, "SDL_GetAudioStatus"));
    EXPECT_EQ(SDL_AUDIO_PAUSED, pfnStatus()) << "closed by a port that never had it";
    Audio_DestoryPlayDec(&hFirst);
    EXPECT_EQ(SDL_AUDIO_STOPPED, pfnStatus());
    hSecond = Open();
    Audio_DestoryPlayDec(&hSecond);
}

TEST_F(AudioTest, NullArgumentsAndWhatDoesNothing) {
    UCHAR aucBlock[4] = {};
    LONG_32 lVolume = 55;
    EXPECT_EQ(nullptr, Audio_CreatePlayDec(nullptr));
    EXPECT_EQ(533u, Audio_OpenSound(nullptr));
    EXPECT_EQ(533u, Audio_CloseSound(nullptr));
    EXPECT_EQ(533u, Audio_AddSoundData(nullptr, aucBlock, 4));
    EXPECT_EQ(533u, Audio_GetSoundVolume(nullptr, &lVolume));
    HANDLE hDevice = Create(8000, 1, 320);
    EXPECT_EQ(2u, Audio_AddSoundData(hDevice, nullptr, 4));
    EXPECT_EQ(0u, Audio_SetSoundVolume(hDevice, 7));
    EXPECT_EQ(0u, Audio_GetSoundVolume(hDevice, &lVolume));
    EXPECT_EQ(55, lVolume);
    EXPECT_EQ(nullptr, Audio_CreateCaptureDec(nullptr));
    EXPECT_EQ(7u, Audio_SetMicVolume(hDevice, 3));
    Audio_DestoryPlayDec(&hDevice);
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
    HANDLE hDevice = Open();
    std::string pushed;
    for (int iBlock = 0; iBlock < 40; iBlock++) {
        std::string block(320, 0);
        for (int i = 0; i < 320; i++) {
            block[i] = static_cast<char>(1 + (iBlock * 31 + i) % 200);
        }
        pushed += block;
        Audio_AddSoundData(hDevice, reinterpret_cast<UCHAR *>(block.data()), 320);
        std::this_thread::sleep_for(std::chrono::milliseconds(6));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    Audio_CloseSound(hDevice);
    Audio_DestoryPlayDec(&hDevice);
    const std::string written = ReadText(file);
    std::string heard;
    for (size_t i = 0; i + 320 <= written.size(); i += 320) {
        if (written[i] != 0) {
            heard += written.substr(i, 320);
        }
    }
    EXPECT_EQ(pushed, heard) << written.size() << " bytes in the file";
}

}  // namespace
