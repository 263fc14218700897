// torture: scenes of clients, in each of which the n-th call of a kind fails, for every n.
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <sstream>

#include "torture/run.h"

namespace {

using namespace torture;

const char *const USAGE =
    "usage: torture [--kind NAME]... [--scene NAME]... [--stride N] [--seed N] [--many N] [--seconds N] [--at N]\n"
    "               [--jobs N] [--list] [--talk]\n"
    "  --kind     malloc, thread, socket, open, write, mmap, read, net, object; default all\n"
    "  --scene    one of those that --list shows; default all\n"
    "  --stride   every N-th call fails in a run of its own; default 1, all of them\n"
    "  --seed     where each sweep begins within its stride, and the order of a bounded sweep; default 0\n"
    "  --many     so many calls fail in a row; default 1; 0 for all from there on\n"
    "  --seconds  ends after so long, spread over all scenes and kinds\n"
    "  --at       this call alone\n"
    "  --jobs     processes at a time; default 1\n"
    "  --talk     prints what the library says\n";

struct Options {
    std::vector<std::string> kinds, scenes;
    long stride = 1, seed = 0, many = 1, seconds = 0, at = -1, jobs = 1;
    bool list = false;
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

class Sweep {
 public:
    /** One of `options.jobs` sweeps, which share the faults among them. */
    Sweep(const Options &options, const Material &material, int job)
        : m_options(options), m_job(job), m_runner(material, job) {}
    int Go();

 private:
    bool MeasureAll();
    std::vector<Point> Points() const;
    void Visit(const Point &point);
    bool IsTimeUp() const {
        return m_options.seconds > 0 && std::chrono::steady_clock::now() - m_start > std::chrono::seconds(m_options.seconds);
    }

    const Options &m_options;
    const int m_job;
    Runner m_runner;
    std::vector<SceneRow> m_scenes;
    std::vector<Baseline> m_baselines;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    long m_runs = 0, m_reached = 0, m_told = 0, m_found = 0;
    std::map<std::string, long> m_known; /**< findings by kind and place */
};

/** How often a scene makes calls of each kind, and what comes of it. */
void Print(const SceneRow &scene, const Baseline &baseline) {
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
        if (!Chosen(m_options.scenes, scene.name)) {
            continue;
        }
        Baseline baseline;
        const std::string failure = m_runner.Measure(scene, &baseline);
        if (!failure.empty()) {
            printf("torture: %s fails without a fault: %s\n", scene.name, failure.c_str());
            return false;
        }
        if (m_job == 0) {
            Print(scene, baseline);
        }
        m_scenes.push_back(scene);
        m_baselines.push_back(baseline);
    }
    return !m_scenes.empty();
}

std::vector<Point> Sweep::Points() const {
    std::vector<Point> points;
    const long many = m_options.many > 0 ? m_options.many : 1L << 40;
    for (size_t scene = 0; scene < m_scenes.size(); ++scene) {
        for (int kind = 0; kind < KINDS; ++kind) {
            const long calls = Chosen(m_options.kinds, KIND_NAMES[kind]) ? m_baselines[scene].calls[kind] : 0;
            const long begin = m_options.at >= 0 ? m_options.at : m_options.seed % m_options.stride;
            for (long n = begin; n < calls; n += m_options.at >= 0 ? calls : m_options.stride) {
                points.push_back({scene, {static_cast<Kind>(kind), n, many}});
            }
        }
    }
    if (m_options.seconds > 0) {
        std::shuffle(points.begin(), points.end(), std::mt19937(static_cast<unsigned>(m_options.seed)));
    }
    return points;
}

void Sweep::Visit(const Point &point) {
    const SceneRow &scene = m_scenes[point.scene];
    const Finding finding = m_runner.Run(scene, m_baselines[point.scene], point.fault);
    ++m_runs;
    m_reached += finding.reached;
    m_told += finding.told;
    if (finding.what.empty()) {
        return;
    }
    ++m_found;
    const std::string name = KIND_NAMES[point.fault.kind];
    const std::string key = finding.what.substr(0, finding.what.find(':')) + InnerFrames(finding.where);
    if (m_known[key]++ > 0) {
        return;
    }
    printf("\nFINDING  scripts/torture --scene %s --kind %s --at %ld%s: %s\n%s%.12000s\n", scene.name, name.c_str(),
           point.fault.first, m_options.many != 1 ? (" --many " + std::to_string(m_options.many)).c_str() : "",
           finding.what.c_str(), finding.where.c_str(), finding.said.c_str());
    fflush(stdout);
}

int Sweep::Go() {
    if (!MeasureAll()) {
        return 1;
    }
    if (m_options.list) {
        return 0;
    }
    const std::vector<Point> points = Points();
    for (size_t i = static_cast<size_t>(m_job); i < points.size() && !IsTimeUp(); i += static_cast<size_t>(m_options.jobs)) {
        Visit(points[i]);
    }
    printf("torture: %ld of %zu faults tried, %ld met, %ld told of; %ld findings, %zu of them different\n", m_runs,
           points.size(), m_reached, m_told, m_found, m_known.size());
    return m_found > 0;
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
    std::vector<pid_t> others;
    for (int job = 1; job < options.jobs && !options.list; ++job) {
        others.push_back(fork());
        if (others.back() == 0) {
            const int result = Sweep(options, material, job).Go();
            fflush(stdout);
            _exit(result);
        }
    }
    int result = Sweep(options, material, 0).Go();
    for (const pid_t other : others) {
        int status = 0;
        waitpid(other, &status, 0);
        result |= status != 0;
    }
    return result;
}
