// A run of one of our programs, and how its words are read.
#ifndef ZELVANE_TESTS_TOOLS_PROGRAM_H
#define ZELVANE_TESTS_TOOLS_PROGRAM_H

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "support/temp_dir.h"

/** Starts a program of the build in an empty folder; ends it at the latest with the object. */
class Program {
 public:
    Program(const std::string &name, std::vector<std::string> words, const std::string &display = "") {
        const char *build = std::getenv("ZELVANE_BUILD");
        words.insert(words.begin(), std::string(build != nullptr ? build : ".") + "/bin/" + name);
        pid_ = fork();
        if (pid_ != 0) return;
        std::vector<char *> arguments;
        for (std::string &word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        dup2(open(output_.At("out").c_str(), O_CREAT | O_WRONLY, 0600), STDOUT_FILENO);
        dup2(open(output_.At("err").c_str(), O_CREAT | O_WRONLY, 0600), STDERR_FILENO);
        setenv("DISPLAY", display.c_str(), 1);
        if (chdir(folder_.Path().c_str()) != 0) _exit(126);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    ~Program() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /** Exit code; a signal's number above 1000. */
    int Wait() {
        int state = 0;
        waitpid(pid_, &state, 0);
        pid_ = -1;
        return WIFEXITED(state) ? WEXITSTATUS(state) : 1000 + WTERMSIG(state);
    }
    void Interrupt() const { Signal(SIGINT); }
    void Signal(int number) const { kill(pid_, number); }
    std::string Out() const { return ReadText(output_.At("out")); }
    std::string Err() const { return ReadText(output_.At("err")); }
    /** Where it was called. */
    const std::string &Folder() const { return folder_.Path(); }

 private:
    Scratch output_, folder_;
    pid_t pid_ = -1;
};

/** The last value of a key in JSON, as text. */
inline std::string Last(const std::string &json, const std::string &key) {
    const size_t at = json.rfind("\"" + key + "\": ");
    if (at == std::string::npos) return "";
    const size_t begin = at + key.size() + 4;
    return json.substr(begin, json.find_first_of(",}", begin) - begin);
}

/** Waits for up to ten seconds. */
inline bool Soon(const std::function<bool()> &holds) {
    for (int i = 0; i < 400; ++i) {
        if (holds()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    return false;
}

#endif
