/**
 * @file wrapper_forms.h
 * @brief The forms that the exported wrappers have, each written once.
 *
 * A wrapper is one call of a form with its own name (__func__), the port and the port logic's function. A form logs,
 * checks the port number, takes the API lock, sets the last error and turns the code into a BOOL_T.
 */
#ifndef ZELVANE_FRAME_WRAPPER_FORMS_H
#define ZELVANE_FRAME_WRAPPER_FORMS_H

#include "foundations/com_log.h"
#include "frame/last_error.h"
#include "port/port_lock.h"

namespace form {

/** Sets the last error and gives the wrapper's result for failure. */
inline BOOL_T Fail(ULONG_32 ulError) {
    LastError_Set(ulError);
    return 0;
}

/** A client's text for a log line. */
inline const CHAR *Text(const CHAR *pcText) { return pcText != nullptr ? pcText : "(null)"; }

inline bool IsPort(const CHAR *pcName, ULONG_32 ulPort) {
    if (ulPort < PLAYER_MAX_PORT_NUM) {
        return true;
    }
    LOG_ERROR("%s Get Port[%d] Failed.", pcName, ulPort);
    LastError_Set(PLAYER_ERR_PORT);
    return false;
}

/** Runs the call under the port's lock; a call turned away during a close counts as wrong state. */
template <class CALL>
ULONG_32 Locked(ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    CPortLock oLock(ulPort, enCall);
    return oLock.Entered() ? oCall() : static_cast<ULONG_32>(PLAYER_ERR_PARAM);
}

inline BOOL_T Result(const CHAR *pcName, ULONG_32 ulPort, ULONG_32 ulResult) {
    if (ulResult == PLAYER_ERR_OK) {
        return 1;
    }
    LOG_ERROR("Port[%03d] Call %s Failed, Error:[0x%x].", ulPort, pcName, ulResult);
    return Fail(ulResult);
}

inline BOOL_T LoggedResult(const CHAR *pcName, ULONG_32 ulPort, ULONG_32 ulResult) {
    if (!Result(pcName, ulPort, ulResult)) {
        return 0;
    }
    LOG_INFO("Port[%03d] Call %s Success.", ulPort, pcName);
    return 1;
}

/** After the entry line: check, lock, call, result line. */
template <class CALL>
BOOL_T Entered(const CHAR *pcName, ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    return IsPort(pcName, ulPort) ? LoggedResult(pcName, ulPort, Locked(ulPort, enCall, oCall)) : 0;
}

/** Standard form. */
template <class CALL>
BOOL_T Standard(const CHAR *pcName, ULONG_32 ulPort, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, pcName);
    return Entered(pcName, ulPort, PORT_CALL_NORMAL, oCall);
}

/** Standard form of a call that closes. */
template <class CALL>
BOOL_T Close(const CHAR *pcName, ULONG_32 ulPort, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, pcName);
    return Entered(pcName, ulPort, PORT_CALL_CLOSE, oCall);
}

/** Standard form whose entry line names a detail: the placeholder itself, never the value. */
template <class CALL>
BOOL_T Detail(const CHAR *pcName, ULONG_32 ulPort, const CHAR *pcDetail, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s, %s.", ulPort, pcName, pcDetail);
    return Entered(pcName, ulPort, PORT_CALL_NORMAL, oCall);
}

/** Quiet form, for calls at a high rate: no line on entry or success. */
template <class CALL>
BOOL_T Quiet(const CHAR *pcName, ULONG_32 ulPort, PORT_CALL_E enCall, CALL &&oCall) {
    return IsPort(pcName, ulPort) ? Result(pcName, ulPort, Locked(ulPort, enCall, oCall)) : 0;
}

/** Whether a pointer that the call needs is there. */
inline bool HavePointer(const void *pPointer) {
    if (pPointer != nullptr) {
        return true;
    }
    LOG_ERROR("invalid param");
    LastError_Set(PLAYER_ERR_PARAM);
    return false;
}

/** Quiet form of a getter. */
template <class CALL>
BOOL_T QuietGetter(const CHAR *pcName, ULONG_32 ulPort, const void *pOutput, CALL &&oCall) {
    if (!IsPort(pcName, ulPort) || !HavePointer(pOutput)) {
        return 0;
    }
    return Result(pcName, ulPort, Locked(ulPort, PORT_CALL_NORMAL, oCall));
}

/** Standard form of a call that needs a pointer. */
template <class CALL>
BOOL_T WithPointer(const CHAR *pcName, ULONG_32 ulPort, const void *pPointer, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, pcName);
    if (!IsPort(pcName, ulPort) || !HavePointer(pPointer)) {
        return 0;
    }
    return LoggedResult(pcName, ulPort, Locked(ulPort, PORT_CALL_NORMAL, oCall));
}

/** Global form, for calls without a port: no lock. */
template <class CALL>
BOOL_T Global(const CHAR *pcName, CALL &&oCall) {
    ULONG_32 ulResult = oCall();
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Call %s Failed, Error:[0x%x].", pcName, ulResult);
        return Fail(ulResult);
    }
    LOG_INFO("Call %s Success.", pcName);
    return 1;
}

/** After the entry line of the log-only form: call, result line. */
template <class CALL>
BOOL_T LogOnlyResult(const CHAR *pcName, ULONG_32 ulPort, CALL &&oCall) {
    ULONG_32 ulResult = oCall();
    if (ulResult != PLAYER_ERR_OK) {
        LOG_ERROR("Port[%03d] Call %s Failed, Error:[0x%x].", ulPort, pcName, ulResult);
        return 0;
    }
    LOG_INFO("Port[%03d] Call %s Success.", ulPort, pcName);
    return 1;
}

/** Log-only form: no lock, no check of the number here, no last error. */
template <class CALL>
BOOL_T LogOnly(const CHAR *pcName, ULONG_32 ulPort, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s.", ulPort, pcName);
    return LogOnlyResult(pcName, ulPort, oCall);
}

/** Log-only form whose entry line names a detail. */
template <class CALL>
BOOL_T LogOnlyDetail(const CHAR *pcName, ULONG_32 ulPort, const CHAR *pcDetail, CALL &&oCall) {
    LOG_INFO("Port[%03d] Call %s, %s.", ulPort, pcName, pcDetail);
    return LogOnlyResult(pcName, ulPort, oCall);
}

}  // namespace form

#endif
