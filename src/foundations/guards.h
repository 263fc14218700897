/**
 * @file guards.h
 * @brief Owners of what a function holds for a while.
 */
#ifndef ZELVANE_FOUNDATIONS_GUARDS_H
#define ZELVANE_FOUNDATIONS_GUARDS_H

#include "foundations/mw_sdk_bp.h"

/** Holds a mutex until the end of the scope. */
class CMutexGuard {
 public:
    explicit CMutexGuard(QLOM_SDK_MUTEX_S *pstMutex) : m_pstMutex(pstMutex) { QLOM_SDK_mutex_lock(m_pstMutex); }
    ~CMutexGuard() { QLOM_SDK_mutex_unlock(m_pstMutex); }
    CMutexGuard(const CMutexGuard &) = delete;
    CMutexGuard &operator=(const CMutexGuard &) = delete;

 private:
    QLOM_SDK_MUTEX_S *m_pstMutex;
};

#endif
