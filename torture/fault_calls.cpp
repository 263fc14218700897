// The calls that can be made to fail. Each stands in front of the system's function of its name, which the dynamic
// linker would have found; a call that need not fail goes on to that.
#include <errno.h>

#include <new>

#include "torture/fault_kinds.h"

using size_t = decltype(sizeof(0));
using ssize_t = long;
using off_t = long;

using torture::Fails;

extern "C" void *dlsym(void *, const char *);

#define NEXT(name) dlsym(reinterpret_cast<void *>(-1L), name)  // RTLD_NEXT
#define SEEN extern "C" __attribute__((visibility("default")))
#define FROM __builtin_return_address(0)

/** NAME(PARAMETERS), which gives RESULT and sets errno to ERROR when it fails. */
#define CALL(KIND, TYPE, NAME, PARAMETERS, ARGUMENTS, RESULT, ERROR)                \
    SEEN TYPE NAME PARAMETERS {                                                     \
        static const auto next = reinterpret_cast<TYPE(*) PARAMETERS>(NEXT(#NAME)); \
        if (Fails(torture::KIND, #NAME, FROM)) {                                    \
            errno = ERROR;                                                          \
            return RESULT;                                                          \
        }                                                                           \
        return next ARGUMENTS;                                                      \
    }

// Memory. These are called before dlsym can be, so the next in line has to be known by name.
#ifdef ZELVANE_SANITIZED
#define NEXT_OF(name) __interceptor_##name
#define NEXT_ALIGNED __interceptor_aligned_alloc
#else
#define NEXT_OF(name) __libc_##name
#define NEXT_ALIGNED __libc_memalign
#endif
extern "C" void *NEXT_OF(malloc)(size_t);
extern "C" void *NEXT_OF(calloc)(size_t, size_t);
extern "C" void *NEXT_OF(realloc)(void *, size_t);
extern "C" void *NEXT_ALIGNED(size_t, size_t);

namespace {

void *NoMemory() {
    errno = ENOMEM;
    return nullptr;
}

}  // namespace

SEEN void *malloc(size_t size) { return Fails(torture::MALLOC, "malloc", FROM) ? NoMemory() : NEXT_OF(malloc)(size); }
SEEN void *calloc(size_t count, size_t size) {
    return Fails(torture::MALLOC, "calloc", FROM) ? NoMemory() : NEXT_OF(calloc)(count, size);
}
SEEN void *realloc(void *old, size_t size) {
    return Fails(torture::MALLOC, "realloc", FROM) ? NoMemory() : NEXT_OF(realloc)(old, size);
}
SEEN void *aligned_alloc(size_t alignment, size_t size) {
    return Fails(torture::MALLOC, "aligned_alloc", FROM) ? NoMemory() : NEXT_ALIGNED(alignment, size);
}

/** The operators of the C++ library, or of the sanitizer, which tells their memory from malloc's. */
#define OPERATOR_NEW(NAME, SYMBOL)                                                  \
    __attribute__((visibility("default"))) void *NAME(size_t size) {                \
        static const auto next = reinterpret_cast<void *(*)(size_t)>(NEXT(SYMBOL)); \
        if (Fails(torture::MALLOC, #NAME, FROM)) {                                  \
            throw std::bad_alloc();                                                 \
        }                                                                           \
        return next(size);                                                          \
    }
#define OPERATOR_NEW_NOTHROW(NAME, SYMBOL)                                                                  \
    __attribute__((visibility("default"))) void *NAME(size_t size, const std::nothrow_t &n) noexcept {      \
        static const auto next = reinterpret_cast<void *(*)(size_t, const std::nothrow_t &)>(NEXT(SYMBOL)); \
        return Fails(torture::MALLOC, #NAME "(nothrow)", FROM) ? nullptr : next(size, n);                   \
    }
OPERATOR_NEW(operator new, "_Znwm")
OPERATOR_NEW(operator new[], "_Znam")
OPERATOR_NEW_NOTHROW(operator new, "_ZnwmRKSt9nothrow_t")
OPERATOR_NEW_NOTHROW(operator new[], "_ZnamRKSt9nothrow_t")

/** As CALL, of a stream, which remembers an error. */
#define STREAM_CALL(KIND, TYPE, NAME, PARAMETERS, ARGUMENTS, RESULT, ERROR)                        \
    SEEN TYPE NAME PARAMETERS {                                                                    \
        static const auto next = reinterpret_cast<TYPE(*) PARAMETERS>(NEXT(#NAME));                \
        if (Fails(torture::KIND, #NAME, FROM)) {                                                   \
            *static_cast<int *>(file) |= 0x20; /* the C library's flag, the record's first word */ \
            errno = ERROR;                                                                         \
            return RESULT;                                                                         \
        }                                                                                          \
        return next ARGUMENTS;                                                                     \
    }

// The system's. Their types are written as pointers, so that no header's attributes and macros come between.
CALL(THREAD, int, pthread_create, (void *thread, const void *attributes, void *(*entry)(void *), void *argument),
     (thread, attributes, entry, argument), EAGAIN, errno)

CALL(SOCKET, int, socket, (int domain, int type, int protocol), (domain, type, protocol), -1, EMFILE)
CALL(SOCKET, int, eventfd, (unsigned initial, int flags), (initial, flags), -1, EMFILE)

CALL(OPEN, int, open, (const char *path, int flags, unsigned mode), (path, flags, mode), -1, EMFILE)
CALL(OPEN, void *, fopen, (const char *path, const char *mode), (path, mode), nullptr, EMFILE)
CALL(OPEN, void *, fopen64, (const char *path, const char *mode), (path, mode), nullptr, EMFILE)
CALL(OPEN, void *, fdopen, (int fd, const char *mode), (fd, mode), nullptr, ENOMEM)
CALL(OPEN, void *, opendir, (const char *path), (path), nullptr, EMFILE)
CALL(OPEN, int, mkdir, (const char *path, unsigned mode), (path, mode), -1, ENOSPC)
CALL(OPEN, void *, dlopen, (const char *path, int flags), (path, flags), nullptr, EMFILE)

STREAM_CALL(WRITE, size_t, fwrite, (const void *data, size_t size, size_t count, void *file), (data, size, count, file),
            0, ENOSPC)
CALL(WRITE, ssize_t, write, (int fd, const void *data, size_t size), (fd, data, size), -1, ENOSPC)
CALL(WRITE, ssize_t, writev, (int fd, const void *parts, int count), (fd, parts, count), -1, ENOSPC)
CALL(WRITE, ssize_t, pwrite, (int fd, const void *data, size_t size, off_t place), (fd, data, size, place), -1, ENOSPC)
CALL(WRITE, int, ftruncate, (int fd, off_t size), (fd, size), -1, ENOSPC)
CALL(WRITE, int, fallocate, (int fd, int mode, off_t place, off_t size), (fd, mode, place, size), -1, ENOSPC)
STREAM_CALL(WRITE, int, fflush, (void *file), (file), -1, ENOSPC)
/** What a full disk does to a close: the buffer is lost, the file closed all the same. */
extern "C" int __fwritable(void *file);
extern "C" void __fpurge(void *file);
SEEN int fclose(void *file) {
    static const auto next = reinterpret_cast<int (*)(void *)>(NEXT("fclose"));
    if (__fwritable(file) == 0 || !Fails(torture::WRITE, "fclose", FROM)) {
        return next(file);
    }
    __fpurge(file);
    next(file);
    errno = ENOSPC;
    return -1;
}
CALL(WRITE, int, rename, (const char *from, const char *to), (from, to), -1, ENOSPC)

CALL(MMAP, void *, mmap, (void *at, size_t size, int protection, int flags, int fd, off_t place),
     (at, size, protection, flags, fd, place), reinterpret_cast<void *>(-1), ENOMEM)
CALL(MMAP, void *, mmap64, (void *at, size_t size, int protection, int flags, int fd, off_t place),
     (at, size, protection, flags, fd, place), reinterpret_cast<void *>(-1), ENOMEM)

STREAM_CALL(READ, size_t, fread, (void *data, size_t size, size_t count, void *file), (data, size, count, file), 0, EIO)
CALL(READ, ssize_t, pread, (int fd, void *data, size_t size, off_t place), (fd, data, size, place), -1, EIO)
CALL(READ, ssize_t, readv, (int fd, const void *parts, int count), (fd, parts, count), -1, EIO)
CALL(READ, int, fseeko, (void *file, off_t place, int whence), (file, place, whence), -1, EIO)
CALL(READ, off_t, ftello, (void *file), (file), -1, EIO)
CALL(READ, off_t, lseek64, (int fd, off_t place, int whence), (fd, place, whence), -1, EIO)
CALL(READ, int, stat64, (const char *path, void *result), (path, result), -1, EIO)
CALL(READ, int, fstat64, (int fd, void *result), (fd, result), -1, EIO)

CALL(NET, int, connect, (int fd, const void *address, unsigned length), (fd, address, length), -1, ENETUNREACH)
CALL(NET, int, bind, (int fd, const void *address, unsigned length), (fd, address, length), -1, EADDRINUSE)
CALL(NET, int, setsockopt, (int fd, int level, int name, const void *value, unsigned length),
     (fd, level, name, value, length), -1, ENOBUFS)
CALL(NET, int, getsockopt, (int fd, int level, int name, void *value, void *length), (fd, level, name, value, length),
     -1, ENOBUFS)
CALL(NET, ssize_t, send, (int fd, const void *data, size_t size, int flags), (fd, data, size, flags), -1, EPIPE)
CALL(NET, ssize_t, recv, (int fd, void *data, size_t size, int flags), (fd, data, size, flags), -1, ECONNRESET)
CALL(NET, int, poll, (void *all, unsigned long count, int timeout), (all, count, timeout), -1, ENOMEM)

CALL(OBJECT, void *, av_frame_alloc, (void), (), nullptr, ENOMEM)
CALL(OBJECT, void *, av_packet_alloc, (void), (), nullptr, ENOMEM)
CALL(OBJECT, void *, av_buffer_alloc, (size_t size), (size), nullptr, ENOMEM)
CALL(OBJECT, void *, av_buffer_ref, (const void *buffer), (buffer), nullptr, ENOMEM)
CALL(OBJECT, void *, av_fast_realloc, (void *old, unsigned *room, size_t size), (old, room, size), nullptr, ENOMEM)
CALL(OBJECT, int, av_frame_get_buffer, (void *frame, int align), (frame, align), -ENOMEM, ENOMEM)
CALL(OBJECT, int, av_frame_make_writable, (void *frame), (frame), -ENOMEM, ENOMEM)
CALL(OBJECT, void *, avcodec_alloc_context3, (const void *codec), (codec), nullptr, ENOMEM)
CALL(OBJECT, int, avcodec_open2, (void *context, const void *codec, void *options), (context, codec, options), -ENOMEM,
     ENOMEM)
CALL(OBJECT, int, avcodec_send_packet, (void *context, const void *packet), (context, packet), -ENOMEM, ENOMEM)
CALL(OBJECT, int, avcodec_receive_frame, (void *context, void *frame), (context, frame), -ENOMEM, ENOMEM)
CALL(OBJECT, int, avcodec_send_frame, (void *context, const void *frame), (context, frame), -ENOMEM, ENOMEM)
CALL(OBJECT, int, avcodec_receive_packet, (void *context, void *packet), (context, packet), -ENOMEM, ENOMEM)
CALL(OBJECT, int, swr_init, (void *context), (context), -ENOMEM, ENOMEM)
CALL(OBJECT, void *, tjInitCompress, (void), (), nullptr, ENOMEM)
CALL(OBJECT, void *, tjInitDecompress, (void), (), nullptr, ENOMEM)
CALL(OBJECT, int, SDL_Init, (unsigned what), (what), -1, ENOMEM)
CALL(OBJECT, void *, SDL_CreateWindowFrom, (const void *window), (window), nullptr, ENOMEM)
CALL(OBJECT, void *, SDL_CreateWindow, (const char *title, int x, int y, int w, int h, unsigned flags),
     (title, x, y, w, h, flags), nullptr, ENOMEM)
CALL(OBJECT, void *, SDL_CreateRenderer, (void *window, int index, unsigned flags), (window, index, flags), nullptr,
     ENOMEM)
CALL(OBJECT, void *, SDL_CreateTexture, (void *renderer, unsigned format, int access, int w, int h),
     (renderer, format, access, w, h), nullptr, ENOMEM)
CALL(OBJECT, int, SDL_UpdateYUVTexture,
     (void *texture, const void *part, const void *y, int yPitch, const void *u, int uPitch, const void *v, int vPitch),
     (texture, part, y, yPitch, u, uPitch, v, vPitch), -1, ENOMEM)
CALL(OBJECT, int, SDL_OpenAudio, (void *wanted, void *got), (wanted, got), -1, ENOMEM)
CALL(OBJECT, void *, wolfSSL_CTX_new, (void *method), (method), nullptr, ENOMEM)
CALL(OBJECT, void *, wolfSSL_new, (void *context), (context), nullptr, ENOMEM)
