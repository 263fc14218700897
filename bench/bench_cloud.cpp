// Cloud recordings, with nginx on the loopback as the server, in a network of its own: 100 segments of 4 MB into files,
// one connection a segment, beside curl; 16 cloud ports at once beside 16 file ports on the same segments; a playlist
// of 10,000 entries.
#include <net/if.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>

#include "cloud/module_hls.h"
#include "measure.h"
#include "player_sdk_func.h"

namespace {

namespace fs = std::filesystem;
using measure::Require;

constexpr int SEGMENTS = 100;
constexpr int PORTS = 16;
constexpr ULONG_32 START = 1577836800;
const std::string FOLDER = fs::absolute("bench_cloud");

void DropLine(ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {}

/** The player knows ports 80 and 443 alone. */
void EnterNetwork(char **argv) {
    if (getenv("ZELVANE_OWN_NETWORK") == nullptr) {
        setenv("ZELVANE_OWN_NETWORK", "1", 1);
        execlp("unshare", "unshare", "-rn", argv[0], static_cast<char *>(nullptr));
    }
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    ifreq request = {};
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_LOOPBACK | IFF_RUNNING;
    ioctl(fd, SIOCSIFFLAGS, &request);
    close(fd);
}

pid_t StartNginx() {
    const std::string setUp =
        "rm -rf " + FOLDER + " && mkdir -p " + FOLDER + "/www " + FOLDER + "/out && cd " + FOLDER +
        " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=localhost "
        "-keyout key -out cert && head -c 4000000 /dev/urandom > www/big && for i in $(seq 100); do ln www/big www/$i; "
        "done";
    Require(measure::RunPeer(setUp).ok, "certificate and segments");
    std::ofstream conf(FOLDER + "/conf");
    conf << "user root; daemon off; worker_processes 1; pid " << FOLDER << "/pid; error_log " << FOLDER
         << "/error;\nevents {}\nhttp { access_log off; sendfile on;\n";
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        conf << kind << "_temp_path " << FOLDER << "/tmp;\n";
    }
    conf << "server { listen 127.0.0.1:80; listen 127.0.0.1:443 ssl; root " << FOLDER << "/www; ssl_certificate "
         << FOLDER << "/cert; ssl_certificate_key " << FOLDER << "/key; } }\n";
    conf.close();
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);  // nothing is left behind
        execlp("nginx", "nginx", "-p", FOLDER.c_str(), "-c", (FOLDER + "/conf").c_str(), "-e",
               (FOLDER + "/error").c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    Require(measure::RunPeer("until curl -sko " + FOLDER + "/out/x https://127.0.0.1/big; do sleep 0.1; done").ok,
            "nginx");
    return child;
}

/* ---- fetching ---- */

void FetchOne(HLS_NODE_LIST &list, int index, bool https) {
    HLS_NODE_INFO_S &node = list.front();
    node.strHostName = "127.0.0.1";
    node.strDownURL = "/" + std::to_string(index);
    node.ulPort = https ? 443 : 80;
    node.eProtocolType = https ? HLS_STREAM_TYPE_HTTPS : HLS_STREAM_TYPE_HTTP;
    WYK_SOCKET_S socket = -1;
    CYASSL *tls = nullptr;
    NET_STATEINFO_S state = {};
    PLAYER_HLS_TYPE_INFO_S infos = {};
    infos.bStartDownload = 1;
    FILE *file = fopen((FOLDER + "/out/" + std::to_string(index)).c_str(), "wb");
    Require(Hls_Socket_Init(list.begin(), &socket, &tls) == 0, "connection");
    Require(Hls_Socket_Send(list.begin(), socket, tls) == 0, "request");
    Require(Hls_Socket_Recv(list.begin(), socket, tls, &state, &infos, file) == 0, "answer");
    Require(ftell(file) == 4000000, "length");
    fclose(file);
    Hls_Socket_Close(list.begin(), socket, tls);
}

struct Time {
    double wall = 1e9, cpu = 1e9;
    void Best(double otherWall, double otherCpu) {
        wall = std::min(wall, otherWall);
        cpu = std::min(cpu, otherCpu);
    }
};

void FetchAll(bool https, Time *best) {
    HLS_NODE_LIST list(1);
    const double start = measure::Wall();
    const double cpu = measure::ProcessCpu();
    for (int i = 1; i <= SEGMENTS; ++i) {
        FetchOne(list, i, https);
    }
    best->Best(measure::Wall() - start, measure::ProcessCpu() - cpu);
}

void Curl(const std::string &command, Time *best) {
    const measure::PeerTime time = measure::RunPeer(command);
    Require(time.ok, "curl");
    best->Best(time.wall, time.cpu);
}

void Fetching() {
    for (const std::string scheme : {"http", "https"}) {
        Time ours, each, kept;
        for (int round = 0; round < 5; ++round) {
            FetchAll(scheme == "https", &ours);
            Curl(
                "for i in $(seq 100); do curl -sko " + FOLDER + "/out/$i " + scheme + "://127.0.0.1/$i || exit 1; done",
                &each);
            Curl("curl -sk '" + scheme + "://127.0.0.1/[1-100]' -o '" + FOLDER + "/out/#1'", &kept);
        }
        printf(
            "%-5s 100 segments of 4 MB     Zelvane %.2f s (CPU %.2f)   curl each %.2f (%.2f)   one curl %.2f (%.2f)   "
            "of one curl %.2f\n",
            scheme.c_str(), ours.wall, ours.cpu, each.wall, each.cpu, kept.wall, kept.cpu, ours.wall / kept.wall);
    }
}

/* ---- playing ---- */

std::atomic<unsigned> gFrames{0};

void CountFrame(ULONG_32, PLAYER_PARSE_VIDEO_DATA_S *, void *, LONG_REAL) { gFrames++; }

std::string Playlist() {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:20\n";
    for (int i = 0; i < 2; ++i) {
        text += "#EXTINF:10,\n#EXT-X-PROGRAM-DATE-TIME:2020-01-01T00:00:" + std::string(i == 0 ? "00" : "10") +
                ".000+00:00,\nhttp://127.0.0.1/play" + std::to_string(i) + ".ts\n";
    }
    return text + "#EXT-X-ENDLIST\n";
}

/** Two segments of ten seconds, by zvcloud, so that both kinds of ports play the same bytes. */
void MakeSegments(const char *argv0) {
    const std::string zvcloud = fs::path(argv0).parent_path() / "zvcloud";
    Require(measure::RunPeer("(" + zvcloud + " --seconds 20 --segment 10 --size 1280x720 " + FOLDER + "/made && cp " +
                             FOLDER + "/made/www/rec/seg00000.ts " + FOLDER + "/www/play0.ts && cp " + FOLDER +
                             "/made/www/rec/seg00001.ts " + FOLDER + "/www/play1.ts && cat " + FOLDER +
                             "/www/play?.ts > " + FOLDER + "/whole.ts)")
                .ok,
            "zvcloud");
}

struct Played {
    double cpuPerStreamSecond;
    unsigned frames;
    double longestGap; /**< seconds between two frames of all ports */
};

/** Runs open ports for ten seconds. Frames end at their tap, so that no decoder hides the difference. */
Played PlayFor(double seconds) {
    gFrames = 0;
    const double cpu = measure::ProcessCpu();
    const double start = measure::Wall();
    unsigned seen = 0;
    double last = start, gap = 0;
    while (measure::Wall() - start < seconds) {
        usleep(2000);
        if (gFrames != seen) {
            gap = std::max(gap, measure::Wall() - last);
            last = measure::Wall();
            seen = gFrames;
        }
    }
    return {(measure::ProcessCpu() - cpu) / (seen / 25.0), seen, gap};
}

std::vector<ULONG_32> OpenPorts(bool cloud) {
    std::vector<ULONG_32> ports(PORTS);
    for (ULONG_32 &port : ports) {
        Require(Zelvane_AllocPort(&port), "port");
        // A file port paces pictures alone: its picture callback has to end the road. Frames are decoded in both cases.
        Zelvane_SetParseVideoDataCB(port, CountFrame, 1, nullptr);
        Zelvane_SetDecodeVideoMediaDataCB(
            port, [](ULONG_32, PLAYER_PICTURE_DATA_S *, void *, LONG_REAL) {}, 0, nullptr);
        if (cloud) {
            Require(Zelvane_OpenHlsStream(port) && Zelvane_UpdatePlayInfo(port, Playlist().c_str(), START),
                    "cloud port");
        } else {
            Require(Zelvane_OpenMediaFile(port, (FOLDER + "/whole.ts").c_str()) && Zelvane_PausePlay(port, 0),
                    "file port");
        }
    }
    return ports;
}

Played Play(bool cloud) {
    const std::vector<ULONG_32> ports = OpenPorts(cloud);
    const Played played = PlayFor(12);
    for (const ULONG_32 port : ports) {
        Zelvane_FreePort(port);
    }
    return played;
}

void Playing(const char *argv0) {
    MakeSegments(argv0);
    const Played cloud = Play(true);
    const Played file = Play(false);
    Require(cloud.frames > PORTS * 12 * 25 * 0.8, "frames of the cloud ports");
    printf(
        "16 cloud ports, 720p, decoded   CPU a stream second %.2f ms   file ports %.2f ms   ratio %.2f   frames %u, %u "
        "  "
        "longest gap %.0f ms\n",
        cloud.cpuPerStreamSecond * 1e3, file.cpuPerStreamSecond * 1e3,
        cloud.cpuPerStreamSecond / file.cpuPerStreamSecond, cloud.frames, file.frames, cloud.longestGap * 1e3);
}

/* ---- playlists ---- */

std::string LongPlaylist(int first, int count) {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:10\n";
    char line[200];
    for (int i = first; i < first + count; ++i) {
        snprintf(
            line, sizeof(line),
            "#EXTINF:10,\n#EXT-X-PROGRAM-DATE-TIME:2020-01-%02dT%02d:%02d:%02d.000+00:00,\nhttp://h/rec/s%d.ts?t=1\n",
            1 + i / 8640, i / 360 % 24, i / 6 % 60, i % 6 * 10, i);
        text += line;
    }
    return text + "#EXT-X-ENDLIST\n";
}

struct Taken {
    double wall, cpu; /**< ms */
};

Taken Update(ULONG_32 port, int first, int count) {
    const std::string text = LongPlaylist(first, count);
    const double start = measure::Wall();
    const double cpu = measure::Seconds(CLOCK_THREAD_CPUTIME_ID);
    Require(Zelvane_UpdatePlayInfo(port, text.c_str(), 0), "playlist");
    return {(measure::Wall() - start) * 1e3, (measure::Seconds(CLOCK_THREAD_CPUTIME_ID) - cpu) * 1e3};
}

void Playlists() {
    ULONG_32 port = 0;
    Require(Zelvane_AllocPort(&port) && Zelvane_OpenHlsStream(port), "port");
    const Taken first = Update(port, 0, 10000);
    const Taken again = Update(port, 0, 10000);
    for (int part = 1; part < 9; ++part) {
        Update(port, part * 10000, 10000);
    }
    const Taken last = Update(port, 90000, 10000);
    printf(
        "playlist of 10,000 entries      first %.0f ms (CPU %.0f)   renewed %.0f (%.0f)   appended to 90,000 %.0f "
        "(%.0f)\n",
        first.wall, first.cpu, again.wall, again.cpu, last.wall, last.cpu);
    Zelvane_FreePort(port);
}

}  // namespace

int main(int, char **argv) {
    EnterNetwork(argv);
    const pid_t nginx = StartNginx();
    Require(Zelvane_Init(), "library");  // with its own log files, whose lines are flushed
    Zelvane_SetCachePath((FOLDER + "/cache").c_str());
    Playlists();
    Zelvane_SetWriteLogCB(DropLine);
    Fetching();
    Playing(argv[0]);
    Zelvane_Cleanup();
    kill(nginx, SIGTERM);
    waitpid(nginx, nullptr, 0);
    fs::remove_all(FOLDER);
}
