// A port that plays a cloud recording, and recordings for it: segments of three seconds with a key frame each second.
#ifndef ZELVANE_TESTS_CLOUD_CLOUD_PORT_H
#define ZELVANE_TESTS_CLOUD_CLOUD_PORT_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/client.h"
#include "support/cloud_server.h"
#include "support/elapsed.h"
#include "support/file_port.h"
#include "zelvane_modules.h"

constexpr ULONG_32 CLOUD_START = 1577836800; /**< 2020-01-01, the recording's first second */
constexpr ULONG_32 SEGMENT_SECONDS = 3;
constexpr ULONG_32 SPEED_4 = 4;

/** The stream of which every segment is made: 75 frames. */
inline const Bytes &SegmentVideo() {
    static const Bytes video = ReadFile(MediaPath("h264_640x360_bf0.264"));
    return video;
}

/** One segment's file; its clock goes on from the segment before. */
inline std::string SegmentBytes(unsigned index) {
    const Scratch folder;
    support::WriteTs(folder.At("x"), {PLAYER_PAYLOAD_H264, SplitAccessUnits(SegmentVideo(), AV_CODEC_ID_H264), 3600},
                     nullptr, 25, 90000 + index * 90000ULL * SEGMENT_SECONDS);
    return ReadText(folder.At("x"));
}

inline std::string SegmentName(unsigned index) { return "seg" + std::to_string(index) + ".ts"; }

/** Entries of segments from `first` on; `base` is what stands before their names. */
inline std::string CloudPlaylist(unsigned first, unsigned count, const std::string &base,
                                 const std::string &query = "") {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:3\n";
    for (unsigned i = first; i < first + count; ++i) {
        char time[64];
        snprintf(time, sizeof(time), "2020-01-01T00:%02u:%02u.000+00:00", i * SEGMENT_SECONDS / 60,
                 i * SEGMENT_SECONDS % 60);
        text += "#EXTINF:3.000,\n#EXT-X-PROGRAM-DATE-TIME:" + std::string(time) + ",\n" + base + SegmentName(i) +
                query + "\n";
    }
    return text + "#EXT-X-ENDLIST\n";
}

/** The library with an empty cache folder, and the run messages of every port. */
class Cloud {
 public:
    using Message = std::pair<ULONG_32, ULONG_32>; /**< code and ulReserved */

    Cloud() {
        std::lock_guard guard(Mutex());
        Messages().clear();
        Zelvane_SetPlayerRunMsgCB(Take);
        EXPECT_TRUE(Zelvane_SetCachePath(m_folder.At("cache").c_str()));
    }
    std::string Cached(const std::string &name) const { return m_folder.At("cache/" + name); }
    bool IsCached(unsigned index) const { return std::filesystem::exists(Cached(SegmentName(index) + ".ts")); }
    bool IsHalf(unsigned index) const { return std::filesystem::exists(Cached(SegmentName(index) + ".temp")); }
    const std::string &Folder() const { return m_folder.Path(); }

    static std::vector<Message> MessagesOf(ULONG_32 port) {
        std::lock_guard guard(Mutex());
        return Messages()[port];
    }
    static size_t Count(ULONG_32 port, ULONG_32 code) {
        const std::vector<Message> messages = MessagesOf(port);
        return static_cast<size_t>(
            std::count_if(messages.begin(), messages.end(), [&](const Message &m) { return m.first == code; }));
    }

 private:
    static std::mutex &Mutex() {
        static std::mutex mutex;
        return mutex;
    }
    static std::map<ULONG_32, std::vector<Message>> &Messages() {
        static std::map<ULONG_32, std::vector<Message>> messages;
        return messages;
    }
    static void Take(ULONG_32 kind, void *message) {
        const auto &info = static_cast<REPORT_MSG_U *>(message)->stRunInfo;
        std::lock_guard guard(Mutex());
        if (kind == PLAYER_RUN_INFO_MEDIA_PROCESS && info.ulErrCode != 269) {  // not the picture's size
            Messages()[info.ulPort].emplace_back(info.ulErrCode, info.ulReserved);
        }
    }

    support::Library m_library;
    Scratch m_folder;
};

class CloudPort : public support::TappedPort {
 public:
    CloudPort() { EXPECT_TRUE(Zelvane_OpenHlsStream(Number())) << Zelvane_GetLastError(); }
    ~CloudPort() { Zelvane_CloseHlsStream(Number()); }

    bool Update(const std::string &playlist, ULONG_32 time) {
        return Zelvane_UpdatePlayInfo(Number(), playlist.c_str(), time);
    }
    bool Seek(ULONG_32 time) { return Zelvane_UpdatePlayInfo(Number(), nullptr, time); }
    bool Fast() { return Zelvane_SpeedPlay(Number(), SPEED_4); }
    /** Frames and no pictures: instrumented decoders are slow. */
    void KeepFromDecoding() { TapFrames(0); }
    ULONG_32 Time() const {
        ULONG_32 time = 0;
        EXPECT_TRUE(Zelvane_GetPlayTime(Number(), &time));
        return time;
    }
    size_t Count(ULONG_32 code) const { return Cloud::Count(Number(), code); }
    bool Wait(ULONG_32 code, size_t count = 1) const {
        return support::WaitUntil([&] { return Count(code) >= count; });
    }
};

#endif
