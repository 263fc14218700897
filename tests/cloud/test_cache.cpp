// The cache folder: its limit, what empties it, and what may befall it while ports fetch and play.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "cloud_port.h"
#include "support/log_lines.h"

using support::Nginx;
using support::WaitUntil;

namespace {

namespace fs = std::filesystem;

const std::string HTTP = "http://127.0.0.1/";

/** A file of holes, so many MiB large and so many seconds old. */
void MakeFile(const std::string &path, unsigned mebibytes, unsigned age) {
    WriteFile(path, "");
    fs::resize_file(path, size_t{mebibytes} << 20);
    const struct timespec times[2] = {{time(nullptr) - age, 0}, {time(nullptr) - age, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

std::vector<std::string> NamesIn(const std::string &folder) {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

TEST(CachePolicy, RemovesTheOldestFilesUntilTheRestFits) {
    const Scratch folder;
    for (unsigned i = 0; i < 12; ++i) {
        MakeFile(folder.At(std::string(1, static_cast<char>('a' + i))), 10, i < 6 ? 100 - i : 50);
    }
    const Scratch outside;
    MakeFile(outside.At("kept"), 200, 1000);
    fs::create_symlink(outside.At("kept"), folder.At("link"));
    fs::create_directory(folder.At("sub"));
    MakeFile(folder.At("sub/old"), 300, 1000);
    EXPECT_EQ(Hls_Disk_Policy(folder.Path().c_str(), 120), 0U);
    EXPECT_EQ(NamesIn(folder.Path()).size(), 14U) << "at the limit, not above it";
    EXPECT_EQ(Hls_Disk_Policy((folder.Path() + "/").c_str(), 100), 0U);
    EXPECT_EQ(NamesIn(folder.Path()),
              (std::vector<std::string>{"c", "d", "e", "f", "g", "h", "i", "j", "k", "l", "link", "sub"}));
    EXPECT_TRUE(fs::exists(outside.At("kept")) && fs::exists(folder.At("sub/old")));
    EXPECT_EQ(Hls_Disk_Policy(folder.Path().c_str(), 0), 0U);
    EXPECT_EQ(NamesIn(folder.Path()), (std::vector<std::string>{"link", "sub"}));
    EXPECT_EQ(Hls_Disk_Policy(folder.At("missing").c_str(), 100), 0xFFFFFFFFU);
    EXPECT_EQ(Hls_Disk_Policy("", 0), 0xFFFFFFFFU);
    const std::string deep = folder.At(std::string(200, 'd'));
    fs::create_directory(deep);
    MakeFile(deep + "/" + std::string(100, 'f'), 1, 1);
    EXPECT_EQ(Hls_Disk_Policy(deep.c_str(), 0), 0xFFFFFFFFU) << "a path above 255 characters";
    EXPECT_EQ(NamesIn(deep).size(), 1U);
}

TEST(CacheSettings, PathLimitAndCleaning) {
    const Cloud cloud;
    EXPECT_FALSE(Zelvane_SetCachePath(nullptr));
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_PARAM});
    EXPECT_FALSE(Zelvane_SetCachePath(std::string(257, 'x').c_str()));
    const std::string full = cloud.Cached(std::string(256 - cloud.Cached("").size(), 'x'));
    ASSERT_EQ(full.size(), 256U);
    fs::create_directories(full);
    MakeFile(full + "/a", 1, 1);
    ASSERT_TRUE(Zelvane_SetCachePath(full.c_str())) << "a name that fills the field";
    EXPECT_TRUE(Zelvane_CleanCache());
    EXPECT_EQ(NamesIn(full).size(), 0U);

    const Scratch outside;
    MakeFile(outside.At("kept"), 1, 1);
    fs::create_directory_symlink(outside.Path(), full + "/link");
    fs::create_directories(full + "/sub/sub");
    EXPECT_TRUE(Zelvane_CleanCache());
    EXPECT_EQ(NamesIn(full).size(), 0U);
    EXPECT_TRUE(fs::exists(outside.At("kept"))) << "links are removed, not followed";

    ASSERT_TRUE(Zelvane_SetCachePath(""));
    EXPECT_FALSE(Zelvane_CleanCache()) << "an empty path is no folder, least of all the root";
    EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_FAILED});
}

/* ---- beside ports ---- */

class CacheBesidePlay : public testing::Test {
 protected:
    void Put(unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            m_nginx.Put(SegmentName(i), SegmentBytes(i));
        }
    }
    Nginx m_nginx{"limit_rate 1m;"};
    Cloud m_cloud;
};

TEST_F(CacheBesidePlay, TheLimitIsKept) {
    m_nginx.Put(SegmentName(0), SegmentBytes(0));
    ASSERT_TRUE(Zelvane_SetMaxCache(50)) << "counts as 100";
    fs::create_directories(m_cloud.Cached(""));
    MakeFile(m_cloud.Cached("old"), 60, 100);
    MakeFile(m_cloud.Cached("newer"), 60, 50);
    CloudPort port;
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), 0));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_DOWNLOAD_FINISHED));
    EXPECT_EQ(NamesIn(m_cloud.Cached("")), (std::vector<std::string>{"newer", "seg0.ts.ts"}));
}

TEST_F(CacheBesidePlay, APlaylistDuringAFetchSendsTheSegmentBack) {
    Put(1);
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsHalf(0); }));
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), 0));
    EXPECT_FALSE(m_cloud.IsHalf(0)) << "its half file is removed";
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsCached(0); })) << "and fetched again";
    EXPECT_GE(m_nginx.Requests("/seg"), 2U);
}

TEST_F(CacheBesidePlay, TheFolderIsEmptiedOrVanishesDuringPlay) {
    Put(4);
    CloudPort port;
    port.KeepFromDecoding();
    ASSERT_TRUE(port.Fast());
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 4, HTTP), CLOUD_START));
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsCached(1) && port.FrameCount() > 0; }));
    ASSERT_TRUE(Zelvane_CleanCache());
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsCached(3); })) << "the download goes on";
    fs::remove_all(m_cloud.Cached(""));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_PLAY_FINISHED));
    EXPECT_GE(port.FrameCount(), 75U) << "what was open plays to its end";
    ASSERT_TRUE(port.Seek(CLOUD_START + 4));
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsCached(1); })) << "made anew, and fetched again";
}

TEST_F(CacheBesidePlay, WhereNoFileCanBeMadeNothingIsFetchedUntilItCan) {
    Put(1);
    const LogLines lines;
    WriteFile(m_cloud.Folder() + "/file", "");
    ASSERT_TRUE(Zelvane_SetCachePath((m_cloud.Folder() + "/file/cache").c_str()));
    CloudPort port;
    ASSERT_TRUE(port.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    const std::string line = "Hls Download Thread: Hls_Socket_Recv Failed, Open file Failed, path[" + m_cloud.Folder() +
                             "/file/cache/seg0.ts.temp], Error:(Not a directory).";
    ASSERT_TRUE(WaitUntil([&] { return LogLines::Errors(line) >= 3; }));
    EXPECT_EQ(m_nginx.Requests("/"), 0U);
    fs::remove(m_cloud.Folder() + "/file");
    EXPECT_TRUE(port.Wait(PLAYER_HLS_DOWNLOAD_FINISHED));
    fs::create_symlink(m_cloud.Folder() + "/outside", m_cloud.Folder() + "/file/cache/seg0.ts.temp");
    fs::remove(m_cloud.Folder() + "/file/cache/seg0.ts.ts");
    CloudPort other;
    ASSERT_TRUE(other.Update(CloudPlaylist(0, 1, HTTP), CLOUD_START));
    EXPECT_TRUE(other.Wait(PLAYER_HLS_DOWNLOAD_FINISHED));
    EXPECT_FALSE(fs::exists(m_cloud.Folder() + "/outside")) << "no link leads the download astray";
}

TEST_F(CacheBesidePlay, AnotherProcessSharesTheCacheUntilItIsKilled) {
    Put(3);
    const auto startOther = [&] {
        const pid_t child = fork();
        if (child == 0) {
            execl("/proc/self/exe", "fetcher", "--fetch", m_cloud.Cached("").c_str(), CloudPlaylist(0, 3, HTTP).c_str(),
                  static_cast<char *>(nullptr));
            _exit(127);
        }
        EXPECT_TRUE(WaitUntil([&] { return m_cloud.IsHalf(0); }));
        return child;
    };
    const auto killOther = [](pid_t child) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    };
    pid_t other = startOther();
    CloudPort port;
    // A playlist with the segment that the other one is at would remove its half file, so this one begins behind it.
    ASSERT_TRUE(port.Update(CloudPlaylist(1, 2, HTTP), 0));
    ASSERT_TRUE(port.Wait(PLAYER_HLS_DOWNLOAD_FINISHED));
    ASSERT_TRUE(WaitUntil([&] { return m_cloud.IsCached(0); }));
    EXPECT_EQ(m_nginx.Requests("/seg"), 3U) << "each segment once";
    killOther(other);

    ASSERT_TRUE(Zelvane_CleanCache());
    other = startOther();
    killOther(other);
    EXPECT_TRUE(m_cloud.IsHalf(0));
    CloudPort next;
    ASSERT_TRUE(next.Update(CloudPlaylist(0, 1, HTTP), 0));
    ASSERT_TRUE(next.Wait(PLAYER_HLS_DOWNLOAD_FINISHED)) << "what it left half is thrown away";
    EXPECT_EQ(ReadText(m_cloud.Cached("seg0.ts.ts")), SegmentBytes(0));
}
