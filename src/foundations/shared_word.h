/**
 * @file shared_word.h
 * @brief Words that several threads share inside plain records.
 *
 * The records stay plain (their fields keep their size and can be cleared and copied), so a shared field is reached
 * through these functions instead of being a std::atomic. Relaxed for run flags and counters; acquire and release where
 * the word publishes other data (ring indexes, pointers to finished records).
 */
#ifndef ZELVANE_FOUNDATIONS_SHARED_WORD_H
#define ZELVANE_FOUNDATIONS_SHARED_WORD_H

#include <type_traits>

namespace word {

template <class T>
inline T Load(const T &stWord) {
    T value;
    __atomic_load(const_cast<T *>(&stWord), &value, __ATOMIC_RELAXED);
    return value;
}

template <class T>
inline void Store(T &stWord, std::type_identity_t<T> value) {
    __atomic_store(&stWord, &value, __ATOMIC_RELAXED);
}

template <class T>
inline T LoadAcquire(const T &stWord) {
    T value;
    __atomic_load(const_cast<T *>(&stWord), &value, __ATOMIC_ACQUIRE);
    return value;
}

template <class T>
inline void StoreRelease(T &stWord, std::type_identity_t<T> value) {
    __atomic_store(&stWord, &value, __ATOMIC_RELEASE);
}

template <class T>
inline T Exchange(T &stWord, std::type_identity_t<T> value) {
    T old;
    __atomic_exchange(&stWord, &value, &old, __ATOMIC_ACQ_REL);
    return old;
}

/** Adds and returns the new value; wraps as unsigned words do. */
template <class T>
inline T Add(T &stWord, std::type_identity_t<T> value) {
    return __atomic_add_fetch(&stWord, value, __ATOMIC_RELAXED);
}

/** Subtracts and returns the new value; wraps as unsigned words do. */
template <class T>
inline T Sub(T &stWord, std::type_identity_t<T> value) {
    return __atomic_sub_fetch(&stWord, value, __ATOMIC_RELAXED);
}

}  // namespace word

#endif
