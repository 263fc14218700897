// The keys of ports: taken from messages, refused, changed.
#include <gtest/gtest.h>

#include <cstring>

#include "support/client.h"
#include "support/protection.h"

namespace {

const Bytes kSlice = {0, 0, 0, 1, 0x65, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22};

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
    /** Works on a frame whose messages set these bits. */
    ULONG_32 Work(ULONG_32 (*work)(PLAEYR_PORT_S *), ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) {
        m_frame = kSlice;
        m_frame[4] = type == PLAYER_VIDEO_FRAME_I ? 0x65 : 0x41;
        m_record->stFrameData.pucData = m_frame.data();
        m_record->stFrameData.lDataLen = static_cast<LONG_32>(m_frame.size());
        m_record->stFrameData.lPayload = PLAYER_PAYLOAD_H264;
        m_record->stFrameData.lFormatType = type;
        m_record->stSeiInfo.ulSeiType = bits;
        return work(m_record);
    }
    ULONG_32 Live(ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) { return Work(Player_ScrambleWork, bits, type); }
    ULONG_32 File(ULONG_32 bits, int type = PLAYER_VIDEO_FRAME_I) { return Work(Player_FileScrambleWork, bits, type); }
    bool Restored() const { return !std::equal(kSlice.begin() + 5, kSlice.end(), m_frame.begin() + 5); }
    void SetLiveKey(const Bytes &sealed) {
        SEI_SCRAMBLE_INFO_S &messages = m_record->stSeiInfo.stScramble;
        std::copy(sealed.begin(), sealed.end(), messages.szKeyMRsa);
        messages.lKeyMRsaLen = static_cast<LONG_32>(sealed.size());
    }
    bool SetPassword(const std::string &password) {
        std::string copy = password;
        return Zelvane_SetFilePassword(m_port, copy.data(), static_cast<LONG_32>(copy.size()));
    }
    void SetFileKey(const std::string &password, const std::string &block) {
        Bytes bytes(block.begin(), block.end());
        bytes.resize(16);
        const Bytes sealed = Seal_Block(password, std::span<const uint8_t, 16>(bytes.data(), 16));
        memcpy(m_record->stSeiInfo.stScramble.szFileKeyM, sealed.data(), 16);
        m_record->stSeiInfo.stScramble.lFileKeyMLen = 16;
    }

    support::Library m_library;
    ULONG_32 m_port = 0;
    PLAEYR_PORT_S *m_record = nullptr;
    Bytes m_frame;
};

const ULONG_32 kBoth = SEI_TYPE_SCRAMBLE_KEY | SEI_TYPE_SCRAMBLE_RAND;
const ULONG_32 kFileBoth = SEI_TYPE_FILE_KEY | SEI_TYPE_SCRAMBLE_RAND;
const uint8_t kMaster[] = {0x11, 0x22, 0x33, 0x44};

}  // namespace

TEST_F(ScrambleWork, AKeyIsMadeOnceAndLivesUntilAMessageChangesIt) {
    SetLiveKey(support::SealTo(support::BuiltInKey(), kMaster));
    m_record->stSeiInfo.stScramble.ulRand = 0x01020304;
    EXPECT_EQ(Live(SEI_TYPE_UCODE, PLAYER_VIDEO_FRAME_P), 0U);
    EXPECT_FALSE(Restored()) << "no key yet";
    EXPECT_EQ(Live(kBoth | SEI_TYPE_UCODE), 0U);
    EXPECT_TRUE(Restored());
    EXPECT_EQ(m_record->stSeiInfo.ulSeiType, ULONG_32{SEI_TYPE_UCODE});
    const HANDLE key = m_record->hScrambleKey;
    static_cast<DRV_SCRAMBLE_CFG_S *>(key)->ucSubVersion = 99;  // tells this object from another at its address
    EXPECT_EQ(Live(kBoth), 0U);
    EXPECT_EQ(Live(0, PLAYER_VIDEO_FRAME_P), 0U);
    EXPECT_TRUE(Restored());
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(m_record->hScrambleKey)->ucSubVersion, 99);
    m_record->stSeiInfo.stScramble.ulRand++;
    EXPECT_EQ(Live(kBoth), 0U);
    EXPECT_EQ(static_cast<DRV_SCRAMBLE_CFG_S *>(m_record->hScrambleKey)->ulRand, 0x01020305U);
    EXPECT_EQ(memcmp(m_record->stScrambleInfo.szKeyM, kMaster, 4), 0);
    EXPECT_EQ(Live(0), 0U) << "clear from this key frame on";
    EXPECT_EQ(Live(0, PLAYER_VIDEO_FRAME_P), 0U);
    EXPECT_FALSE(Restored());
}

TEST_F(ScrambleWork, WhatGivesNoKeyIsRefused) {
    const Bytes sealed = support::SealTo(support::BuiltInKey(), kMaster);
    Bytes damaged = sealed, cut(sealed.begin(), sealed.end() - 1);
    damaged[50] ^= 1;
    const struct { Bytes key; ULONG_32 bits, result; } rows[] = {
        {sealed, SEI_TYPE_SCRAMBLE_RAND, 544}, {sealed, SEI_TYPE_SCRAMBLE_KEY, 544}, {damaged, kBoth, 544},
        {cut, kBoth, 544},                     {{}, kBoth, 544},                     {sealed, kBoth, 0}};
    for (const auto &row : rows) {
        SetLiveKey(row.key);
        EXPECT_EQ(Live(row.bits), row.result) << row.key.size() << ", bits " << row.bits;
        EXPECT_EQ(Restored(), row.result == 0);
    }
    EXPECT_EQ(m_record->stScrambleInfo.ulErrCount, 3U);
    EXPECT_EQ(m_library.LinesWith("KeyM Sei not Find"), 1U);
    EXPECT_EQ(m_library.LinesWith("Rand Sei not Find"), 1U);
    m_record->stFrameData.lPayload = PLAYER_PAYLOAD_JPEG;
    EXPECT_EQ(Player_ScrambleWork(m_record), 0U);
}

TEST_F(ScrambleWork, AFrameWithoutASliceIsCounted) {
    SetLiveKey(support::SealTo(support::BuiltInKey(), kMaster));
    EXPECT_EQ(Live(kBoth), 0U);
    m_record->stFrameData.lFormatType = PLAYER_VIDEO_FRAME_P;
    EXPECT_EQ(Player_ScrambleWork(m_record), 0U) << "a key picture's bytes under a P frame's name";
    EXPECT_EQ(m_record->stScrambleInfo.ulErrCount, 1U);
}

TEST_F(ScrambleWork, APasswordOpensAFile) {
    const std::string word = "Master" + std::string(58, 'x'), block("\x11\x22\x33\x44", 4);
    SetFileKey(word, block);
    EXPECT_EQ(File(kFileBoth), 543U) << "no password";
    ASSERT_TRUE(SetPassword("wrong"));
    EXPECT_EQ(File(kFileBoth), 543U);
    ASSERT_TRUE(SetPassword(word + "what is behind 64 characters"));
    EXPECT_EQ(m_record->stScrambleInfo.lUserPassWordLen, 64);
    EXPECT_EQ(File(kFileBoth), 0U);
    EXPECT_TRUE(Restored());
    EXPECT_EQ(m_record->stSeiInfo.ulSeiType, ULONG_32{SEI_TYPE_SCRAMBLE_RAND});
    EXPECT_EQ(File(0, PLAYER_VIDEO_FRAME_P), 0U);
    EXPECT_TRUE(Restored()) << "a P frame's messages say nothing";
    EXPECT_EQ(memcmp(m_record->stScrambleInfo.szKeyM, kMaster, 4), 0);
    ASSERT_TRUE(SetPassword("another"));
    EXPECT_EQ(File(kFileBoth), 543U) << "what the old password opened is forgotten";
    EXPECT_EQ(File(SEI_TYPE_FILE_KEY), 0U);
    EXPECT_FALSE(Restored()) << "without a random number the file is clear";
}

TEST_F(ScrambleWork, TheExportedCallsRefuseNonsense) {
    CHAR text[] = "abc";
    const auto last = [](BOOL_T result) { return result ? 0U : Zelvane_GetLastError(); };
    EXPECT_EQ(last(Zelvane_SetFilePassword(m_port, text, -1)), 2U);
    EXPECT_EQ(last(Zelvane_SetFilePassword(m_port, nullptr, 3)), 2U);
    EXPECT_EQ(last(Zelvane_SetFilePassword(m_port, nullptr, 0)), 0U);
    EXPECT_EQ(last(Zelvane_SetFilePassword(256, text, 3)), 259U);
    EXPECT_EQ(last(Zelvane_SetRsaKey(nullptr)), 2U);
    EXPECT_EQ(last(Zelvane_GetRsaKey(nullptr)), 2U);
    PLAYER_RSA_INFO_S key = support::BuiltInKey();
    EXPECT_EQ(key.ulBit, 1024U);
    EXPECT_EQ(strlen(key.cN) + strlen(key.cPri), 512U);
    EXPECT_EQ(strlen(key.cQP), 128U);
}
