/**
 * @file stage.h
 * @brief What a scene works with: the streams, a folder, and somebody who notes what the library says and gives.
 *
 * A scene is a client that expects nothing of its calls but that a refused one leaves an error. It runs twice: with the
 * fault, then without, when everything has to be as if nothing had happened.
 */
#ifndef ZELVANE_TORTURE_STAGE_H
#define ZELVANE_TORTURE_STAGE_H

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <functional>
#include <string>
#include <vector>

#include "player_sdk_func.h"
#include "torture/faults.h"
#include "torture/material.h"

namespace torture {

/** Something that a scene got, of which a run without faults gets the same each time. */
struct Figure {
    char name[24];
    long value;
};

struct Outcome {
    size_t count;
    Figure figures[16];
    long descriptors, threads; /**< of the process, once all is closed */
};

/** Hashes of what was said. */
struct Words {
    size_t count;
    uint64_t hash[4096];

    bool Has(uint64_t word) const { return std::find(hash, hash + count, word) != hash + count; }
    void Add(uint64_t word) {
        if (count < std::size(hash) && !Has(word)) {
            hash[count++] = word;
        }
    }
};

/** A run's findings, in memory that it shares with the sweeper. */
struct Record {
    FaultRecord faults;
    Outcome outcomes[2]; /**< with the fault, then without */
    std::atomic<bool> said;
    char saying[200]; /**< the first thing said that a run without faults doesn't say */
    char mute[64];    /**< a call that was refused without an error */
    bool leaked, done;
    Words words;
};

class Stage {
 public:
    Stage(const Material &given, std::string workFolder, Outcome *to)
        : material(given), folder(std::move(workFolder)), m_outcome(to) {}

    /** Notes a call's result, and hands it on. */
    bool Try(const char *what, BOOL_T result) const;
    /** Waits until the condition holds: long in a run that is whole, and no longer than needed once a fault was told
     * of. */
    bool Await(const std::function<bool()> &condition) const;
    void Note(const char *name, long value) const;
    void EmptyFolder() const;
    /** Notes how many files are in the folder and how many bytes, without what is still being written; of media also
     * how many frames, as libavformat finds them. */
    void NoteFiles(bool media) const;

    const Material &material;
    const std::string folder;

 private:
    Outcome *m_outcome;
};

using Scene = void (*)(Stage &stage);

struct SceneRow {
    const char *name;
    Scene run;
};

std::vector<SceneRow> AllScenes();

/** What the library has said, to the log, in a message or by a refusal, with everything left out that changes between
 * runs. */
void Say(const std::string &text);
/** Where what is said goes, and what is nothing new; `faulted` while a fault may come. */
void Listen(Record *to, const Words *known, bool faulted);
/** Whether it is printed as well. */
extern bool talkative;

/** The library's life. */
class Library {
 public:
    explicit Library(const Stage &stage);
    ~Library();
    explicit operator bool() const { return m_up; }

 private:
    bool m_up;
};

/** A port that counts what its taps bring. */
class Port {
 public:
    explicit Port(const Stage &stage);
    ~Port();
    explicit operator bool() const { return number < PLAYER_MAX_PORT_NUM; }
    bool Push(Span packet) const;

    ULONG_32 number = PLAYER_MAX_PORT_NUM;
    std::atomic<long> frames{0}, sounds{0}, pictures{0}, samples{0}, ends{0};

 private:
    const Stage &m_stage;
};

}  // namespace torture

#endif
