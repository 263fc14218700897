// The exported functions: handles are checked here, the work is Mp4File's.
#include "codec/zvmp4.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

#include "zvmp4/mp4_file.h"

namespace {

constexpr uint64_t kMagic = 0x5A764D50344D7578;

/** Plain memory: whoever gets it may free() it. The file knows nothing of it. */
struct Muxer {
    uint64_t magic;
    zv::Mp4File *file;
    FORMAT_STREAM_INFO_S info;
};

bool IsHandle(HANDLE handle) { return handle != nullptr && reinterpret_cast<intptr_t>(handle) != -1; }

Muxer *MuxerOf(HANDLE handle) {
    Muxer *muxer = IsHandle(handle) ? static_cast<Muxer *>(handle) : nullptr;
    return muxer != nullptr && muxer->magic == kMagic ? muxer : nullptr;
}

}  // namespace

HANDLE mp4_file_open(const CHAR *pcPath, LONG_32 /*lFlags*/, LONG_32 /*lMode*/) try {
    auto file = std::make_unique<zv::Mp4File>();
    return pcPath != nullptr && file->Create(pcPath) ? file.release() : nullptr;
} catch (const std::bad_alloc &) {
    return nullptr;
}

HANDLE mp4_enc_init(const FORMAT_STREAM_INFO_S *pstInfo, HANDLE hFile) try {
    zv::Mp4File *file = IsHandle(hFile) ? static_cast<zv::Mp4File *>(hFile) : nullptr;
    if (pstInfo == nullptr || file == nullptr || !file->Begin(*pstInfo)) {
        return nullptr;
    }
    void *memory = std::malloc(sizeof(Muxer));
    return memory != nullptr ? new (memory) Muxer{kMagic, file, *pstInfo} : nullptr;
} catch (const std::bad_alloc &) {
    return nullptr;
}

LONG_32 mp4_enc_frame(HANDLE hMuxer, const FORMAT_FRAME_INFO_S *pstFrame) try {
    const Muxer *muxer = MuxerOf(hMuxer);
    if (muxer == nullptr || pstFrame == nullptr) {
        return MP4_ENC_FAILED;
    }
    const LONG_32 result = muxer->file->AddFrame(*pstFrame);
    if (result == MP4_ENC_FAILED) {
        errno = muxer->file->LastError();
    }
    return result;
} catch (const std::bad_alloc &) {
    return MP4_ENC_FAILED;
}

LONG_32 mp4_enc_close(HANDLE hMuxer) {
    Muxer *muxer = MuxerOf(hMuxer);
    if (muxer == nullptr) {
        return -1;
    }
    const bool done = muxer->file->Finish();
    muxer->magic = 0;
    std::free(muxer);
    return done ? 0 : -1;
}

LONG_32 mp4_file_close(HANDLE hFile) {
    if (!IsHandle(hFile)) {
        return -1;
    }
    delete static_cast<zv::Mp4File *>(hFile);
    return 0;
}
