// One fetch: nginx as a real peer, and servers that misbehave; what ends it, what it leaves.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "player_ext.h"
#include "support/client.h"
#include "support/cloud_server.h"
#include "support/elapsed.h"
#include "support/log_lines.h"
#include "zelvane_modules.h"

using support::Nginx;
using support::OddServer;
using support::ReadRequest;
using support::Say;
using support::Socket;
using support::Stall;

namespace {

std::string MadeBody(size_t size) {
    std::string body(size, '\0');
    for (size_t i = 0; i < size; ++i) {
        body[i] = static_cast<char>(i * 2654435761U >> 13);
    }
    return body;
}

/** A node of its own list, as the download thread makes one. */
HLS_NODE_LIST NodeOf(const std::string &host, const std::string &url, bool https = false) {
    HLS_NODE_LIST list(1);
    list.front().strHostName = host;
    list.front().strDownURL = url;
    list.front().ulPort = https ? 443 : 80;
    list.front().eProtocolType = https ? HLS_STREAM_TYPE_HTTPS : HLS_STREAM_TYPE_HTTP;
    return list;
}

struct Fetched {
    ULONG_32 result = 0;
    std::string body;
    bool operator==(const Fetched &other) const = default;
};

std::ostream &operator<<(std::ostream &out, const Fetched &fetched) {
    return out << fetched.result << " with " << fetched.body.size() << " bytes";
}

/** The four calls, as long as `infos` wants. */
Fetched Fetch(HLS_NODE_LIST list, PLAYER_HLS_TYPE_INFO_S *infos) {
    const HLS_NODE_ITER node = list.begin();
    WYK_SOCKET_S socket = -1;
    CYASSL *tls = nullptr;
    char *data = nullptr;
    size_t size = 0;
    FILE *file = open_memstream(&data, &size);
    Fetched fetched;
    fetched.result = Hls_Socket_Init(node, &socket, &tls);
    if (fetched.result == 0) {
        EXPECT_EQ(tls != nullptr, node->eProtocolType == HLS_STREAM_TYPE_HTTPS);
        fetched.result = Hls_Socket_Send(node, socket, tls);
        NET_STATEINFO_S state = {};
        if (fetched.result == 0) {
            fetched.result = Hls_Socket_Recv(node, socket, tls, &state, infos, file);
        }
        Hls_Socket_Close(node, socket, tls);
    }
    fclose(file);
    fetched.body.assign(data, size);
    free(data);
    return fetched;
}

Fetched Fetch(const HLS_NODE_LIST &list) {
    PLAYER_HLS_TYPE_INFO_S infos = {};
    infos.bStartDownload = 1;
    return Fetch(list, &infos);
}

const std::string OK = "HTTP/1.1 200 OK\r\nContent-Length: ";

class Fetching : public testing::Test {
 protected:
    support::Library m_library;  // sets the limit of the cache
};

}  // namespace

TEST_F(Fetching, NginxServesWholeSegmentsOverHttpAndEveryTls) {
    const std::string body = MadeBody(3000000);
    for (const char *protocols : {"TLSv1.2", "TLSv1.3"}) {
        const Nginx nginx("", protocols);
        nginx.Put("seg.ts", body);
        EXPECT_EQ(Fetch(NodeOf("127.0.0.1", "/seg.ts?token=1")), (Fetched{0, body}));
        for (int i = 0; i < 3; ++i) {  // the later ones resume a session
            EXPECT_EQ(Fetch(NodeOf("localhost", "/seg.ts", true)), (Fetched{0, body})) << protocols << i;
        }
        EXPECT_EQ(nginx.Requests("/seg.ts"), 4U);
    }
}

TEST_F(Fetching, NginxAnswersOfEveryKind) {
    const std::string body = MadeBody(100000);
    const Nginx nginx(
        "location /slow { limit_rate 400k; } location /moved { return 302 /seg.ts; } location /expired { return 403; "
        "}\n"
        "location /login { return 401; } location /cut { proxy_pass http://127.0.0.3:80; }\n"
        "location /nothing { return 200 \"\"; } location /chunked { ssi on; ssi_types *; }");
    std::filesystem::create_directory(nginx.Folder() + "/slow");
    nginx.Put("slow/seg.ts", body);
    nginx.Put("seg.ts", body);
    std::filesystem::create_directory(nginx.Folder() + "/chunked");
    nginx.Put("chunked/seg.ts", std::string(3000, 'x'));
    nginx.Put("chunked/big.ts", std::string(30000, 'x'));
    const OddServer upstream("127.0.0.3", 80, [](Socket &connection) {
        ReadRequest(connection);
        Say(connection, OK + "5000\r\n\r\n" + std::string(1000, 'x'));
    });
    const struct {
        const char *path;
        Fetched wanted;
    } rows[] = {
        {"/slow/seg.ts", {0, body}},
        {"/moved", {PLAYER_ERR_HLS_HTTP_STATUS, ""}},
        {"/expired", {PLAYER_ERR_HLS_HTTP_DENIED, ""}},
        {"/login", {PLAYER_ERR_HLS_HTTP_DENIED, ""}},
        {"/absent", {PLAYER_ERR_HLS_HTTP_STATUS, ""}},
        {"/cut", {0, std::string(1000, 'x')}},  // the peer's end is a good end
        {"/chunked/big.ts", {0, ""}},           // a head that never ends fills its room
    };
    for (const auto &row : rows) {
        EXPECT_EQ(Fetch(NodeOf("127.0.0.1", row.path)), row.wanted) << row.path;
        EXPECT_EQ(Fetch(NodeOf("127.0.0.1", row.path, true)), row.wanted) << row.path << " by HTTPS";
    }
}

TEST_F(Fetching, OddAnswersEndAsTold) {
    const std::string big(BUFSIZ, 'h');
    const struct {
        const char *what;
        std::vector<std::string> pieces; /**< each a packet of its own; then the server closes */
        Fetched wanted;
    } rows[] = {
        {"whole", {OK + "4\r\n\r\nbody"}, {0, "body"}},
        {"in two reads", {OK, "4\r\n\r", "\nbo", "dy"}, {1, ""}},  // no number yet behind the length's name
        {"in better reads", {OK + "4", "\r\n\r", "\nbo", "dy"}, {0, "body"}},
        {"the status in pieces", {"H", "TTP/1.1 200 OK\r\n"}, {1, ""}},
        {"shorter than told", {OK + "9\r\n\r\nbody"}, {0, "body"}},
        {"longer than told, with the head", {OK + "2\r\n\r\nbody"}, {0, "body"}},
        {"longer than told, behind it", {OK + "2\r\n\r\n", "body"}, {0, "bo"}},
        {"length 0 is none", {OK + "0\r\n\r\n", "body"}, {0, "body"}},
        {"a length that wraps to 0 likewise", {OK + "4294967296\r\n\r\n", "body"}, {0, "body"}},
        {"a huge length", {OK + "9223372036854775807999\r\n\r\nbody"}, {1, ""}},
        {"a negative length", {OK + "-4\r\n\r\nbody"}, {1, ""}},
        {"no length's number", {OK + "four\r\n\r\nbody"}, {1, ""}},
        {"no blank before the length", {"HTTP/1.1 200 OK\r\nContent-Length:4\r\n\r\nbody"}, {1, ""}},
        {"lower case", {"HTTP/1.1 200 OK\r\ncontent-length: 4\r\n\r\nbody"}, {0, ""}},
        {"no head at all", {}, {0, ""}},
        {"another protocol", {"SSH-2.0-x\r\n"}, {1, ""}},
        {"no status", {"HTTP/1.1 OK\r\n"}, {1, ""}},
        {"a status that wraps to 200", {"HTTP/1.1 4294967496 x\r\nContent-Length: 4\r\n\r\nbody"}, {0, "body"}},
        {"version 1.0", {"HTTP/1.0 200 OK\r\nContent-Length: 4\r\n\r\nbody"}, {1, ""}},
        {"a head of 4096", {OK + "4\r\nX: " + std::string(4056, 'x') + "\r\n\r\n", "body"}, {0, ""}},
        {"a head without an end", {OK + "4\r\n" + big}, {0, ""}},
        {"zeros in the head", {std::string("HTTP/1.1 200\0", 13) + "Content-Length: 4\r\n\r\nbody"}, {0, ""}},
    };
    for (const auto &row : rows) {
        const OddServer server("127.0.0.2", 80, [&](Socket &connection) {
            ReadRequest(connection);
            for (const std::string &piece : row.pieces) {
                Say(connection, piece);
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
            }
        });
        EXPECT_EQ(Fetch(NodeOf("127.0.0.2", "/x")), row.wanted) << row.what;
    }
}

TEST_F(Fetching, AsksInExactlyTheseWords) {
    std::string request;
    const OddServer server("127.0.0.2", 80, [&](Socket &connection) {
        request = ReadRequest(connection);
        Say(connection, OK + "1\r\n\r\nx");
    });
    EXPECT_EQ(Fetch(NodeOf("127.0.0.2", "/a/b.ts?k=%d")).result, 0U);
    EXPECT_EQ(request, "GET /a/b.ts?k=%d HTTP/1.1\r\nHost: 127.0.0.2\r\n\r\n");
}

TEST_F(Fetching, AnEndlessBodyStopsAtTheLimitOfTheCache) {
    Zelvane_SetMaxCache(100);
    const OddServer server("127.0.0.2", 80, [&](Socket &connection) {
        ReadRequest(connection);
        for (Say(connection, OK + "0\r\n\r\n"); Say(connection, std::string(1 << 20, 'x'));) {
        }
    });
    const Fetched fetched = Fetch(NodeOf("127.0.0.2", "/x"));
    EXPECT_EQ(fetched.result, 1U);
    EXPECT_LE(fetched.body.size(), 100U << 20);
    EXPECT_GT(fetched.body.size(), 99U << 20);
}

TEST_F(Fetching, AFullDiskIsAFailure) {
    const OddServer server("127.0.0.2", 80, [&](Socket &connection) {
        ReadRequest(connection);
        Say(connection, OK + "400000\r\n\r\n" + std::string(400000, 'x'));
    });
    HLS_NODE_LIST list = NodeOf("127.0.0.2", "/x");
    WYK_SOCKET_S socket = -1;
    CYASSL *tls = nullptr;
    ASSERT_EQ(Hls_Socket_Init(list.begin(), &socket, &tls), 0U);
    ASSERT_EQ(Hls_Socket_Send(list.begin(), socket, tls), 0U);
    FILE *full = fopen("/dev/full", "wb");
    PLAYER_HLS_TYPE_INFO_S infos = {};
    infos.bStartDownload = 1;
    EXPECT_EQ(Hls_Socket_Recv(list.begin(), socket, tls, nullptr, &infos, full), 1U);
    fclose(full);
    Hls_Socket_Close(list.begin(), socket, tls);
}

/* ---- ends and failures ---- */

TEST_F(Fetching, ServersThatAreNotThereOrNoneAtAll) {
    const LogLines lines;
    EXPECT_EQ(Fetch(NodeOf("127.0.0.9", "/")).result, PLAYER_ERR_HLS_CONNECT);
    EXPECT_EQ(LogLines::Errors("Connect Socket Error[0x6f]."), 1U);
    for (const char *host : {"no.such.host.invalid", "127.0.0.1:8080", "", "a b"}) {
        EXPECT_EQ(Fetch(NodeOf(host, "/")).result, PLAYER_ERR_HLS_CONNECT) << host;
    }
    EXPECT_EQ(LogLines::Errors("Hls_Socket_Init Failed, Failed To Resolve Host Names."), 4U);
    const OddServer garbage("127.0.0.2", 443, [](Socket &connection) { Say(connection, "not TLS at all\r\n\r\n"); });
    EXPECT_EQ(Fetch(NodeOf("127.0.0.2", "/", true)).result, 1U);
    EXPECT_EQ(LogLines::Errors("CyaSSL Connect Socket Failed."), 1U);
}

TEST_F(Fetching, AStallingServerIsLeftWhenTheStreamEnds) {
    for (const char *said : {"", "HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 9999\r\n\r\nbody"}) {
        const OddServer server("127.0.0.2", 80, [&](Socket &connection) {
            ReadRequest(connection);
            Say(connection, said);
            Stall(connection);
        });
        PLAYER_HLS_TYPE_INFO_S infos = {};
        infos.bStartDownload = 1;
        ExpectWake([&] { EXPECT_EQ(Fetch(NodeOf("127.0.0.2", "/"), &infos).result, PLAYER_ERR_HLS_CANCELLED); },
                   [&] { word::Store(infos.bStartDownload, 0); });
    }
}

TEST_F(Fetching, AClosedPeerRaisesNoSignal) {
    const OddServer hasty("127.0.0.2", 80, [](Socket &connection) { connection.Reset(); });
    const OddServer hastyTls("127.0.0.2", 443, [](Socket &connection) { connection.Reset(); });
    for (int i = 0; i < 50; ++i) {
        EXPECT_NE(Fetch(NodeOf("127.0.0.2", "/")).result, PLAYER_ERR_HLS_CANCELLED);
        EXPECT_NE(Fetch(NodeOf("127.0.0.2", "/", true)).result, 0U);
    }
}

TEST_F(Fetching, TenThousandFailuresLeaveNothing) {
    const OddServer rude("127.0.0.2", 80, [](Socket &connection) { Say(connection, "HTTP/1.1 404 No\r\n\r\n"); });
    const OddServer rudeTls("127.0.0.2", 443, [](Socket &connection) { Say(connection, "no"); });
    const auto fail = [](int times) {
        for (int i = 0; i < times; ++i) {
            const char *const hosts[] = {"127.0.0.2", "127.0.0.9", "127.0.0.2", "localhost"};
            EXPECT_NE(Fetch(NodeOf(hosts[i % 4], "/", i % 4 == 2)).result, 0U);
        }
    };
    fail(400);
    m_library.ForgetLines();
    ASSERT_TRUE(support::WaitUntil([] { return support::Threads() <= 16; }));
    struct rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    const size_t descriptors = support::OpenDescriptors();
    for (int i = 0; i < 10; ++i) {
        fail(1000 / SANITIZED_SLOWDOWN);
        m_library.ForgetLines();
    }
    getrusage(RUSAGE_SELF, &after);
    EXPECT_TRUE(support::WaitUntil([&] { return support::OpenDescriptors() <= descriptors; }));
    EXPECT_TRUE(support::WaitUntil([] { return support::Threads() <= 16; }));
    if (SANITIZED_SLOWDOWN == 1) {
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 16384) << "KiB";
    }
}

/* ---- who the server is ---- */

TEST_F(Fetching, ServersAreVerifiedWhenTheClientWants) {
    const Scratch folder;
    const support::Certificate other(folder.Path(), "other", "DNS:localhost");
    WriteFile(folder.At("text.pem"), "no certificate");
    for (const std::string &path : {folder.At("missing.pem"), folder.At("text.pem"), folder.Path()}) {
        EXPECT_FALSE(ZelvaneExt_SetCloudCa(path.c_str())) << path;
        EXPECT_EQ(Zelvane_GetLastError(), ULONG_32{PLAYER_ERR_FILE_NOT_FOUND});
    }
    const auto fetch = [](const char *host) { return Fetch(NodeOf(host, "/seg.ts", true)).result; };
    {
        const Nginx nginx;
        nginx.Put("seg.ts", "x");
        EXPECT_EQ(fetch("localhost"), 0U) << "not verified unless asked for";
        ASSERT_TRUE(ZelvaneExt_SetCloudCa(nginx.Cert().Ca().c_str()));
        EXPECT_EQ(fetch("localhost"), 0U);
        EXPECT_EQ(fetch("127.0.0.1"), 0U) << "an address in the certificate";
        ASSERT_TRUE(ZelvaneExt_SetCloudCa(other.Ca().c_str()));
        EXPECT_EQ(fetch("localhost"), PLAYER_ERR_HLS_CONNECT) << "another issuer, and no session of before helps";
    }
    const Nginx elsewhere("", "TLSv1.2 TLSv1.3", "DNS:elsewhere.example,IP:127.0.0.7");
    elsewhere.Put("seg.ts", "x");
    ASSERT_TRUE(ZelvaneExt_SetCloudCa(elsewhere.Cert().Ca().c_str()));
    support::Library::ForgetLines();
    EXPECT_EQ(fetch("localhost"), PLAYER_ERR_HLS_CONNECT) << "another name";
    EXPECT_EQ(support::Library::LinesWith("Server [localhost] Not Verified"), 1U);
    EXPECT_EQ(fetch("127.0.0.1"), PLAYER_ERR_HLS_CONNECT) << "another address";
    ASSERT_TRUE(ZelvaneExt_SetCloudCa(nullptr));
    EXPECT_EQ(fetch("localhost"), 0U);
}
