// Real encoders' streams, scrambled and marked as cameras do it, on their whole road.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <thread>

#include "support/file_port.h"
#include "support/protection.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "zvcam/scrambler.h"
#include "zvcam/watermarker.h"

using support::FilePort;
using support::InputPort;
using support::Library;

namespace {

constexpr size_t kGroup = 25;  // frames from key frame to key frame

struct Coding {
    const char *name;
    AVCodecID codec;
    int payload;
    uint8_t rtp;
};
const Coding kH264 = {"h264_640x360_bf0.264", AV_CODEC_ID_H264, PLAYER_PAYLOAD_H264, support::RTP_PT_H264};
const Coding kH265 = {"h265_640x360.265", AV_CODEC_ID_HEVC, PLAYER_PAYLOAD_H265, support::RTP_PT_H265};

Bytes Load(const Coding &coding) {
    Bytes stream = ReadFile(MediaPath(coding.name));
    support::RewriteH265KeyUnits(&stream);
    return stream;
}

/** Units of an access unit without their start codes. */
std::vector<Span> Units(Span picture) {
    std::vector<Span> units = SplitUnits(picture);
    for (Span &unit : units) unit = unit.subspan(unit[2] == 1 ? 3 : 4);
    return units;
}

using Change = std::function<void(std::vector<Span> *units, size_t frame)>;

/** Each picture of a stream with long start codes, after something was done to its units. */
std::vector<Bytes> Pictures(Span stream, const Coding &coding, const Change &change) {
    std::vector<Bytes> pictures;
    for (const Span picture : SplitAccessUnits(stream, coding.codec)) {
        std::vector<Span> units = Units(picture);
        change(&units, pictures.size());
        Bytes &changed = pictures.emplace_back();
        for (const Span unit : units) {
            changed.insert(changed.end(), {0, 0, 0, 1});
            changed.insert(changed.end(), unit.begin(), unit.end());
        }
    }
    return pictures;
}

tools::RsaKey PublicKey() { return {support::FromHex(support::BuiltInKey().cN), {1, 0, 1}, {}, {}, {}, {}, {}, {}}; }

/** Each group has a key of its own. */
std::vector<Bytes> Scrambled(
    Span stream, const Coding &coding, const tools::RsaKey &key, const std::string &password,
    const Change &after = [](auto *, size_t) {}) {
    zvcam::Scrambler scrambler({key, password, 1, 1}, coding.codec == AV_CODEC_ID_HEVC);
    return Pictures(stream, coding, [&](std::vector<Span> *units, size_t frame) {
        EXPECT_TRUE(scrambler.Apply(units, frame % kGroup == 0)) << scrambler.Complaint();
        after(units, frame);
    });
}

void Push(InputPort *port, const std::vector<Bytes> &pictures, const Coding &coding) {
    support::RtpSender sender(coding.rtp);
    for (size_t i = 0; i < pictures.size(); ++i) {
        ASSERT_TRUE(port->PushAll(sender.VideoPackets(pictures[i], static_cast<uint32_t>(3600 * (i + 1)))));
    }
    port->Drain();
}

std::string WriteTsFile(const Scratch &folder, const std::vector<Bytes> &pictures, const Coding &coding) {
    const std::string path = folder.At("recording.ts");
    support::WriteTs(path, {coding.payload, {pictures.begin(), pictures.end()}, 3600}, nullptr, kGroup);
    return path;
}

/** Marked pictures; those of some groups are changed afterwards. */
std::vector<Bytes> Marked(
    const Coding &coding, const Change &after = [](auto *, size_t) {}) {
    zvcam::Watermarker marker("Gate 3", coding.codec == AV_CODEC_ID_HEVC);
    return Pictures(Load(coding), coding, [&](std::vector<Span> *units, size_t frame) {
        if (frame % kGroup == 0) {
            EXPECT_TRUE(marker.Apply(units));
        }
        after(units, frame);
    });
}

class Protected : public testing::Test {
 protected:
    Protected() {
        PLAYER_RSA_INFO_S key = support::BuiltInKey();
        Zelvane_SetRsaKey(&key);
    }
    Library m_library;
    Scratch m_folder;
};

class ProtectedStream : public Protected, public testing::WithParamInterface<Coding> {};
INSTANTIATE_TEST_SUITE_P(Codings, ProtectedStream, testing::Values(kH264, kH265),
                         [](const auto &info) { return info.param.codec == AV_CODEC_ID_HEVC ? "H265" : "H264"; });

/** A check whose file has a failed key frame at each group; `act` is called inside the first failure's log line. */
std::function<void()> actAtFailure;
void OnLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *text) {
    if (strstr(text, "MP4_GetPlayTime Failed") == nullptr || actAtFailure == nullptr) return;
    std::exchange(actAtFailure, nullptr)();
}

}  // namespace

TEST_P(ProtectedStream, LiveItDecodesToTheClearOnesPictures) {
    const Bytes clear = Load(GetParam());
    const std::vector<Bytes> pictures = Scrambled(clear, GetParam(), PublicKey(), "");
    InputPort port;
    Push(&port, pictures, GetParam());
    EXPECT_EQ(port.PictureMd5s(), ReferenceMd5s(clear, GetParam().codec));
    const std::vector<support::FileFrame> frames = port.Frames();
    ASSERT_EQ(frames.size(), pictures.size());
    EXPECT_EQ(frames[kGroup].data, pictures[kGroup]) << "a tap gets the frame as it came";
}

TEST_P(ProtectedStream, AFileIsOpenedByItsPassword) {
    const Bytes clear = Load(GetParam());
    const std::string path = WriteTsFile(m_folder, Scrambled(clear, GetParam(), {}, "secret"), GetParam());
    for (std::string password : {"secret", "wrong"}) {
        FilePort port;
        Zelvane_SetFilePassword(port.Number(), password.data(), static_cast<LONG_32>(password.size()));
        ASSERT_TRUE(port.Open(path));
        port.Play();
        ASSERT_TRUE(port.WaitForEnd());
        const std::vector<std::string> all = ReferenceMd5s(clear, GetParam().codec);
        EXPECT_EQ(port.PictureMd5s(), password == "secret" ? all : std::vector<std::string>());
    }
    EXPECT_EQ(m_library.LinesWith("Player_PrepareFrame Failed"), 3U) << "once a key frame";
}

TEST_F(Protected, AGroupWhoseKeyIsBadIsLeftOutAndTheNextOneShown) {
    const Bytes clear = Load(kH264);
    Bytes changed;
    const auto find = [](std::vector<Span> *units, uint8_t subtype) {
        return std::find_if(units->begin(), units->end(),
                            [&](Span unit) { return unit[0] == 6 && unit[1] == 5 && unit[3] == subtype; });
    };
    const std::function<void(std::vector<Span> *)> faults[] = {
        [&](std::vector<Span> *units) { units->erase(find(units, 36)); },
        [&](std::vector<Span> *units) { units->erase(find(units, 20)); },
        [&](std::vector<Span> *units) {
            const auto key = find(units, 36);
            changed.assign(key->begin(), key->end());
            changed[40] ^= 0x10;
            *key = changed;
        }};
    std::vector<std::string> expected = ReferenceMd5s(clear, kH264.codec);
    expected.erase(expected.begin() + kGroup, expected.begin() + 2 * kGroup);
    for (const auto &fault : faults) {
        Library::ForgetLines();
        InputPort port;
        Push(&port,
             Scrambled(clear, kH264, PublicKey(), "",
                       [&](std::vector<Span> *units, size_t frame) {
                           if (frame == kGroup) fault(units);
                       }),
             kH264);
        EXPECT_EQ(port.PictureMd5s(), expected);
        EXPECT_EQ(m_library.LinesWith("Player_PrepareFrame Failed"), 1U);
    }
    tools::RsaKey other = PublicKey();
    other.modulus[5] ^= 0x55;  // to encrypt, any odd number is a modulus
    InputPort port;
    Push(&port, Scrambled(clear, kH264, other, ""), kH264);
    EXPECT_EQ(port.PictureCount(), 0U) << "another camera's key";
}

TEST_F(Protected, ARecordingsChangedByteIsFoundAtItsTime) {
    std::string bytes;
    for (const Bytes &picture : Marked(kH264, [](std::vector<Span> *units, size_t frame) {
             if (frame == 0)
                 units->erase(std::find_if(units->begin(), units->end(), [](Span unit) { return unit[1] == 26; }));
         })) {
        bytes.append(picture.begin(), picture.end());
    }
    WriteFile(m_folder.At("marked.264"), bytes);
    const std::string path = m_folder.At("marked.mp4");
    ASSERT_TRUE(support::Ffmpeg("-r 25 -i '" + m_folder.At("marked.264") + "' -c copy", path));
    std::string file = ReadText(path);
    const Bytes third = Marked(kH264)[2 * kGroup];
    const std::vector<Span> units = Units(third);
    const size_t slice = file.find(std::string(units.back().begin(), units.back().begin() + 40));
    ASSERT_NE(slice, std::string::npos);
    FilePort port;
    const struct {
        size_t at;
        ULONG failures;
    } rows[] = {{0, 1}, {1, 2}, {31 * 128 + 32, 2}, {31 * 128 + 33, 1}};
    for (const auto &row : rows) {
        std::string changed = file;
        if (row.at > 0) changed[slice + row.at] ^= 1;
        WriteFile(path, changed);
        PLAYER_MARK_INFO_S info = {};
        ASSERT_TRUE(Zelvane_CheckMark(port.Number(), path.c_str(), &info));
        EXPECT_EQ(std::string(info.szMarkInfo, 6), "Gate 3");
        EXPECT_EQ(info.bHaveWaterMark, 1);
        ASSERT_EQ(info.ulUnmarkCount, row.failures) << row.at;
        EXPECT_EQ(info.pastUnmarkTimeList[0].ulState, ULONG_32{CHECK_STATE_NOMARK});
        if (row.failures > 1) {
            EXPECT_EQ(info.pastUnmarkTimeList[1].ulState, ULONG_32{CHECK_STATE_MISMARCH});
            EXPECT_EQ(info.pastUnmarkTimeList[1].ulPlayTime, 2U);
        }
        Zelvane_FreeMarkInfo(&info);
        EXPECT_EQ(info.pastUnmarkTimeList, nullptr);
    }
}

TEST_F(Protected, MarksOfH265InAnotherContainerHold) {
    const std::string path = WriteTsFile(m_folder, Marked(kH265), kH265);
    FilePort port;
    PLAYER_MARK_INFO_S info = {};
    ASSERT_TRUE(Zelvane_CheckMark(port.Number(), path.c_str(), &info));
    EXPECT_EQ(info.ulUnmarkCount, 0U);
    EXPECT_EQ(info.bHaveWaterMark, 1);
    Zelvane_FreeMarkInfo(&info);
    ASSERT_TRUE(port.Open(path)) << "the port is as it was";
    memset(&info, 0x5A, sizeof info);
    EXPECT_FALSE(Zelvane_CheckMark(port.Number(), path.c_str(), &info));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_EQ(info.bHaveWaterMark, 0x5A5A5A5A) << "a port in use: nothing is touched";
    port.Close();
    EXPECT_FALSE(Zelvane_CheckMark(port.Number(), m_folder.At("none.ts").c_str(), &info));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_FILE_OPEN});
    EXPECT_EQ(info.pastUnmarkTimeList, nullptr);
    Zelvane_FreeMarkInfo(nullptr);
}

TEST_F(Protected, ACancelAndAFreeEndACheck) {
    const std::string path = WriteTsFile(m_folder, Pictures(Load(kH264), kH264, [](auto *, size_t) {}), kH264);
    ULONG_32 ports[2] = {};
    Zelvane_AllocPort(&ports[0]);
    Zelvane_AllocPort(&ports[1]);
    Log_SetSysLogCB(OnLine);
    std::thread other;
    const std::function<void()> acts[] = {[&] {
                                              other = std::thread([&] {
                                                  EXPECT_FALSE(Zelvane_CheckMarkCancel(ports[0]));
                                                  EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_NOT_SUPPORT});
                                              });
                                          },
                                          [&] { other = std::thread([&] { Zelvane_FreePort(ports[1]); }); }};
    for (size_t i = 0; i < 2; ++i) {
        PLAYER_MARK_INFO_S info = {};
        actAtFailure = [&, i] {
            const PLAEYR_PORT_S *port = Player_GetPort(ports[i]);
            acts[i]();
            support::WaitUntil([&] { return word::Load(port->bStartCkeckMark) == 0; });
        };
        EXPECT_TRUE(Zelvane_CheckMark(ports[i], path.c_str(), &info));
        EXPECT_EQ(info.ulUnmarkCount, 1U) << i;
        other.join();
        Zelvane_FreeMarkInfo(&info);
    }
    Zelvane_FreePort(ports[0]);
    EXPECT_FALSE(Zelvane_CheckMarkCancel(ports[0]));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PORT});
}
