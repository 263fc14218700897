#include "foundations/wake.h"

#include <linux/futex.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <climits>

#include "foundations/shared_word.h"

ULONG_32 Wake_Ticket(const WAKE_S *pstWake) { return word::LoadAcquire(pstWake->ulCount); }

bool Wake_Wait(WAKE_S *pstWake, ULONG_32 ulTicket, ULONG_32 ulMSeconds) {
    // Sequentially consistent on both sides: either the signaller sees the waiter or the kernel sees the new count.
    __atomic_add_fetch(&pstWake->ulWaiters, 1, __ATOMIC_SEQ_CST);
    struct timespec stTime = {static_cast<time_t>(ulMSeconds / 1000), static_cast<long>(ulMSeconds % 1000) * 1000000L};
    if (__atomic_load_n(&pstWake->ulCount, __ATOMIC_SEQ_CST) == ulTicket) {
        syscall(SYS_futex, &pstWake->ulCount, FUTEX_WAIT_PRIVATE, ulTicket, &stTime, nullptr, 0);
    }
    __atomic_sub_fetch(&pstWake->ulWaiters, 1, __ATOMIC_SEQ_CST);
    return word::LoadAcquire(pstWake->ulCount) != ulTicket;
}

void Wake_Signal(WAKE_S *pstWake) {
    __atomic_add_fetch(&pstWake->ulCount, 1, __ATOMIC_SEQ_CST);
    if (__atomic_load_n(&pstWake->ulWaiters, __ATOMIC_SEQ_CST) != 0) {
        syscall(SYS_futex, &pstWake->ulCount, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
    }
}

bool WakeFd_Open(WAKE_FD_S *pstWake) {
    pstWake->lHandle = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC) + 1;
    return pstWake->lHandle != 0;
}

void WakeFd_Close(WAKE_FD_S *pstWake) {
    if (pstWake->lHandle != 0) {
        close(pstWake->lHandle - 1);
        pstWake->lHandle = 0;
    }
}

void WakeFd_Signal(const WAKE_FD_S *pstWake) {
    if (pstWake->lHandle != 0) {
        eventfd_write(pstWake->lHandle - 1, 1);
    }
}

void WakeFd_Take(const WAKE_FD_S *pstWake) {
    eventfd_t ullCount;
    if (pstWake->lHandle != 0) {
        eventfd_read(pstWake->lHandle - 1, &ullCount);
    }
}
