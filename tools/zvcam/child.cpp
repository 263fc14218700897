#include "zvcam/child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

extern char **environ;

namespace zvcam {
namespace {

/** Spawns a program in a group of its own, with all signals as usual. @return 0 or an errno */
int Spawn(const std::vector<std::string> &command, int output, int errors, pid_t *pid) {
    std::vector<char *> words;
    for (const std::string &word : command) words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none, pipe;
    sigemptyset(&none);
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &pipe);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(pid, words[0], &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

}  // namespace

Child::~Child() {
    if (output_ >= 0) close(output_);
    if (errors_ >= 0) close(errors_);
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);  // it may stand in a write, and has nothing to tidy up
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

bool Child::Start(const std::vector<std::string> &command, Failure *failure) {
    int ends[2] = {-1, -1};
    errors_ = memfd_create("zvcam", MFD_CLOEXEC);
    int error = errors_ < 0 || pipe2(ends, O_CLOEXEC) != 0 ? errno : 0;
    output_ = ends[0];
    if (error == 0) error = Spawn(command, ends[1], errors_, &pid_);
    if (ends[1] >= 0) close(ends[1]);
    if (error == 0) return true;
    pid_ = -1;
    *failure = {kExitSource, command[0] + " does not start: " + std::strerror(error),
                error == ENOENT ? "install " + command[0] + ", or name a FILE and leave out the made sound" : ""};
    return false;
}

bool Child::Read(std::vector<uint8_t> *data) {
    sigset_t none;
    sigemptyset(&none);
    pollfd wait = {output_, POLLIN, 0};
    if (ppoll(&wait, 1, nullptr, &none) < 0) return false;
    constexpr size_t kBlock = 65536;
    const size_t before = data->size();
    data->resize(before + kBlock);
    ssize_t got = 0;
    while ((got = read(output_, data->data() + before, kBlock)) < 0 && errno == EINTR) {
    }
    data->resize(before + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    return got > 0;
}

std::string Child::LastWords() const {
    char text[1024];
    const off_t size = lseek(errors_, 0, SEEK_END);
    const ssize_t got = pread(errors_, text, sizeof text, std::max<off_t>(0, size - off_t(sizeof text)));
    std::string words(text, static_cast<size_t>(std::max<ssize_t>(got, 0)));
    while (words.ends_with('\n')) words.pop_back();
    return words.substr(words.rfind('\n') + 1);
}

}  // namespace zvcam
