// Snapshots of ports that play: bitmaps exact, JPEG close to the picture, names, threads and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "support/client.h"
#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

using support::InputPort;
using support::Library;
using support::WaitUntil;

namespace {

/** A decoded picture: planes without padding. */
struct Planes {
    int width = 0;
    int height = 0;
    Bytes plane[3];
};

Planes LastPicture(Span stream, AVCodecID codec) {
    Planes last;
    ReferenceDecode(SplitAccessUnits(stream, codec), codec, [&last](const AVFrame &frame) {
        last.width = frame.width;
        last.height = frame.height;
        for (int i = 0; i < 3; ++i) {
            const int shift = i == 0 ? 0 : 1;
            last.plane[i].clear();
            for (int y = 0; y < frame.height >> shift; ++y) {
                const uint8_t *row = frame.data[i] + y * frame.linesize[i];
                last.plane[i].insert(last.plane[i].end(), row, row + (frame.width >> shift));
            }
        }
    });
    return last;
}

uint8_t Clamp(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

/** The bitmap that a picture makes, byte for byte. */
Bytes BitmapOf(const Planes &picture) {
    const uint32_t width = static_cast<uint32_t>(picture.width / 4 * 4);
    const uint32_t height = static_cast<uint32_t>(picture.height / 4 * 4);
    Bytes file = {'B', 'M'};
    const auto put = [&file](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            file.push_back(static_cast<uint8_t>(value >> 8 * i));
        }
    };
    for (const uint32_t value : {54 + width * height * 3, 0U, 54U, 40U, width, height}) {
        put(value, 4);
    }
    put(1, 2);
    put(24, 2);
    file.resize(54, 0);
    for (int y = static_cast<int>(height) - 1; y >= 0; --y) {
        for (int x = 0; x < static_cast<int>(width); ++x) {
            const size_t chroma = static_cast<size_t>(y / 2 * (picture.width / 2) + x / 2);
            const int luma = picture.plane[0][static_cast<size_t>(y * picture.width + x)];
            const int p = picture.plane[1][chroma] - 128;
            const int q = picture.plane[2][chroma] - 128;
            file.push_back(Clamp(luma + (359 * p >> 8)));
            file.push_back(Clamp(luma - (11 * q >> 5) - (183 * p >> 8)));
            file.push_back(Clamp(luma + (227 * q >> 7)));
        }
    }
    return file;
}

/** Luma of an image file, as ffmpeg decodes it. */
Bytes LumaOf(const std::string &path, const std::string &scratch) {
    const std::string command =
        "ffmpeg -v error -nostdin -y -i '" + path + "' -pix_fmt yuvj420p -f rawvideo '" + scratch + "'";
    return system(command.c_str()) == 0 ? ReadFile(scratch) : Bytes();
}

class Snapshot : public testing::Test {
 protected:
    /** Plays a stream to its last picture. */
    void Play(InputPort &port, const char *name, AVCodecID codec, uint8_t payloadType) {
        m_stream = ReadFile(MediaPath(name));
        if (codec == AV_CODEC_ID_HEVC) {
            support::RewriteH265KeyUnits(&m_stream);
        }
        ASSERT_TRUE(port.PushAll(support::PacketiseVideo(m_stream, codec, payloadType)));
        const size_t pictures = ReferenceMd5s(m_stream, codec).size();
        ASSERT_TRUE(WaitUntil([&] { return port.PictureMd5s().size() == pictures; }));
    }
    void PlayH264(InputPort &port) { Play(port, "h264_640x360_bf0.264", AV_CODEC_ID_H264, support::RTP_PT_H264); }

    bool Snap(ULONG_32 port, const std::string &name, ULONG_32 format) {
        return Zelvane_SnatchOnce(port, m_folder.At(name).c_str(), format, nullptr) != 0;
    }
    /** Files in the folder, sorted; takes them away. */
    std::vector<std::string> TakeFiles() {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(m_folder.At(""))) {
            if (entry.is_regular_file()) {
                names.push_back(entry.path().filename());
                std::filesystem::remove(entry.path());
            }
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    Library m_library;
    TempDir m_folder;
    Bytes m_stream;
};

TEST_F(Snapshot, ABitmapIsExactAndAJpegCloseToThePicture) {
    InputPort port;
    PlayH264(port);
    const Planes picture = LastPicture(m_stream, AV_CODEC_ID_H264);
    ASSERT_TRUE(Snap(port.Number(), "a", PLAYER_PIC_FORMATE_JPEG_AND_BMP));
    EXPECT_EQ(ReadFile(m_folder.At("a.bmp")), BitmapOf(picture));
    const Bytes luma = LumaOf(m_folder.At("a.jpg"), m_folder.At("raw"));
    ASSERT_EQ(luma.size(), picture.plane[0].size() * 3 / 2);
    EXPECT_GT(Psnr(Span(luma).first(picture.plane[0].size()), picture.plane[0]), 35);
}

TEST_F(Snapshot, SizesAreCutToMultiplesOfFour) {
    InputPort port;
    Play(port, "h265_642x362.265", AV_CODEC_ID_HEVC, support::RTP_PT_H265);
    ASSERT_TRUE(Snap(port.Number(), "odd/a.bmp", PLAYER_PIC_FORMATE_BMP)) << "the folder is made";
    EXPECT_EQ(ReadFile(m_folder.At("odd/a.bmp")), BitmapOf(LastPicture(m_stream, AV_CODEC_ID_HEVC)));
}

TEST_F(Snapshot, NamesGetTheExtensionOfTheirFormat) {
    const struct {
        const char *name;
        ULONG_32 format;
        std::vector<std::string> files;
    } cases[] = {
        {"pic.jpg", PLAYER_PIC_FORMATE_BMP, {"pic.jpg.bmp"}},
        {"pic.bmp", PLAYER_PIC_FORMATE_JPEG, {"pic.bmp.jpg"}},
        {"pic.jpeg", PLAYER_PIC_FORMATE_JPEG, {"pic.jpeg.jpg"}},
        {"pic.bmp", PLAYER_PIC_FORMATE_JPEG_AND_BMP, {"pic.bmp", "pic.jpg"}},
        {"p%s.d(1).jpg", PLAYER_PIC_FORMATE_JPEG, {"p%s.d(1).jpg"}},
    };
    InputPort port;
    PlayH264(port);
    for (const auto &test : cases) {
        EXPECT_TRUE(Snap(port.Number(), test.name, test.format));
        EXPECT_EQ(TakeFiles(), test.files);
    }
}

TEST_F(Snapshot, RefusalsHaveTheirCodesAndLines) {
    InputPort port;
    const auto code = [&](const std::string &name, ULONG_32 format) {
        return Snap(port.Number(), name, format) ? 0U : Zelvane_GetLastError();
    };
    EXPECT_EQ(code("a", PLAYER_PIC_FORMATE_JPEG), PLAYER_ERR_FAILED) << "no picture yet";
    EXPECT_EQ(Library::LinesWith("Player_NormalSnatchOnce: Yuv Data is Null."), 1U);
    PlayH264(port);
    EXPECT_EQ(code("a", PLAYER_PIC_FORMATE_MAX), PLAYER_ERR_PARAM);
    EXPECT_EQ(Library::LinesWith("Player_NormalSnatchOnce: File_SaveBmp Failed, Error:[0x2]."), 1U);
    EXPECT_EQ(code(std::string(255, 'n'), PLAYER_PIC_FORMATE_JPEG), PLAYER_ERR_FAILED) << "with .jpg too long a name";
    EXPECT_EQ(Library::LinesWith("File_SaveJpeg Failed, WYK_FileOpen Failed, Error[0x1]."), 1U);
    EXPECT_TRUE(TakeFiles().empty());
    EXPECT_FALSE(Zelvane_SnatchOnce(port.Number(), "/dev/full", PLAYER_PIC_FORMATE_MAX, nullptr));
    EXPECT_FALSE(Zelvane_SnatchOnce(port.Number(), nullptr, PLAYER_PIC_FORMATE_JPEG, nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PARAM);
    EXPECT_FALSE(Zelvane_SnatchOnceEx(PLAYER_MAX_PORT_NUM, "a", PLAYER_PIC_FORMATE_JPEG, 1));
    EXPECT_EQ(Zelvane_GetLastError(), PLAYER_ERR_PORT);
    port.Close();
    EXPECT_EQ(code("a", PLAYER_PIC_FORMATE_JPEG), PLAYER_ERR_FAILED) << "the picture went with the stream";
}

std::atomic<unsigned> reports{0};
std::atomic<ULONG_32> reported{0};

void TakeReport(ULONG_32, void *message) {
    const auto &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
    if (info.ulErrCode == PLAYER_RUN_SNATCH_DONE) {
        reported = info.ulReserved;
        reports++;
    }
}

TEST_F(Snapshot, AThreadReportsEachNameOnce) {
    InputPort port;
    reports = 0;
    Zelvane_SetPlayerRunMsgCB(TakeReport);
    const auto start = [&](const std::string &name) {
        return Zelvane_SnatchOnceEx(port.Number(), m_folder.At(name).c_str(), PLAYER_PIC_FORMATE_JPEG, 1) != 0;
    };
    const auto isReported = [](unsigned count) { return WaitUntil([count] { return reports == count; }); };
    EXPECT_TRUE(start("first.jpg"));
    ASSERT_TRUE(isReported(1));
    EXPECT_EQ(reported, ULONG_32{PLAYER_ERR_FAILED}) << "no picture yet";
    PlayH264(port);
    // The report is sent a moment before the thread counts as done.
    EXPECT_TRUE(WaitUntil([&] { return start("other.jpg") && reports == 2; }));
    EXPECT_EQ(reported, 0U);
    EXPECT_EQ(TakeFiles(), (std::vector<std::string>{"other.jpg"}));
    EXPECT_TRUE(start("other.jpg"));
    EXPECT_TRUE(WaitUntil([&] { return start("b.jpg") && reports >= 3; }));
    // Asked once more before the report came, the library may be at it again.
    EXPECT_TRUE(WaitUntil([&] { return !std::filesystem::exists(m_folder.At("b.jpg.jpg.temp")); }));
    EXPECT_EQ(TakeFiles(), (std::vector<std::string>{"b.jpg.jpg"})) << "the tail of the longer name stays";
    EXPECT_TRUE(WaitUntil([&] { return start(std::string(300, 'x')) && reports >= 4; })) << "cut, not overrun";
}

TEST_F(Snapshot, OpensAndClosesMayMeetSnapshots) {
    const std::vector<Bytes> packets =
        support::PacketiseVideo(ReadFile(MediaPath("h264_640x360_bf0.264")), AV_CODEC_ID_H264, support::RTP_PT_H264);
    ULONG_32 port = 0;
    ASSERT_TRUE(Zelvane_AllocPort(&port));
    std::atomic<bool> done{false};
    std::atomic<unsigned> saved{0};
    std::thread snapper([&] {
        for (unsigned i = 0; !done; ++i) {
            saved += Zelvane_SnatchOnce(port, m_folder.At("s").c_str(), i % 3, nullptr) != 0;
            Zelvane_SnatchOnceEx(port, m_folder.At("t" + std::to_string(i % 10)).c_str(), i % 3, 1);
        }
    });
    for (int round = 0; round < 8; ++round) {
        ASSERT_TRUE(Zelvane_OpenInputStream(port, nullptr, 0, 0));
        for (size_t i = 0; i < packets.size() / 2; ++i) {
            Zelvane_InputMediaData(port, packets[i].data(), static_cast<ULONG_32>(packets[i].size()));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(round % 4 * 5));
        EXPECT_TRUE(round < 7 || WaitUntil([&] { return saved != 0; })) << "a stream that stays has a picture";
        ASSERT_TRUE(Zelvane_CloseInputStream(port));
    }
    done = true;
    snapper.join();
    Zelvane_FreePort(port);
}

}  // namespace
