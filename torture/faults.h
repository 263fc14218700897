/**
 * @file faults.h
 * @brief Makes the n-th call of a kind fail that our own libraries make: the program's own malloc, open, pthread_create
 * and so on (fault_calls.cpp) stand in front of the system's, and count calls by where they come from.
 *
 * What FFmpeg, SDL, wolfSSL and the system's libraries ask for among themselves is left alone; that an object of theirs
 * can't be had is a kind of its own.
 */
#ifndef ZELVANE_TORTURE_FAULTS_H
#define ZELVANE_TORTURE_FAULTS_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "torture/fault_kinds.h"

namespace torture {

extern const char *const KIND_NAMES[KINDS];

/** What is counted, in memory that a run shares with the sweeper, which so knows it even of a run that has crashed. */
struct FaultRecord {
    std::atomic<long> calls[KINDS];
    std::atomic<long> failed; /**< calls that were made to fail; of the first of them: */
    char what[32];            /**< the function's name */
    size_t depth;             /**< frames */
    uintptr_t place[24];      /**< return addresses, innermost first */
};

/** Notes where our libraries lie; before the first run, with all of them loaded. @return their number */
size_t LearnLibraries();

/** Counts from now on; of `kind`, call `first` (from 0) and the `many - 1` behind it fail. None do with `first` < 0. */
void Arm(FaultRecord *to, Kind kind, long first, long many);
void Disarm();

}  // namespace torture

#endif
