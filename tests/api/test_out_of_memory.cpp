// What happens when the n-th allocation of the library fails, for every n: a refusal, never the end of the process.
#include <gtest/gtest.h>

#ifndef ZELVANE_SANITIZED  // the sanitizers have allocators of their own

#include <dlfcn.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <new>
#include <thread>

#include "support/client.h"
#include "support/file_port.h"
#include "support/rtp_stream.h"
#include "support/temp_dir.h"

namespace {

struct Range {
    uintptr_t begin, end;
};

/** Code of our own libraries; filled before the first allocation is counted. */
Range ours[16];
size_t oursCount = 0;

std::atomic<long> allocations{0};
std::atomic<long> failing{-1};
std::atomic<bool> armed{false};

int NoteLibrary(dl_phdr_info *info, size_t, void *) {
    const char *name = std::strrchr(info->dlpi_name, '/');
    const bool library =
        name != nullptr && (std::strncmp(name, "/libzelvane", 11) == 0 || std::strncmp(name, "/libZv", 6) == 0 ||
                            std::strncmp(name, "/libHW", 6) == 0 || std::strncmp(name, "/libG711", 8) == 0 ||
                            std::strncmp(name, "/libMP2", 7) == 0 || std::strncmp(name, "/libFAAC", 8) == 0);
    for (int i = 0; library && i < info->dlpi_phnum && oursCount < std::size(ours); i++) {
        const ElfW(Phdr) &part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            ours[oursCount++] = {info->dlpi_addr + part.p_vaddr, info->dlpi_addr + part.p_vaddr + part.p_memsz};
        }
    }
    return 0;
}

bool IsOurs(const void *caller) {
    const auto place = reinterpret_cast<uintptr_t>(caller);
    for (size_t i = 0; i < oursCount; i++) {
        if (place >= ours[i].begin && place < ours[i].end) {
            return true;
        }
    }
    return false;
}

bool Fails(const void *caller) { return armed && IsOurs(caller) && allocations++ == failing; }

}  // namespace

extern "C" void *__libc_malloc(size_t);
extern "C" void *__libc_calloc(size_t, size_t);
extern "C" void *__libc_realloc(void *, size_t);

#define FROM __builtin_return_address(0)
#define SEEN __attribute__((visibility("default")))

extern "C" SEEN void *malloc(size_t size) { return Fails(FROM) ? nullptr : __libc_malloc(size); }
extern "C" SEEN void *calloc(size_t count, size_t size) { return Fails(FROM) ? nullptr : __libc_calloc(count, size); }
extern "C" SEEN void *realloc(void *old, size_t size) { return Fails(FROM) ? nullptr : __libc_realloc(old, size); }

namespace {

void *New(size_t size, const void *caller) {
    void *memory = Fails(caller) ? nullptr : __libc_malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

SEEN void *operator new(size_t size) { return New(size, FROM); }
SEEN void *operator new[](size_t size) { return New(size, FROM); }
SEEN void *operator new(size_t size, const std::nothrow_t &) noexcept {
    return Fails(FROM) ? nullptr : __libc_malloc(size);
}
SEEN void *operator new[](size_t size, const std::nothrow_t &) noexcept {
    return Fails(FROM) ? nullptr : __libc_malloc(size);
}

namespace {

/** Open, play, record, snapshot, close of a pushed stream and of a file with sound. Any of it may be refused. */
void UseEverything(const std::vector<Bytes> &packets, const Bytes &sound, const std::string &movie,
                   const Scratch &dir) {
    ULONG_32 port = 0;
    if (!Zelvane_Init()) {
        return;
    }
    if (Zelvane_AllocPort(&port)) {
        Zelvane_SetPayloadType(port, 0, std::vector<PLAYER_PAYLOAD_TYPE_S>(2).data());
        Zelvane_OpenSound(port);
        Zelvane_OpenInputStream(port, nullptr, 0, 0);
        Zelvane_StartRecord(port, dir.At("clip").c_str(), PLAYER_FILE_FORMATE_MP4, nullptr);
        for (const Bytes &packet : packets) {
            Zelvane_InputMediaData(port, packet.data(), static_cast<ULONG_32>(packet.size()));
        }
        Zelvane_InputMediaData(port, sound.data(), static_cast<ULONG_32>(sound.size()));
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        Zelvane_SnatchOnce(port, dir.At("shot").c_str(), PLAYER_PIC_FORMATE_JPEG_AND_BMP, nullptr);
        Zelvane_SnatchOnceEx(port, dir.At("later").c_str(), PLAYER_PIC_FORMATE_JPEG, 1);
        Zelvane_StopRecord(port);
        Zelvane_CloseInputStream(port);
        Zelvane_OpenMediaFile(port, movie.c_str());
        Zelvane_StartRecord(port, dir.At("again").c_str(), PLAYER_FILE_FORMATE_TS, nullptr);
        Zelvane_PausePlay(port, 0);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        Zelvane_CloseMediaFile(port);
        Zelvane_FreePort(port);
    }
    Zelvane_Cleanup();
}

}  // namespace

TEST(OutOfMemory, NoFailedAllocationEndsTheProcess) {
    Scratch dir;
    const Bytes stream = ReadFile(MediaPath("h264_640x360_bf0.264"));
    std::vector<Bytes> packets = support::PacketiseVideo(stream, AV_CODEC_ID_H264, support::RTP_PT_H264);
    packets.resize(60);
    Bytes sound(12 + 160, 0x55);
    std::memcpy(sound.data(), "\x80\x00\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00", 12);
    const std::string movie = dir.At("movie.mp4");
    ASSERT_TRUE(support::Ffmpeg(
        "-r 25 -i " + MediaPath("h264_640x360_bf0.264") + " -i " + MediaPath("aac_16000_mono.aac") + " -c copy -t 1",
        movie));
    ASSERT_NE(dlopen((std::string(getenv("ZELVANE_BUILD")) + "/lib/libZvCodec.so").c_str(), RTLD_LAZY), nullptr);
    dl_iterate_phdr(NoteLibrary, nullptr);
    ASSERT_GT(oursCount, 2U);
    // A process of its own each, so that what is made once is among what fails.
    const auto use = [&](long n) {
        const pid_t child = fork();
        if (child == 0) {
            failing = n;
            armed = true;
            Zelvane_SetWriteLogCB([](ULONG_32, ULONG_32, ULONG_32, const CHAR *, ULONG_32, const CHAR *) {});
            UseEverything(packets, sound, movie, dir);
            _exit(allocations > n ? 0 : 1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    };
    const char *step = getenv("ZELVANE_OOM_STEP");  // 1 sweeps all of them
    int status = 0;
    long n = 0;
    for (; n < 2000 && (!WIFEXITED(status) || WEXITSTATUS(status) == 0); n += step != nullptr ? atol(step) : 7) {
        status = use(n);
        EXPECT_FALSE(WIFSIGNALED(status)) << "allocation " << n << ": signal " << WTERMSIG(status);
    }
    EXPECT_GT(n, 60) << "so many allocations there are at least";
}

#endif
