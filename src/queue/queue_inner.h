/**
 * @file queue_inner.h
 * @brief What the sources of module_queue share among themselves.
 */
#ifndef ZELVANE_QUEUE_QUEUE_INNER_H
#define ZELVANE_QUEUE_QUEUE_INNER_H

#include <pthread.h>

#include <cstdint>

#include "foundations/player_types.h"

/**
 * What a record's dulMade holds once its mutexes are made. It depends on the address, so that neither leftovers of a
 * stack frame nor a copy of another record pass for an initialised one.
 */
inline DULONG Queue_Mark(const void *pvRecord) {
    return reinterpret_cast<std::uintptr_t>(pvRecord) ^ 0x5A45'4C56'414E'4551ULL;
}

/** Holds a mutex for the time of a scope. */
class Queue_Guard {
 public:
    explicit Queue_Guard(QLOM_SDK_MUTEX_S *pstMutex) : m_pstMutex(pstMutex) { pthread_mutex_lock(m_pstMutex); }
    ~Queue_Guard() { pthread_mutex_unlock(m_pstMutex); }
    Queue_Guard(const Queue_Guard &) = delete;
    Queue_Guard &operator=(const Queue_Guard &) = delete;

 private:
    QLOM_SDK_MUTEX_S *m_pstMutex;
};

#endif
