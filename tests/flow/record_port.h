// A pushed port that records, and independent readers of what it wrote.
#ifndef ZELVANE_TESTS_FLOW_RECORD_PORT_H
#define ZELVANE_TESTS_FLOW_RECORD_PORT_H

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "adapters/video_feed.h"
#include "support/client.h"
#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

/** The run messages of recordings, as "port code path". */
class RecordMessages {
 public:
    RecordMessages() {
        std::lock_guard guard(Mutex());
        Texts().clear();
        Zelvane_SetPlayerRunMsgCB(Take);
    }
    ~RecordMessages() { Zelvane_SetPlayerRunMsgCB(nullptr); }
    static std::vector<std::string> All() {
        std::lock_guard guard(Mutex());
        return Texts();
    }
    static std::string Text(ULONG_32 port, ULONG_32 code, const std::string &path) {
        return std::to_string(port) + " " + std::to_string(code) + " " + path;
    }

 private:
    static std::vector<std::string> &Texts() {
        static std::vector<std::string> texts;
        return texts;
    }
    static std::mutex &Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static void Take(ULONG_32 kind, void *message) {
        const PLAYER_RUN_INFO_S &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
        std::lock_guard guard(Mutex());
        if (kind == PLAYER_RUN_INFO_RECORD_VIDEO) {
            Texts().push_back(Text(info.ulPort, info.ulErrCode, info.szFilePath));
        }
    }
};

using support::Probe;

/** Waits until the record thread has taken what the port holds for it: a stop throws away what it has not. */
inline void WaitForRecorder(ULONG_32 port) {
    ULONG_32 left = 1;
    EXPECT_TRUE(support::WaitUntil([&] {
        QUEUE_GetCurPacketLen(&Player_GetPort(port)->stRecordBufferQueue, &left);
        return left == 0;
    }));
}

/** A file's name with each time in it, of 14 digits, as "#", and without a number in parentheses. */
inline std::string Shape(const std::string &name) {
    std::string shape;
    for (size_t at = 0; at < name.size();) {
        const size_t digits = std::min(name.find_first_not_of("0123456789", at), name.size()) - at;
        if (name[at] == '(') {
            at = name.find(')', at) + 1;
        } else {
            shape += digits == 14 ? "#" : name.substr(at, std::max<size_t>(digits, 1));
            at += std::max<size_t>(digits, 1);
        }
    }
    return shape;
}

/** What stands in the shared media folder as a video stream. */
struct VideoStream {
    VideoStream(const char *name, AVCodecID id) : codec(id), bytes(ReadFile(MediaPath(name))) {
        if (id == AV_CODEC_ID_HEVC) {
            support::RewriteH265KeyUnits(&bytes);
        }
        units = SplitAccessUnits(bytes, id);
    }
    uint8_t PayloadType() const { return codec == AV_CODEC_ID_H264 ? support::RTP_PT_H264 : support::RTP_PT_H265; }

    AVCodecID codec;
    Bytes bytes;
    std::vector<Span> units;
};

/** MD5 of each slice of a byte stream, without the zeros that may trail it. */
inline std::vector<std::string> SliceMd5s(Span stream, AVCodecID codec) {
    std::vector<std::string> sums;
    for (const Span unit : SplitUnits(stream)) {
        if (IsSliceUnit(unit, codec)) {
            size_t end = unit.size();
            for (; unit[end - 1] == 0; --end) {
            }
            const size_t head = unit[2] == 1 ? 3 : 4;
            sums.push_back(Md5(unit.subspan(head, end - head)));
        }
    }
    return sums;
}

/** The same of a recording, as ffmpeg takes it out of its container. */
inline std::vector<std::string> SlicesOfFile(const std::string &path, AVCodecID codec) {
    const std::string raw = path + ".raw";
    EXPECT_TRUE(
        support::Ffmpeg("-i '" + path + "' -map 0:v -c copy -f " + (codec == AV_CODEC_ID_H264 ? "h264" : "hevc"), raw))
        << path;
    const Bytes stream = ReadFile(raw);
    std::filesystem::remove(raw);
    return SliceMd5s(stream, codec);
}

/** A pushed port whose pictures are not decoded, with everything that it recorded. */
class RecordPort : public support::InputPort {
 public:
    RecordPort() { Zelvane_SetSourceMediaDataCB(Number(), nullptr, 0, nullptr); }

    bool Start(const std::string &path, ULONG_32 format) {
        return Zelvane_StartRecord(Number(), path.c_str(), format, nullptr);
    }
    /** Waits until the record thread has taken all that was pushed; a stop lets it finish the last. */
    void DrainRecord() { WaitForRecorder(Number()); }
    void Stop() {
        DrainRecord();
        EXPECT_TRUE(Zelvane_StopRecord(Number()));
    }
    /** Makes every key frame beyond this size begin a file: the client's own limits are too large for tests. */
    void SplitAt(DULONG bytes) { word::Store(Player_GetPort(Number())->ulFileMaxSize, bytes); }

    std::vector<std::string> Files() const {
        PLAYER_RECORD_FILES_NAME_INFO_S info = {};
        std::vector<std::string> names;
        if (Zelvane_GetRecordFiles(Number(), RECORD_GET_FILENAME_ALL, &info)) {
            const PLAYER_RECORD_FILENAME_LIST_S *node = info.pstFileNameLinkList;
            names.emplace_back(node->szFileName);
            while (names.size() < info.ulFileCount) {
                node = node->pstNext;
                names.emplace_back(node->szFileName);
            }
        }
        return names;
    }

    /** Pushes access units `first` to `last` as RTP, 25 frames a second from where the last push ended. */
    void PushVideo(const VideoStream &video, size_t first = 0, size_t last = SIZE_MAX) {
        support::RtpSender &sender = video.codec == AV_CODEC_ID_H264 ? m_h264 : m_h265;
        for (size_t i = first; i < std::min(last, video.units.size()); ++i) {
            EXPECT_TRUE(PushAll(sender.VideoPackets(video.units[i], m_time)));
            m_time += 3600;
        }
    }

    uint32_t m_time = 90000;

 private:
    support::RtpSender m_h264{support::RTP_PT_H264};
    support::RtpSender m_h265{support::RTP_PT_H265};
};

#endif
