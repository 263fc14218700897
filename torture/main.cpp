// torture: scenes of clients, in each of which the n-th call of a kind fails, for every n.
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <sstream>

#include "torture/run.h"

namespace {

using namespace torture;

const char *const USAGE =
    "usage: torture [--kind NAME]... [--scene NAME]... [--stride N] [--seed N] [--many N] [--seconds N] [--at N]\n"
    "               [--jobs N] [--list] [--untold] [--talk]\n"
    "  --kind     malloc, thread, socket, open, write, mmap, read, net, object; default all\n"
    "  --scene    one of those that --list shows; default all\n"
    "  --stride   every N-th call fails in a run of its own; default 1, all of them\n"
    "  --seed     where each sweep begins within its stride, and the order of a bounded sweep; default 0\n"
    "  --many     so many calls fail in a row; default 1; 0 for all from there on\n"
    "  --seconds  tries faults for so long, spread over all scenes and kinds\n"
    "  --at       this call alone\n"
    "  --jobs     processes at a time; default 1\n"
    "  --untold   shows which failing calls cost nothing and are told of by nobody\n"
    "  --talk     prints what the library says\n";

struct Options {
    std::vector<std::string> kinds, scenes;
    long stride = 1, seed = 0, many = 1, seconds = 0, at = -1, jobs = 1;
    bool list = false, untold = false;
};

bool Parse(int argc, char **argv, Options *options) {
    const std::map<std::string, long *> numbers = {{"--stride", &options->stride}, {"--seed", &options->seed},
                                                   {"--many", &options->many},     {"--seconds", &options->seconds},
                                                   {"--at", &options->at},         {"--jobs", &options->jobs}};
    for (int i = 1; i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--list") {
            options->list = true;
            continue;
        }
        if (name == "--untold") {
            options->untold = true;
            continue;
        }
        if (name == "--talk") {
            talkative = true;
            continue;
        }
        if (++i == argc) {
            return false;
        }
        if (name == "--kind" || name == "--scene") {
            (name == "--kind" ? options->kinds : options->scenes).push_back(argv[i]);
        } else if (numbers.count(name) == 0) {
            return false;
        } else {
            *numbers.at(name) = atol(argv[i]);
        }
    }
    return options->stride > 0 && options->jobs > 0;
}

bool Chosen(const std::vector<std::string> &names, const char *name) {
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

/** What tells one finding from another: the failing function and its nearest callers outside the C++ library. */
std::string InnerFrames(const std::string &stack) {
    std::istringstream lines(stack);
    std::string inner;
    int count = 0;
    for (std::string line; count < 3 && std::getline(lines, line);) {
        if (line.find("std::") == std::string::npos && line.find("/usr/") == std::string::npos) {
            inner += line;
            ++count;
        }
    }
    return inner;
}

struct Point {
    size_t scene;
    Fault fault;
};

/** What all processes of a sweep have come to. */
struct Totals {
    std::atomic<long> runs, reached, told, found;
};

/** Zeroes that all processes of the sweep see, for as long as it goes on. */
template <class Record>
Record *Shared(size_t count) {
    return static_cast<Record *>(
        mmap(nullptr, count * sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
}

class Sweep {
 public:
    Sweep(const Options &options, const Material &material)
        : m_options(options), m_material(material), m_totals(Shared<Totals>(1)) {}
    int Go();

 private:
    /** Has all jobs do their shares, each in a process of its own. @return whether all came through */
    bool Share(const std::function<void(long job)> &work);
    bool MeasureAll();
    std::vector<Point> Points() const;
    /** Visits every `jobs`-th point. */
    void Work(const std::vector<Point> &points, long job);
    void Visit(Runner *runner, const Point &point);
    void Print(const SceneRow &scene, const Fault &fault, const Finding &finding);
    bool IsTimeUp() const {
        return m_options.seconds > 0 &&
               std::chrono::steady_clock::now() - m_start > std::chrono::seconds(m_options.seconds);
    }

    const Options &m_options;
    const Material &m_material;
    Totals *m_totals;
    std::vector<SceneRow> m_scenes;
    Baseline *m_baselines = nullptr;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::map<std::string, long> m_known, m_untold; /**< by what and where */
};

/** How often a scene makes calls of each kind, and what comes of it. */
void PrintBaseline(const SceneRow &scene, const Baseline &baseline) {
    printf("%-16s", scene.name);
    for (int kind = 0; kind < KINDS; ++kind) {
        printf(" %s %ld", KIND_NAMES[kind], baseline.calls[kind]);
    }
    printf("\n%16s", "");
    for (size_t i = 0; i < baseline.outcome.count; ++i) {
        printf(" %s %ld", baseline.outcome.figures[i].name, baseline.outcome.figures[i].value);
    }
    printf("\n");
    fflush(stdout);
}

bool Sweep::MeasureAll() {
    for (const SceneRow &scene : AllScenes()) {
        if (Chosen(m_options.scenes, scene.name)) {
            m_scenes.push_back(scene);
        }
    }
    m_baselines = Shared<Baseline>(m_scenes.size());
    bool whole = Share([this](long job) {
        Runner runner(m_material, static_cast<int>(job));
        for (size_t i = static_cast<size_t>(job); i < m_scenes.size(); i += static_cast<size_t>(m_options.jobs)) {
            runner.Measure(m_scenes[i], &m_baselines[i]);
        }
    });
    for (size_t i = 0; i < m_scenes.size(); ++i) {
        if (m_baselines[i].failure[0] != '\0') {
            printf("torture: %s fails without a fault: %s\n", m_scenes[i].name, m_baselines[i].failure);
            whole = false;
        } else if (m_options.list) {
            PrintBaseline(m_scenes[i], m_baselines[i]);
        }
    }
    return whole && !m_scenes.empty();
}

/** All faults that were asked for; for a bounded sweep so that its first part has something of everything. */
std::vector<Point> Sweep::Points() const {
    std::vector<std::pair<size_t, Point>> ranked;
    std::mt19937 dice(static_cast<unsigned>(m_options.seed));
    const long many = m_options.many > 0 ? m_options.many : 1L << 40;
    for (size_t scene = 0; scene < m_scenes.size(); ++scene) {
        for (int kind = 0; kind < KINDS; ++kind) {
            if (!Chosen(m_options.kinds, KIND_NAMES[kind])) {
                continue;
            }
            const long calls = m_baselines[scene].calls[kind];
            std::vector<long> numbers;
            for (long n = m_options.seed % m_options.stride; n < calls && m_options.at < 0; n += m_options.stride) {
                numbers.push_back(n);
            }
            if (m_options.at >= 0) {
                numbers.push_back(m_options.at);
            }
            if (m_options.seconds > 0) {
                std::shuffle(numbers.begin(), numbers.end(), dice);
            }
            for (size_t i = 0; i < numbers.size(); ++i) {
                const size_t rank = m_options.seconds > 0 ? i : 0;
                ranked.push_back({rank, {scene, {static_cast<Kind>(kind), numbers[i], many}}});
            }
        }
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](auto &a, auto &b) { return a.first < b.first; });
    std::vector<Point> points;
    std::transform(ranked.begin(), ranked.end(), std::back_inserter(points), [](auto &r) { return r.second; });
    return points;
}

void Sweep::Print(const SceneRow &scene, const Fault &fault, const Finding &finding) {
    const std::string at = "--scene " + std::string(scene.name) + " --kind " + KIND_NAMES[fault.kind] + " --at " +
                           std::to_string(fault.first) +
                           (m_options.many != 1 ? " --many " + std::to_string(m_options.many) : "");
    if (!finding.what.empty()) {
        printf("\nFINDING  scripts/torture %s: %s\n%s%.12000s\n", at.c_str(), finding.what.c_str(),
               finding.where.c_str(), finding.said.c_str());
    } else {
        printf("untold   scripts/torture %s:%s\n", at.c_str(), InnerFrames(finding.where).c_str());
    }
    fflush(stdout);
}

void Sweep::Visit(Runner *runner, const Point &point) {
    const SceneRow &scene = m_scenes[point.scene];
    const Finding finding = runner->Run(scene, m_baselines[point.scene], point.fault);
    ++m_totals->runs;
    m_totals->reached += finding.reached;
    m_totals->told += finding.told;
    m_totals->found += !finding.what.empty();
    const std::string place = InnerFrames(finding.where);
    const bool untold = m_options.untold && finding.what.empty() && finding.reached && !finding.told;
    if ((!finding.what.empty() && m_known[finding.what.substr(0, finding.what.find(':')) + place]++ == 0) ||
        (untold && m_untold[place]++ == 0)) {
        Print(scene, point.fault, finding);
    }
}

void Sweep::Work(const std::vector<Point> &points, long job) {
    Runner runner(m_material, static_cast<int>(job));
    for (size_t i = static_cast<size_t>(job); i < points.size() && !IsTimeUp();
         i += static_cast<size_t>(m_options.jobs)) {
        Visit(&runner, points[i]);
    }
}

bool Sweep::Share(const std::function<void(long job)> &work) {
    std::vector<pid_t> others;
    fflush(stdout);
    for (long job = 1; job < m_options.jobs; ++job) {
        others.push_back(fork());
        if (others.back() == 0) {
            work(job);
            fflush(stdout);
            _exit(0);
        }
    }
    work(0);
    bool whole = true;
    for (const pid_t other : others) {
        int status = 0;
        waitpid(other, &status, 0);
        whole = whole && status == 0;
    }
    return whole;
}

int Sweep::Go() {
    if (!MeasureAll()) {
        return 1;
    }
    if (m_options.list) {
        return 0;
    }
    const std::vector<Point> points = Points();
    m_start = std::chrono::steady_clock::now();
    const bool whole = Share([&](long job) { Work(points, job); });
    printf("torture: %ld of %zu faults tried, %ld met, %ld told of, %ld findings\n", m_totals->runs.load(),
           points.size(), m_totals->reached.load(), m_totals->told.load(), m_totals->found.load());
    return m_totals->found > 0 || !whole;
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    if (!Parse(argc, argv, &options)) {
        fputs(USAGE, stderr);
        return 2;
    }
    support::EnterNetwork(argv);
    const Material material;
    const char *build = getenv("ZELVANE_BUILD");
    dlopen((std::string(build != nullptr ? build : ".") + "/lib/libZvCodec.so").c_str(), RTLD_LAZY);
    if (LearnLibraries() < 8) {
        fputs("torture: the codec libraries are not all there\n", stderr);
        return 2;
    }
    return Sweep(options, material).Go();
}
