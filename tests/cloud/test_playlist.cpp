// Playlists: which texts are accepted, beside a literal model with sscanf; how entries find their places.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <random>

#include "support/log_lines.h"
#include "support/temp_dir.h"
#include "zelvane_modules.h"

namespace {

using List = HLS_NODE_LIST;

std::string Entry(const std::string &time, const std::string &url, const std::string &duration = "10,") {
    return "#EXTINF:" + duration + "\n#EXT-X-PROGRAM-DATE-TIME:" + time + ",\n" + url + "\n";
}

std::string Playlist(const std::string &entries, const std::string &target = "10") {
    return "#EXTM3U\n#EXT-X-TARGETDURATION:" + target + "\n" + entries + "#EXT-X-ENDLIST\n";
}

/** An entry that begins so many seconds after 1970-01-01, less than an hour. */
std::string At(unsigned second, const std::string &host = "http://h/") {
    char time[40];
    snprintf(time, sizeof(time), "1970-01-01T00:%02u:%02u.0+00:00", second / 60, second % 60);
    return Entry(time, host + "s" + std::to_string(second) + ".ts?k=1", "5,");
}

std::vector<ULONG> Starts(const List &list) {
    std::vector<ULONG> starts;
    for (const HLS_NODE_INFO_S &node : list) {
        starts.push_back(node.ulStartTime);
    }
    return starts;
}

ULONG_32 Update(const std::string &text, List &list, const std::string &folder = "/nowhere",
                ULONG_32 *first = nullptr) {
    ULONG_32 unwanted = 0;
    return HLS_m3u8_update(text.c_str(), list, folder.c_str(), first != nullptr ? first : &unwanted);
}

/* ---- the model: sscanf, strstr and a walk from the head ---- */

struct Scanned {
    int results, nameResults, hostResults;
    long fields[6];
    std::string zone, link, name, host, path;
};

Scanned Scan(const char *text) {
    const size_t room = strlen(text) + 1;
    std::string zone(room, 0), link(room, 0), name(room, 0), host(room, 0), path(room, 0);
    Scanned s = {};
    long *f = s.fields;
    s.results = sscanf(text, "#EXT-X-PROGRAM-DATE-TIME:%ld-%ld-%ldT%ld:%ld:%ld.%*[^+-]%[^,],%*c%[^\n]", &f[0], &f[1],
                       &f[2], &f[3], &f[4], &f[5], zone.data(), link.data());
    s.nameResults = sscanf(link.c_str(), "htt%*[^:]://%*[^/]/%[^?]?", name.data());
    s.hostResults = sscanf(link.c_str(), "htt%*[^:]://%[^/]%s", host.data(), path.data());
    s.zone = zone.c_str();
    s.link = link.c_str();
    s.name = strrchr(name.c_str(), '/') != nullptr ? strrchr(name.c_str(), '/') + 1 : name.c_str();
    s.host = host.c_str();
    s.path = path.c_str();
    return s;
}

struct ModelNode {
    ULONG start, end;
    std::string link, url, host, file;
    ULONG_32 port;
};
using ModelList = std::vector<ModelNode>;

void Insert(ModelList &list, const ModelNode &node) {
    ULONG before = 0;
    for (auto it = list.begin(); it != list.end(); ++it) {
        if (it->start == node.start) {
            it->link = node.link, it->url = node.url, it->host = node.host, it->port = node.port;
            return;
        }
        if (node.start > before && node.start < it->start) {
            list.insert(it, node);
            return;
        }
        before = it->start;
    }
    list.push_back(node);
}

ULONG_32 ModelUpdate(const char *text, ModelList &list) {
    if (memcmp(text, "#EXTM3U", std::min<size_t>(8, strlen(text) + 1)) == 0 && strlen(text) == 7) {
        return 2;
    }
    const char *at = strstr(text, "#EXT-X-TARGETDURATION");
    if (strstr(text, "#EXT-X-ENDLIST") == nullptr || at == nullptr) {
        return 2;
    }
    int target = 5;
    int duration = 0;
    ULONG start = 0;
    sscanf(at, "#EXT-X-TARGETDURATION:%d", &target);
    while ((at = strstr(at, "#EXTINF")) != nullptr) {
        sscanf(at, "#EXTINF:%d", &duration);
        if (duration > target) {
            return 2;
        }
        if ((at = strstr(at, "#EXT-X-PROGRAM-DATE-TIME")) == nullptr) {
            return 0;
        }
        const Scanned s = Scan(at);
        if (s.results != 8 || s.zone.size() > 11 || s.link.size() > 1023 || s.nameResults != 1 || s.hostResults != 2) {
            return 2;
        }
        const auto u = [&](int i) { return static_cast<ULONG>(s.fields[i]); };
        QLOM_SDK_GetUnixTimestamp({atoi(s.zone.c_str()), u(5), u(4), u(3), u(2), u(1), u(0)}, &start);
        const bool https = s.link.compare(0, 5, "https") == 0;
        Insert(list, {start, start + static_cast<ULONG>(static_cast<long>(duration)), s.link, s.path, s.host,
                      "/nowhere/" + s.name + ".ts", https ? 443U : 80U});
    }
    return 0;
}

bool Same(const List &list, const ModelList &model) {
    return std::equal(list.begin(), list.end(), model.begin(), model.end(),
                      [](const HLS_NODE_INFO_S &a, const ModelNode &b) {
                          return a.ulStartTime == b.start && a.ulEndTime == b.end && a.strDownLink == b.link &&
                                 a.strDownURL == b.url && a.strHostName == b.host && a.strFilePath == b.file &&
                                 a.ulPort == b.port && (a.eProtocolType == HLS_STREAM_TYPE_HTTPS) == (b.port == 443);
                      });
}

/** Spoils a text in one to four places. */
std::string Spoil(std::string text, std::mt19937 &random) {
    static const std::string characters = " \n\t\r+-:.,T/?#0123456789htp";
    static const char *const pieces[] = {
        "99999999999999999999", "-9223372036854775808", " \n ", "4294967306", "+", "://"};
    for (unsigned i = 0, times = 1 + random() % 4; i < times && !text.empty(); ++i) {
        const size_t at = random() % text.size();
        switch (random() % 4) {
            case 0:
                text.erase(at, 1 + random() % 3);
                break;
            case 1:
                text.insert(at, 1, characters[random() % characters.size()]);
                break;
            case 2:
                text[at] = characters[random() % characters.size()];
                break;
            default:
                text.insert(at, pieces[random() % std::size(pieces)]);
        }
    }
    return text;
}

}  // namespace

TEST(Playlist, TakesTheTextsThatScanfTakesAndMakesTheSameOfThem) {
    std::mt19937 random(7);
    const std::string good = Playlist(Entry("2020-01-02T03:04:05.000+08:00", "http://server/rec/seg001.ts?token=1") +
                                      Entry("2020-01-02T03:04:15.000-03:30", "https://other/a/b/seg 2.ts", "9.98,") +
                                      Entry("2000-03-01T00:00:00.5+0", "http://server/x?y/z"));
    unsigned accepted = 0;
    for (int i = 0; i < 40000; ++i) {
        const std::string text = i == 0 ? good : Spoil(good, random);
        List list;
        ModelList model;
        const ULONG_32 wanted = ModelUpdate(text.c_str(), model);
        ASSERT_EQ(Update(text, list), wanted) << text;
        ASSERT_TRUE(Same(list, model)) << text;
        accepted += wanted == 0;
    }
    EXPECT_GT(accepted, 10000U);
    EXPECT_LT(accepted, 36000U) << "near misses, not all of them";
}

TEST(Playlist, PutsEntriesInTheirPlacesWhateverTheOrder) {
    std::mt19937 random(8);
    for (int round = 0; round < 300; ++round) {
        List list;
        ModelList model;
        for (int part = 0; part < 3; ++part) {
            std::string entries;
            for (unsigned i = 0, count = 1 + random() % 8; i < count; ++i) {
                entries += At(random() % 12, random() % 2 == 0 ? "http://h/" : "https://i/");  // 0 among them
            }
            ASSERT_EQ(Update(Playlist(entries), list), ModelUpdate(Playlist(entries).c_str(), model));
            ASSERT_TRUE(Same(list, model)) << Playlist(entries);
        }
    }
}

TEST(Playlist, RefusesByTheRules) {
    const std::string entry = At(20);
    const struct {
        const char *what;
        std::string text;
        ULONG_32 result;
        size_t nodes;
    } rows[] = {
        {"empty", "", 2, 0},
        {"the head alone", "#EXTM3U", 2, 0},
        {"no end", "#EXT-X-TARGETDURATION:9\n" + entry, 2, 0},
        {"no target", entry + "#EXT-X-ENDLIST", 2, 0},
        {"without a head", "#EXT-X-TARGETDURATION:9\n" + entry + "#EXT-X-ENDLIST", 0, 1},
        {"entry ahead of the target", entry + Playlist(""), 0, 0},
        {"no number in the target: 5", Playlist(entry + At(30), "x"), 0, 2},
        {"too long an entry", Playlist(At(10) + Entry("1970-01-01T00:00:40.0+0", "http://h/s", "11"), "10"), 2, 1},
        {"no date", Playlist(At(10) + "#EXTINF:5\nhttp://h/s\n"), 0, 1},
        {"no fraction", Playlist(Entry("1970-01-01T00:00:40+00:00", "http://h/s")), 2, 0},
        {"line ends of two characters",
         "#EXT-X-ENDLIST#EXT-X-TARGETDURATION:9\r\n#EXTINF:1\r\n#EXT-X-PROGRAM-DATE-TIME:"
         "1970-01-01T00:00:40.0+00:00,\r\nhttp://h/s\r\n",
         2, 0},
        {"URL of 1023", Playlist(Entry("1970-01-01T00:00:40.0+0", "http://h/" + std::string(1014, 'x'))), 0, 1},
        {"URL of 1024", Playlist(Entry("1970-01-01T00:00:40.0+0", "http://h/" + std::string(1015, 'x'))), 2, 0},
        {"zone of 12", Playlist(Entry("1970-01-01T00:00:40.0+00000000000", "http://h/s")), 2, 0},
        {"no such day: the entry before", Playlist(At(20) + Entry("1970-01-77T00:00:40.0+0", "http://h/other")), 0, 1},
    };
    for (const auto &row : rows) {
        List list;
        EXPECT_EQ(Update(row.text, list), row.result) << row.what;
        EXPECT_EQ(list.size(), row.nodes) << row.what;
    }
    List list;
    ULONG_32 first = 0;
    EXPECT_EQ(HLS_m3u8_update(nullptr, list, "/x", &first), 2U);
}

TEST(Playlist, RenewsUrlsAndKeepsStatesAndTellsTheFirstStart) {
    const LogLines lines;
    List list;
    ULONG_32 first = 0;
    ASSERT_EQ(Update(Playlist(At(30) + At(20)), list, "/nowhere", &first), 0U);
    EXPECT_EQ(first, 30U);
    EXPECT_EQ(Starts(list), (std::vector<ULONG>{20, 30}));
    EXPECT_EQ(LogLines::Errors("M3u8 Buffer Url Analyze, Start[30], End[35]."), 1U);
    list.front().eNodeDownType = HLS_STREAM_TYPE_DOWNLOAD_FAIL;
    const HLS_NODE_INFO_S *const address = &list.front();
    ASSERT_EQ(Update(Playlist(At(20, "https://new/") + At(10)), list, "/elsewhere", &first), 0U);
    EXPECT_EQ(first, 30U) << "only when it was 0";
    EXPECT_EQ(Starts(list), (std::vector<ULONG>{10, 20, 30}));
    EXPECT_EQ(&*std::next(list.begin()), address);
    EXPECT_EQ(address->strHostName, "new");
    EXPECT_EQ(address->strDownURL, "/s20.ts?k=1");
    EXPECT_EQ(address->ulPort, 443U);
    EXPECT_EQ(address->strFilePath, "/nowhere/s20.ts.ts");
    EXPECT_EQ(address->strFileTempPath, "/nowhere/s20.ts.temp");
    EXPECT_EQ(address->eNodeDownType, HLS_STREAM_TYPE_DOWNLOAD_FAIL);
    EXPECT_EQ(address->ulEndTime, 25U);
}

TEST(Playlist, LooksIntoTheFolder) {
    const Scratch folder;
    const Scratch outside;
    WriteFile(folder.At("s10.ts.ts"), "whole");
    WriteFile(folder.At("s10.ts.temp"), "beside a whole one");
    WriteFile(folder.At("s20.ts.temp"), "half");
    WriteFile(outside.At("kept"), "x");
    std::filesystem::create_symlink(outside.At("kept"), folder.At("s30.ts.temp"));
    std::filesystem::create_symlink(outside.At("missing"), folder.At("s40.ts.ts"));
    List list;
    ASSERT_EQ(Update(Playlist(At(10) + At(20) + At(30) + At(40)), list, folder.Path()), 0U);
    std::vector<int> states;
    for (const HLS_NODE_INFO_S &node : list) {
        states.push_back(node.eNodeDownType);
    }
    EXPECT_EQ(states, (std::vector<int>{HLS_STREAM_TYPE_DOWNLOADED, 0, 0, 0}));
    EXPECT_TRUE(std::filesystem::exists(folder.At("s10.ts.temp")));
    EXPECT_FALSE(std::filesystem::exists(folder.At("s20.ts.temp")));
    EXPECT_FALSE(std::filesystem::is_symlink(folder.At("s30.ts.temp")));
    EXPECT_TRUE(std::filesystem::exists(outside.At("kept"))) << "links are removed, not followed";
}
