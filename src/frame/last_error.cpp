#include "frame/last_error.h"

#include "foundations/shared_word.h"

namespace {

struct LAST_ERROR_S {
    ULONG_32 ulGeneration;
    ULONG_32 ulError;
};

ULONG_32 gulGeneration = 1;
thread_local LAST_ERROR_S gtlLastError;

}  // namespace

void LastError_NewGeneration() { word::Add(gulGeneration, 1); }

void LastError_Set(ULONG_32 ulError) { gtlLastError = {word::Load(gulGeneration), ulError}; }

ULONG_32 LastError_Get() { return gtlLastError.ulGeneration == word::Load(gulGeneration) ? gtlLastError.ulError : 0; }
