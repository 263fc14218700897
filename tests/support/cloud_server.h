/**
 * @file cloud_server.h
 * @brief Servers of cloud recordings for tests: a real nginx, and servers that do what no real one does.
 *
 * The player knows ports 80 and 443 alone, so the tests of a room that uses these run in a network namespace of their
 * own: its main() begins with EnterNetwork().
 */
#ifndef ZELVANE_TESTS_SUPPORT_CLOUD_SERVER_H
#define ZELVANE_TESTS_SUPPORT_CLOUD_SERVER_H

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/net_peer.h"
#include "support/temp_dir.h"

namespace support {

/** Starts the program again in a network namespace of its own, if the system lets it; else goes on as it is. */
void EnterNetwork(char **argv);

/** A certificate and its key, signed by a CA made on the spot; all in a folder. */
class Certificate {
 public:
    Certificate(const std::string &folder, const std::string &name, const std::string &subject);
    std::string Path() const { return m_stem + ".pem"; }
    std::string Key() const { return m_stem + ".key"; }
    std::string Ca() const { return m_stem + "-ca.pem"; }

 private:
    std::string m_stem;
};

/** Debian's nginx on 127.0.0.1, ports 80 and 443; gone with the object. */
class Nginx {
 public:
    /** `rules` are lines for the one server of the configuration, `protocols` what ssl_protocols says, `subject` whom
     * its certificate is for. */
    explicit Nginx(const std::string &rules = "", const std::string &protocols = "TLSv1.2 TLSv1.3",
                   const std::string &subject = "DNS:localhost,IP:127.0.0.1");
    ~Nginx();
    Nginx(const Nginx &) = delete;
    Nginx &operator=(const Nginx &) = delete;

    std::string Folder() const { return m_scratch.At("www"); }
    void Put(const std::string &name, const std::string &content) const { WriteFile(Folder() + "/" + name, content); }
    const Certificate &Cert() const { return m_certificate; }
    /** How many requests for this path it answered, or all with "". */
    size_t Requests(const std::string &path) const;

 private:
    Scratch m_scratch;
    Certificate m_certificate;
    pid_t m_pid = -1;
};

/** Answers each connection to a loopback address by a function of the test's, on a thread of its own. */
class OddServer {
 public:
    using Answer = std::function<void(Socket &connection)>;
    OddServer(const std::string &address, uint16_t port, Answer answer);
    ~OddServer();
    OddServer(const OddServer &) = delete;
    OddServer &operator=(const OddServer &) = delete;

    size_t Connections() const { return m_connections; }

 private:
    void Serve();
    void Talk(int fd);

    Answer m_answer;
    Socket m_listener;
    std::atomic<bool> m_stop{false};
    std::atomic<size_t> m_connections{0};
    std::mutex m_mutex;
    std::vector<int> m_open; /**< connections that are being answered: shut down at the end */
    std::condition_variable m_allDone;
    std::thread m_server;
};

/** Reads until the peer has sent an empty line, or closed. */
std::string ReadRequest(const Socket &connection);
/** Sends a text; false when the peer is gone. */
bool Say(const Socket &connection, const std::string &text);
/** Keeps the connection open and silent until the peer or the server's end closes it. */
void Stall(const Socket &connection);

}  // namespace support

#endif
