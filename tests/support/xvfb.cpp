#include "support/xvfb.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

[[noreturn]] void RunServer(int iNameFd) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::string fd = std::to_string(iNameFd);
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1920x1080x24", "-nolisten", "tcp", "-noreset",
           static_cast<char *>(nullptr));
    _exit(127);
}

// The server writes its number and a line end once it takes connections.
std::string ReadNumber(int iFd) {
    std::string number;
    char cDigit = 0;
    while (read(iFd, &cDigit, 1) == 1 && cDigit != '\n') {
        number += cDigit;
    }
    return number;
}

}  // namespace

Xvfb::Xvfb() {
    int aiPipe[2];
    if (pipe(aiPipe) != 0) {
        return;
    }
    m_pid = fork();
    if (m_pid == 0) {
        close(aiPipe[0]);
        RunServer(aiPipe[1]);
    }
    close(aiPipe[1]);
    std::string number = m_pid > 0 ? ReadNumber(aiPipe[0]) : std::string();
    close(aiPipe[0]);
    if (!number.empty()) {
        m_name = ":" + number;
    }
}

Xvfb::~Xvfb() { Stop(); }

void Xvfb::Stop() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        waitpid(m_pid, nullptr, 0);
        m_pid = -1;
    }
}

const char *SharedDisplay() {
    static Xvfb server;
    return server.Name().empty() ? nullptr : server.Name().c_str();
}

}  // namespace support
