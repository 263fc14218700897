/**
 * @file run.h
 * @brief One run of a scene in a process of its own, under a watchdog.
 */
#ifndef ZELVANE_TORTURE_RUN_H
#define ZELVANE_TORTURE_RUN_H

#include <string>
#include <vector>

#include "torture/stage.h"

namespace torture {

/** How a scene goes without faults; plain, so that one process can leave it for others. */
struct Baseline {
    long calls[KINDS];
    Outcome outcome;
    Words words;
    char failure[2000]; /**< what is wrong with it; empty for nothing */
};

struct Fault {
    Kind kind = MALLOC;
    long first = -1, many = 1;
};

struct Finding {
    std::string what;  /**< empty for none */
    std::string where; /**< the failing call's stack */
    std::string said;  /**< what the process printed */
    bool reached = false, told = false;
};

class Runner {
 public:
    /** Runners of different numbers may work at the same time. */
    Runner(const Material &material, int number);
    ~Runner();
    Runner(const Runner &) = delete;
    Runner &operator=(const Runner &) = delete;

    /** Runs a scene without a fault. */
    void Measure(const SceneRow &scene, Baseline *baseline);
    Finding Run(const SceneRow &scene, const Baseline &baseline, const Fault &fault);

 private:
    /** @return how the process ended, when not as it should have */
    std::string Fork(const SceneRow &scene, const Baseline *baseline, const Fault &fault);
    void Child(const SceneRow &scene, const Baseline *baseline, const Fault &fault);

    const Material &m_material;
    const std::string m_folder, m_output;
    Record *m_record;
};

/** The functions of a stack, innermost first, a line each. */
std::string Stack(const FaultRecord &faults);

}  // namespace torture

#endif
