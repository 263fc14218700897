#include "support/cloud_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

#include "support/client.h"

namespace support {

namespace {

const char *const INSIDE = "ZELVANE_OWN_NETWORK";

void RaiseLoopback() {
    const Socket socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    struct ifreq request = {};
    strcpy(request.ifr_name, "lo");
    ioctl(socket.Fd(), SIOCGIFFLAGS, &request);
    request.ifr_flags |= IFF_UP;
    ioctl(socket.Fd(), SIOCSIFFLAGS, &request);
}

struct sockaddr_in AddressOf(const std::string &address, uint16_t port) {
    struct sockaddr_in in = {};
    in.sin_family = AF_INET;
    in.sin_port = htons(port);
    inet_pton(AF_INET, address.c_str(), &in.sin_addr);
    return in;
}

bool CanConnect(uint16_t port) {
    const Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const struct sockaddr_in in = AddressOf("127.0.0.1", port);
    return connect(socket.Fd(), reinterpret_cast<const sockaddr *>(&in), sizeof(in)) == 0;
}

std::string Configuration(const std::string &folder, const Certificate &cert, const std::string &rules,
                          const std::string &protocols) {
    std::ostringstream text;
    text << "user root; daemon off; master_process off; worker_processes 1; error_log " << folder << "/error.log; pid "
         << folder << "/pid;\nevents { worker_connections 512; }\nhttp {\n  access_log " << folder
         << "/access.log combined;\n";
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text << "  " << kind << "_temp_path " << folder << "/tmp;\n";
    }
    text << "  server {\n    listen 127.0.0.1:80;\n    listen 127.0.0.1:443 ssl;\n    root " << folder
         << "/www;\n    ssl_certificate " << cert.Path() << ";\n    ssl_certificate_key " << cert.Key()
         << ";\n    ssl_protocols " << protocols << ";\n    " << rules << "\n  }\n}\n";
    return text.str();
}

}  // namespace

void EnterNetwork(char **argv) {
    if (getenv(INSIDE) != nullptr) {
        RaiseLoopback();
        return;
    }
    if (Run({"unshare", "-rn", "true"}) != 0) {
        return;  // as root, ports 80 and 443 of 127.0.0.x will do
    }
    setenv(INSIDE, "1", 1);
    std::vector<char *> command = {const_cast<char *>("unshare"), const_cast<char *>("-rn")};
    for (; *argv != nullptr; ++argv) {
        command.push_back(*argv);
    }
    command.push_back(nullptr);
    execvp(command[0], command.data());
}

Certificate::Certificate(const std::string &folder, const std::string &name, const std::string &subject)
    : m_stem(folder + "/" + name) {
    const std::string extensions = folder + "/" + name + ".ext";
    WriteFile(extensions, "subjectAltName=" + subject + "\n");
    const std::string ecKey = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes";
    const std::string script = "openssl req -x509 " + ecKey + " -days 2 -subj /CN=TestCA -keyout " + m_stem +
                               "-ca.key -out " + Ca() + " && openssl req " + ecKey + " -subj /CN=test -keyout " +
                               Key() + " -out " + m_stem + ".csr && openssl x509 -req -days 2 -in " + m_stem +
                               ".csr -CA " + Ca() + " -CAkey " + m_stem + "-ca.key -CAcreateserial -extfile " +
                               extensions + " -out " + Path();
    EXPECT_EQ(Run({"sh", "-c", script}), 0);
}

Nginx::Nginx(const std::string &rules, const std::string &protocols, const std::string &subject)
    : m_certificate(m_scratch.Path(), "server", subject) {
    std::filesystem::create_directory(Folder());
    WriteFile(m_scratch.At("conf"), Configuration(m_scratch.Path(), m_certificate, rules, protocols));
    const std::string conf = m_scratch.At("conf");
    m_pid = fork();
    if (m_pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);  // nothing is left behind
        execlp("nginx", "nginx", "-p", m_scratch.Path().c_str(), "-c", conf.c_str(), "-e",
               m_scratch.At("error.log").c_str(), static_cast<char *>(nullptr));
        _exit(127);
    }
    EXPECT_TRUE(WaitUntil([] { return CanConnect(80) && CanConnect(443); })) << ReadText(m_scratch.At("error.log"));
}

Nginx::~Nginx() {
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
}

size_t Nginx::Requests(const std::string &path) const {
    std::istringstream lines(ReadText(m_scratch.At("access.log")));
    size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
        count += line.find("\"GET " + path) != std::string::npos;
    }
    return count;
}

OddServer::OddServer(const std::string &address, uint16_t port, Answer answer)
    : m_answer(std::move(answer)), m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    setsockopt(m_listener.Fd(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
    const struct sockaddr_in in = AddressOf(address, port);
    EXPECT_EQ(bind(m_listener.Fd(), reinterpret_cast<const sockaddr *>(&in), sizeof(in)), 0) << strerror(errno);
    EXPECT_EQ(listen(m_listener.Fd(), 64), 0);
    m_server = std::thread([this] { Serve(); });
}

OddServer::~OddServer() {
    m_stop = true;
    m_server.join();
    std::unique_lock lock(m_mutex);
    for (int fd : m_open) {
        shutdown(fd, SHUT_RDWR);
    }
    m_allDone.wait(lock, [this] { return m_open.empty(); });
}

void OddServer::Serve() {
    struct pollfd poll = {m_listener.Fd(), POLLIN, 0};
    while (!m_stop) {
        if (::poll(&poll, 1, 10) <= 0) {
            continue;
        }
        const int fd = accept4(m_listener.Fd(), nullptr, nullptr, SOCK_CLOEXEC);
        if (fd >= 0) {
            std::lock_guard guard(m_mutex);
            m_open.push_back(fd);
            ++m_connections;
            std::thread([this, fd] { Talk(fd); }).detach();
        }
    }
}

void OddServer::Talk(int fd) {
    Socket connection(fd);
    m_answer(connection);
    std::lock_guard guard(m_mutex);
    std::erase(m_open, fd);
    connection.Close();
    m_allDone.notify_all();
}

std::string ReadRequest(const Socket &connection) {
    std::string request;
    char byte = 0;
    while (request.find("\r\n\r\n") == std::string::npos && recv(connection.Fd(), &byte, 1, 0) == 1) {
        request += byte;
    }
    return request;
}

bool Say(const Socket &connection, const std::string &text) {
    return connection.Send({reinterpret_cast<const uint8_t *>(text.data()), text.size()});
}

void Stall(const Socket &connection) {
    char bytes[4096];
    while (recv(connection.Fd(), bytes, sizeof(bytes), 0) > 0) {
    }
}

}  // namespace support
