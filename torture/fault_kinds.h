/**
 * @file fault_kinds.h
 * @brief The kinds of calls that fail, without any header of the system: fault_calls.cpp declares its functions itself.
 */
#ifndef ZELVANE_TORTURE_FAULT_KINDS_H
#define ZELVANE_TORTURE_FAULT_KINDS_H

namespace torture {

enum Kind {
    MALLOC,
    THREAD,
    SOCKET, /**< and eventfd */
    OPEN,   /**< of files, folders and libraries */
    WRITE,  /**< to files, and what makes room in them, renames and flushes them */
    MMAP,   /**< that our libraries make themselves, which is none: stacks and large blocks are THREAD's and MALLOC's */
    READ,   /**< of files */
    NET,    /**< what is done with a socket */
    OBJECT, /**< of FFmpeg, SDL, libjpeg-turbo, wolfSSL */
    KINDS
};

/** Counts a call, if it comes from our libraries; whether it has to fail. */
bool Fails(Kind kind, const char *what, const void *caller);

}  // namespace torture

#endif
