#include "codec/zvcodec_loader.h"

#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <string.h>

#include "foundations/com_log.h"
#include "foundations/shared_word.h"

namespace {

void *pAvcodecHandle;

// A sanitizer must see all memory calls, and refuses libraries that bind past it: it may be in us or in the client.
bool IsSanitized() {
#ifdef ZELVANE_SANITIZED
    return true;
#else
    return dlsym(RTLD_DEFAULT, "__asan_init") != nullptr || dlsym(RTLD_DEFAULT, "__tsan_init") != nullptr;
#endif
}

// A sanitizer opens libraries in its own name, so that our run path is not looked at: the file beside us by its path.
void *OpenBesideUs(const char *pcName, int lFlags) {
    Dl_info stInfo;
    if (dladdr(reinterpret_cast<void *>(&OpenBesideUs), &stInfo) == 0 || stInfo.dli_fname == nullptr) {
        return nullptr;
    }
    const char *pcSlash = strrchr(stInfo.dli_fname, '/');
    const int lFolderLen = pcSlash != nullptr ? static_cast<int>(pcSlash - stInfo.dli_fname) + 1 : 0;
    char szPath[PATH_MAX];
    const int lLen = snprintf(szPath, sizeof(szPath), "%.*s%s", lFolderLen, stInfo.dli_fname, pcName);
    return lLen > 0 && lLen < PATH_MAX ? dlopen(szPath, lFlags) : nullptr;
}

enum FOUND { NO_LIBRARY, NO_SYMBOL, FOUND_IT };

// pcLogged is the name that stands in the line about a missing function.
FOUND Find(const char *pcSymbol, const char *pcLogged, void **ppSymbol) {
    void *const pLibrary = word::LoadAcquire(pAvcodecHandle);
    if (pLibrary == nullptr) {
        LOG_ERROR("pAvcodecHandle is NULL.");
        return NO_LIBRARY;
    }
    *ppSymbol = dlsym(pLibrary, pcSymbol);
    if (*ppSymbol == nullptr) {
        LOG_ERROR("dlsym %s Failed.", pcLogged);
        return NO_SYMBOL;
    }
    return FOUND_IT;
}

template <class FUNCTION, class... ARGS>
int Call(const char *pcSymbol, ARGS... args) {
    void *pSymbol = nullptr;
    switch (Find(pcSymbol, pcSymbol, &pSymbol)) {
        case NO_LIBRARY:
            return 0;
        case NO_SYMBOL:
            return 1;
        default:
            return reinterpret_cast<FUNCTION *>(pSymbol)(args...);
    }
}

template <class FUNCTION>
void CallVoid(const char *pcSymbol) {
    void *pSymbol = nullptr;
    if (Find(pcSymbol, pcSymbol, &pSymbol) == FOUND_IT) {
        reinterpret_cast<FUNCTION *>(pSymbol)();
    }
}

}  // namespace

void ZvCodec_Open() {
    const int lFlags = RTLD_LAZY | (IsSanitized() ? 0 : RTLD_DEEPBIND);
    void *pLibrary = dlopen("libZvCodec.so", lFlags);
    if (pLibrary == nullptr && IsSanitized()) {
        pLibrary = OpenBesideUs("libZvCodec.so", lFlags);
    }
    if (pLibrary != nullptr) {
        LOG_INFO("dlopen libZvCodec.so Success.");
    } else {
        LOG_ERROR("dlopen libZvCodec.so Failed.");
    }
    void *const pBefore = word::Exchange(pAvcodecHandle, pLibrary);
    if (pBefore != nullptr) {
        dlclose(pBefore);
    }
}

void ZvCodec_Close() {
    void *const pLibrary = word::Exchange(pAvcodecHandle, nullptr);
    if (pLibrary != nullptr) {
        dlclose(pLibrary);
    }
}

void dlsym_h264_global_init() { CallVoid<decltype(h264_global_init)>("h264_global_init"); }

void dlsym_h264_global_free() { CallVoid<decltype(h264_global_free)>("h264_global_free"); }

int dlsyml_h264_get_version(void **ptr) { return Call<decltype(h264_get_version)>("h264_get_version", ptr); }

void *dlsym_dec_h264_init(unsigned int uiThreadCnt) {
    void *pSymbol = nullptr;
    // The line names another function; whoever greps logs knows it so.
    if (Find("dec_h264_init", "h264_get_version", &pSymbol) != FOUND_IT) {
        return nullptr;
    }
    return reinterpret_cast<decltype(&dec_h264_init)>(pSymbol)(uiThreadCnt);
}

int dlsym_dec_h264_destroy(void *handle) { return Call<decltype(dec_h264_destroy)>("dec_h264_destroy", handle); }

int dlsym_dec_h264_main(void *pHandle, H264Dec_Info *Dec_Info, MpPicture *ref_yuv) {
    return Call<decltype(dec_h264_main)>("dec_h264_main", pHandle, Dec_Info, ref_yuv);
}

int dlsym_dsp_aac_dec_init(void **handle) { return Call<decltype(dsp_aac_dec_init)>("dsp_aac_dec_init", handle); }

int dlsym_dsp_aac_dec_destroy(void *handle) {
    return Call<decltype(dsp_aac_dec_destroy)>("dsp_aac_dec_destroy", handle);
}

int dlsym_dsp_aac_dec_get_param(void *handle, aac_decoder_param *param) {
    return Call<decltype(dsp_aac_dec_get_param)>("dsp_aac_dec_get_param", handle, param);
}

int dlsym_dsp_aac_dec_decode(void *handle, unsigned char *in, int size_in, void **out, int *size_out) {
    return Call<decltype(dsp_aac_dec_decode)>("dsp_aac_dec_decode", handle, in, size_in, out, size_out);
}
