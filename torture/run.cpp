#include "torture/run.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#ifdef ZELVANE_SANITIZED
#include <sanitizer/common_interface_defs.h>
#include <sanitizer/lsan_interface.h>
#endif

#include "support/net_peer.h"

namespace torture {

namespace {

constexpr int PATIENCE_SECONDS = 90;  // of the watchdog: two runs whose scenes wait in vain take some 40

void PrintStack(int) {
#ifdef ZELVANE_SANITIZED
    __sanitizer_print_stack_trace();
#endif
}

int CheckLeaks() {
#ifdef ZELVANE_SANITIZED
    return __lsan_do_recoverable_leak_check();
#else
    return 0;
#endif
}

std::string Place(uintptr_t place) {
    char text[512] = "";
#ifdef ZELVANE_SANITIZED
    __sanitizer_symbolize_pc(reinterpret_cast<void *>(place - 1), "%f %S", text, sizeof(text));
#else
    Dl_info info = {};
    dladdr(reinterpret_cast<void *>(place), &info);
    snprintf(text, sizeof(text), "%s+0x%lx", info.dli_fname, place - reinterpret_cast<uintptr_t>(info.dli_fbase));
#endif
    return text;
}

/** Descriptors and threads once the process has come to rest: a detached thread may still be ending. */
void CountWhatIsLeft(Outcome *outcome, const Outcome *expected) {
    for (int i = 0; i < 200; ++i) {
        outcome->descriptors = static_cast<long>(support::OpenDescriptors());
        outcome->threads = static_cast<long>(support::Threads());
        if (expected == nullptr || outcome->threads <= expected->threads) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

std::string Differences(const Outcome &got, const Outcome &expected) {
    std::string text;
    for (size_t i = 0; i < expected.count; ++i) {
        const Figure &wanted = expected.figures[i];
        const long value = i < got.count ? got.figures[i].value : -1;
        if (value != wanted.value) {
            text +=
                std::string(" ") + wanted.name + " " + std::to_string(value) + " for " + std::to_string(wanted.value);
        }
    }
    return text;
}

std::string Surplus(const char *what, long got, long expected) {
    return got > expected ? std::string(" ") + std::to_string(got - expected) + " " + what : "";
}

/** What is wrong with a run that ended well. */
std::string Judge(const Record &record, const Baseline &baseline) {
    const Outcome &after = record.outcomes[1];
    if (record.leaked) {
        return "leak";
    }
    if (const std::string left = Surplus("descriptors", after.descriptors, baseline.outcome.descriptors) +
                                 Surplus("threads", after.threads, baseline.outcome.threads);
        !left.empty()) {
        return "left behind:" + left;
    }
    if (record.mute[0] != '\0') {
        return std::string("refused without an error: ") + record.mute;
    }
    if (const std::string damage = Differences(after, baseline.outcome); !damage.empty()) {
        return "not as before once the fault is gone:" + damage;
    }
    if (const std::string loss = Differences(record.outcomes[0], baseline.outcome);
        record.faults.failed > 0 && !record.said && !loss.empty()) {
        return "lost in silence:" + loss;
    }
    return "";
}

/** Has each thread of a process that hangs print its stack. */
void PrintStacks(pid_t child) {
    for (const auto &task : std::filesystem::directory_iterator("/proc/" + std::to_string(child) + "/task")) {
        syscall(SYS_tgkill, child, std::stoi(task.path().filename()), SIGUSR2);
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
    }
}

}  // namespace

std::string Stack(const FaultRecord &faults) {
    std::string text = std::string("    ") + faults.what + "\n";
    for (size_t i = 0; i < faults.depth; ++i) {
        text += "    " + Place(faults.place[i]) + "\n";
    }
    return text;
}

Runner::Runner(const Material &material, int number)
    : m_material(material),
      m_folder(material.folder.At("work" + std::to_string(number))),
      m_output(material.folder.At("output" + std::to_string(number))),
      m_record(static_cast<Record *>(
          mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}

Runner::~Runner() { munmap(m_record, sizeof(Record)); }

void Runner::Child(const SceneRow &scene, const Baseline *baseline, const Fault &fault) {
    static const Words nothing = {};
    const Outcome *expected = baseline != nullptr ? &baseline->outcome : nullptr;
    for (const bool faulted : {true, false}) {
        Outcome *outcome = &m_record->outcomes[faulted ? 0 : 1];
        Stage stage(m_material, m_folder, outcome);
        stage.EmptyFolder();
        Listen(m_record, baseline != nullptr ? &baseline->words : &nothing, faulted);
        if (faulted) {
            Arm(&m_record->faults, fault.kind, fault.first, fault.many);
        }
        scene.run(stage);
        Disarm();
        CountWhatIsLeft(outcome, expected);
    }
    m_record->leaked = CheckLeaks() != 0;
    m_record->done = true;
}

std::string Runner::Fork(const SceneRow &scene, const Baseline *baseline, const Fault &fault) {
    memset(static_cast<void *>(m_record), 0, sizeof(*m_record));
    const pid_t child = fork();
    if (child == 0) {
        const int fd = talkative ? dup(2) : open(m_output.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        dup2(fd, 1);
        dup2(fd, 2);
        close(fd);
        signal(SIGUSR2, PrintStack);
        Child(scene, baseline, fault);
        _exit(0);
    }
    int status = 0;
    for (int waited = 0; waitpid(child, &status, WNOHANG) == 0; ++waited) {
        if (waited > PATIENCE_SECONDS * 500) {
            PrintStacks(child);
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return "hangs";
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (WIFSIGNALED(status)) {
        return "killed by signal " + std::to_string(WTERMSIG(status));
    }
    return m_record->done ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

void Runner::Measure(const SceneRow &scene, Baseline *baseline) {
    std::string failure = Fork(scene, nullptr, {});
    if (failure.empty() && m_record->leaked) {
        failure = "leak";
    }
    if (failure.empty()) {
        failure = Differences(m_record->outcomes[0], m_record->outcomes[1]);
    }
    if (!failure.empty()) {
        failure += "\n" + ReadText(m_output);
        strncpy(baseline->failure, failure.c_str(), sizeof(baseline->failure) - 1);
    }
    std::copy(std::begin(m_record->faults.calls), std::end(m_record->faults.calls), baseline->calls);
    baseline->words = m_record->words;
    baseline->outcome = m_record->outcomes[1];
}

Finding Runner::Run(const SceneRow &scene, const Baseline &baseline, const Fault &fault) {
    Finding finding;
    finding.what = Fork(scene, &baseline, fault);
    if (finding.what.empty()) {
        finding.what = Judge(*m_record, baseline);
    }
    finding.reached = m_record->faults.failed > 0;
    finding.told = m_record->said;
    if (!finding.what.empty() || (finding.reached && !finding.told)) {
        finding.where = Stack(m_record->faults);
        finding.said = (m_record->said ? std::string("said: ") + m_record->saying + "\n" : "") + ReadText(m_output);
    }
    return finding;
}

}  // namespace torture
