// When a port's key is made, kept and forgotten. That keys open streams is seen in the flow tests.
#include <gtest/gtest.h>

#include <cstring>

#include "support/client.h"
#include "support/protection.h"

namespace {

const uint8_t kMaster[] = {0x11, 0x22, 0x33, 0x44};

class ScrambleWork : public testing::Test {
 protected:
    ScrambleWork() {
        Zelvane_AllocPort(&m_port);
        m_record = Player_GetPort(m_port);
    }
    ~ScrambleWork() override {
        m_record->stFrameData = {};
        Zelvane_FreePort(m_port);
    }
    /** Works on a frame whose messages set these bits. @return its result, 1 for success without any work on the frame
     */
    ULONG_32 Work(ULONG_32 (*work)(PLAEYR_PORT_S *), ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) {
        Bytes frame(40, 7);
        memcpy(frame.data(), "\0\0\0\1", 4);
        frame[4] = type == PLAYER_VIDEO_FRAME_I ? 0x65 : 0x41;
        m_record->stFrameData = {frame.data(), 40, 0, PLAYER_PAYLOAD_H264, type};
        m_record->stSeiInfo.ulSeiType = bits;
        const ULONG_32 result = work(m_record);
        return result == 0 && frame[39] == 7 ? 1 : result;
    }
    ULONG_32 Live(ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) { return Work(Player_ScrambleWork, bits, type); }
    ULONG_32 File(ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) { return Work(Player_FileScrambleWork, bits, type); }
    ULONG_32 SetPassword(const char *password, LONG_32 length) {
        return Zelvane_SetFilePassword(m_port, const_cast<CHAR *>(password), length) ? 0 : Zelvane_GetLastError();
    }

    support::Library m_library;
    ULONG_32 m_port = 0;
    PLAEYR_PORT_S *m_record = nullptr;
};

const ULONG_32 kRand = SEI_TYPE_SCRAMBLE_RAND, kLiveKey = SEI_TYPE_SCRAMBLE_KEY, kFileKey = SEI_TYPE_FILE_KEY;

}  // namespace

TEST_F(ScrambleWork, AKeyIsMadeOnceAndLivesUntilAMessageChangesIt) {
    const Bytes sealed = support::SealTo(support::BuiltInKey(), kMaster);
    SEI_SCRAMBLE_INFO_S &messages = m_record->stSeiInfo.stScramble;
    std::copy(sealed.begin(), sealed.end(), messages.szKeyMRsa);
    for (const LONG_32 length : {127, 0, 130}) {
        messages.lKeyMRsaLen = length;
        EXPECT_EQ(Live(kLiveKey | kRand), 544U) << "not as long as the modulus: " << length;
    }
    messages.lKeyMRsaLen = 128;
    EXPECT_EQ(Live(0, PLAYER_VIDEO_FRAME_P), 1U) << "no key yet";
    EXPECT_EQ(Live(kLiveKey | kRand | SEI_TYPE_UCODE), 0U);
    EXPECT_EQ(m_record->stSeiInfo.ulSeiType, ULONG_32{SEI_TYPE_UCODE});
    static_cast<DRV_SCRAMBLE_CFG_S *>(m_record->hScrambleKey)->ucSubVersion = 99;  // tells it from one at its address
    EXPECT_EQ(Live(kLiveKey | kRand), 0U);
    EXPECT_EQ(Live(0, PLAYER_VIDEO_FRAME_P), 0U);
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(m_record->hScrambleKey)->ucSubVersion, 99);
    messages.ulRand++;
    EXPECT_EQ(Live(kLiveKey | kRand), 0U);
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(m_record->hScrambleKey)->ulRand, messages.ulRand);
    EXPECT_EQ(Live(kRand), 544U);
    EXPECT_EQ(Live(0), 1U) << "clear from this key frame on";
    EXPECT_EQ(Live(0, PLAYER_VIDEO_FRAME_P), 1U);
}

TEST_F(ScrambleWork, APasswordOpensAFileUntilAnotherIsSet) {
    const std::string word(64, 'x');
    uint8_t block[16] = {0x11, 0x22, 0x33, 0x44};
    memcpy(m_record->stSeiInfo.stScramble.szFileKeyM, Seal_Block(word, std::span<const uint8_t, 16>(block)).data(), 16);
    m_record->stSeiInfo.stScramble.lFileKeyMLen = 16;
    EXPECT_EQ(File(kFileKey | kRand), 543U) << "no password";
    EXPECT_EQ(SetPassword((word + "what is behind 64 characters").c_str(), 80), 0U);
    EXPECT_EQ(m_record->stScrambleInfo.lUserPassWordLen, 64);
    EXPECT_EQ(File(kFileKey | kRand), 0U);
    EXPECT_EQ(m_record->stSeiInfo.ulSeiType, kRand);
    EXPECT_EQ(File(0, PLAYER_VIDEO_FRAME_P), 0U) << "a P frame's messages say nothing";
    EXPECT_EQ(SetPassword("another", 7), 0U);
    EXPECT_EQ(File(kFileKey | kRand), 543U) << "what the old password opened is forgotten";
    EXPECT_EQ(File(kFileKey), 1U) << "without a random number the file is clear";
    EXPECT_EQ(SetPassword("abc", -1), 2U);
    EXPECT_EQ(SetPassword(nullptr, 3), 2U);
    EXPECT_FALSE(Zelvane_SetRsaKey(nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), 2U);
}
