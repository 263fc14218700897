// zvcloud and zvplay together, with the nginx that zvcloud's configuration starts; and what zvplay knows by itself.
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include "support/cloud_server.h"
#include "support/client.h"
#include "tools/program.h"
#include "zvplay/cloud_list.h"

namespace {

/** A recording of zvcloud's, and its server. */
class ZvCloud {
 public:
    explicit ZvCloud(std::vector<std::string> words) {
        words.push_back(Folder());
        Program zvcloud("zvcloud", words);
        EXPECT_EQ(zvcloud.Wait(), 0) << zvcloud.Err();
        EXPECT_EQ(zvcloud.Out(), ReadText(Folder() + "/nginx.conf")) << "what it prints is what it wrote";
        m_pid = fork();
        if (m_pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);  // nothing is left behind
            execlp("nginx", "nginx", "-p", Folder().c_str(), "-c", "nginx.conf", "-e",
                   (Folder() + "/error.log").c_str(), static_cast<char *>(nullptr));
            _exit(127);
        }
        EXPECT_TRUE(support::WaitUntil([&] { return std::filesystem::exists(Folder() + "/nginx.pid"); }));
    }
    ~ZvCloud() {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
    }
    std::string Folder() const { return m_scratch.At("cloud"); }
    std::string Playlist() const { return Folder() + "/recording.m3u8"; }
    std::string Cache() const { return m_scratch.At("cache"); }

 private:
    Scratch m_scratch;
    pid_t m_pid;
};

}  // namespace

TEST(CloudTools, ZvplayPlaysWhatZvcloudMakes) {
    setenv("TZ", "UTC", 1);
    const ZvCloud cloud({"--seconds", "6", "--segment", "2", "--size", "320x180", "--https", "--query", "k=1",
                         "--start", "2020-01-01T12:00:00Z"});
    Program all("zvplay",
                {"--headless", "--cache", cloud.Cache(), "--cache-limit", "100", "--stats", "json", cloud.Playlist()});
    EXPECT_EQ(all.Wait(), 0) << all.Err();
    EXPECT_EQ(Last(all.Out(), "pictures"), "150");
    EXPECT_EQ(Last(all.Out(), "fetched"), "3");
    EXPECT_EQ(Last(all.Out(), "segments"), "3");
    EXPECT_EQ(Last(all.Out(), "message"), "1793");
    EXPECT_EQ(Last(all.Out(), "date"), "\"2020-01-01 12:00:05\"");
    EXPECT_EQ(all.Err(), "");

    // The first URLs have expired; the file changes, and the new ones are taken from it.
    std::filesystem::remove_all(cloud.Cache());
    const std::string good = ReadText(cloud.Playlist());
    std::string expired = good;
    for (size_t at = 0; (at = expired.find("/rec/", at)) != std::string::npos;) expired.replace(at, 5, "/old/");
    WriteFile(cloud.Playlist(), expired);
    Program renewed("zvplay", {"--headless", "--cache", cloud.Cache(), "--at", "2020-01-01T12:00:03Z", "--seconds", "2",
                               "--stats", "json", cloud.Playlist()});
    ASSERT_TRUE(Soon([&] { return renewed.Err().find("1798") != std::string::npos; })) << renewed.Err();
    EXPECT_EQ(renewed.Err(), "zvplay: 1798: the server does not have a segment at its URL; it is tried again\n");
    WriteFile(cloud.Playlist(), good);
    EXPECT_EQ(renewed.Wait(), 0) << renewed.Err();

    const struct {
        std::vector<std::string> words;
        int exit;
        const char *says;
    } rows[] = {
        {{cloud.Playlist()}, 1, "needs --cache"},
        {{"--at", "noon", "--cache", cloud.Cache(), cloud.Playlist()}, 1, "noon is no time"},
        {{"--at", "2021-01-01T00:00:00Z", "--cache", cloud.Cache(), cloud.Playlist()}, 1, "to 2020-01-01 12:00:06"},
        {{"--cache", cloud.Cache(), cloud.Folder() + "/nginx.conf"}, 2, "a playlist without an entry"},
        {{"--cache", cloud.Cache(), cloud.Playlist(), cloud.Folder() + "/none.m3u8"}, 2, "none.m3u8"},
    };
    for (const auto &row : rows) {
        std::vector<std::string> words = row.words;
        words.insert(words.begin(), "--headless");
        Program program("zvplay", words);
        EXPECT_EQ(program.Wait(), row.exit) << row.says;
        EXPECT_NE(program.Err().find(row.says), std::string::npos) << program.Err();
    }
}

TEST(CloudTools, ARecordingIsCutAsItIs) {
    const ZvCloud made({"--seconds", "4", "--segment", "4", "--size", "320x180"});
    const std::string whole = made.Folder() + "/www/rec/seg00000.ts";
    const ZvCloud cut({"--from", whole, "--segment", "1", "--host", "127.0.0.9"});
    std::string joined;
    for (int i = 0; i < 4; ++i) {
        joined += ReadText(cut.Folder() + "/www/rec/seg0000" + std::to_string(i) + ".ts");
    }
    EXPECT_EQ(joined, ReadText(whole));
    Program none("zvcloud", {"--from", made.Folder() + "/nginx.conf", made.Cache()});
    EXPECT_EQ(none.Wait(), 2);
}

TEST(CloudTools, ZvplayKnowsSegmentsAndCacheByItself) {
    const Scratch cache;
    WriteFile(cache.At("b.ts.ts"), "12345");
    WriteFile(cache.At("other"), "1");
    zvplay::CloudList list(cache.Path());
    list.Add(
        "#EXTINF:7,\n#EXT-X-PROGRAM-DATE-TIME:1970-01-01T02:00:10.5+02:00,\nhttp://h/x/a.ts?q/r\n"
        "#EXTINF:3\n#EXT-X-PROGRAM-DATE-TIME:1970-01-01T00:00:20.0-00,\nhttps://h/b.ts\n"
        "#EXT-X-PROGRAM-DATE-TIME:nonsense\nhttp://h/c\n");
    EXPECT_EQ(list.Start(), 10U);
    EXPECT_EQ(list.End(), 23U);
    EXPECT_EQ(list.Past(10), 10U);
    EXPECT_EQ(list.Past(20), 21U) << "20 belongs to the segment before";
    const zvplay::CacheState state = list.Look();
    EXPECT_EQ(state.segments, 2U);
    EXPECT_EQ(state.fetched, 1U);
    EXPECT_EQ(state.bytes, 6U);
}
