/**
 * @file library.h
 * @brief Start and stop of the library, counted.
 */
#ifndef ZELVANE_FRAME_LIBRARY_H
#define ZELVANE_FRAME_LIBRARY_H

#include <initializer_list>

#include "port/player_manager.h"

/** Version 2.5.82: build in the upper 16 bits, minor in bits 8 to 15, major in bits 0 to 7. */
enum : ULONG_32 { LIBRARY_VERSION = 0x00520502 };

/** Counts one user more; the first one starts the library. */
BOOL_T Library_Init();
/** Counts one user less; the last one stops the library. */
void Library_Cleanup();
/** Users at present. */
ULONG_32 Library_InitCount();
/** Player_AllocPort() while the library is up; 2 while it is not, also when it ended in between. */
ULONG_32 Library_AllocPort(ULONG_32 *pulPort);
/** The client takes the log itself: no log file is opened at the next start. */
void Library_ClientLogs();
/** Whether the port holds one of these kinds of source; true without a port, for the port logic to refuse it. */
bool Library_IsPortUsedAs(ULONG_32 ulPort, std::initializer_list<PORT_USED_TYPE_E> oTypes);

extern "C" {

/** Brings the modules up, in the order of dependence. */
MODULE_API ULONG_32 Player_Startup(void);
/** Frees all ports and takes the modules down. */
MODULE_API ULONG_32 Player_Cleanup(void);
}

#endif
