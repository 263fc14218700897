#include "common/mapped_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tools {

namespace {

/** Why a file can't be read that could be opened. */
Failure Refuse(const std::string &path, mode_t mode) {
    if (S_ISREG(mode)) return {kExitSource, path + ": the file is empty", "nothing was written into it, or not yet"};
    if (S_ISDIR(mode)) return {kExitSource, path + ": this is a folder", "name a file in it"};
    return {kExitSource, path + ": not a regular file", "only files are read; save a pipe or device into one first"};
}

/** The mappings, for the handler. Those beyond the last place do without it. */
struct Range {
    std::atomic<uintptr_t> begin{0}, end{0};
};
Range ranges[16];

/**
 * To touch a page behind the end of a mapped file that was cut raises SIGBUS. A page of zeros takes the place of such a
 * page, and the access is made again; a fault of anything else ends the process as ever.
 */
void OnBusError(int number, siginfo_t *info, void *) {
    static const uintptr_t page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t at = reinterpret_cast<uintptr_t>(info->si_addr);
    for (const Range &range : ranges) {
        if (at < range.begin.load() || at >= range.end.load()) continue;
        void *const place = reinterpret_cast<void *>(at & ~(page - 1));
        if (mmap(place, page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) == place) return;
    }
    signal(number, SIG_DFL);
}

void Watch(const void *data, size_t size) {
    struct sigaction action = {};
    action.sa_sigaction = OnBusError;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, nullptr);
    const uintptr_t begin = reinterpret_cast<uintptr_t>(data);
    for (Range &range : ranges) {
        uintptr_t free = 0;
        if (!range.begin.compare_exchange_strong(free, begin)) continue;
        range.end.store(begin + size);
        return;
    }
}

void Unwatch(const void *data) {
    for (Range &range : ranges) {
        if (range.begin.load() != reinterpret_cast<uintptr_t>(data)) continue;
        range.end.store(0);
        range.begin.store(0);
    }
}

}  // namespace

MappedFile::MappedFile(MappedFile &&other) noexcept { *this = std::move(other); }

MappedFile &MappedFile::operator=(MappedFile &&other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(file_, other.file_);
    return *this;
}

MappedFile::~MappedFile() { Close(); }

void MappedFile::Close() {
    if (data_ != nullptr) {
        Unwatch(data_);
        munmap(const_cast<uint8_t *>(data_), size_);
    }
    if (file_ >= 0) close(file_);
    data_ = nullptr;
    size_ = 0;
    file_ = -1;
}

bool MappedFile::WasCut() const {
    struct stat state = {};
    return file_ >= 0 && fstat(file_, &state) == 0 && static_cast<size_t>(state.st_size) < size_;
}

bool MappedFile::Open(const std::string &path, Failure *failure) {
    Close();
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a pipe must not hold us up
    if (file < 0) {
        *failure = {kExitSource, path + ": " + std::strerror(errno), "check the name and the right to read it"};
        return false;
    }
    struct stat state = {};
    if (fstat(file, &state) != 0 || !S_ISREG(state.st_mode) || state.st_size == 0) {
        *failure = Refuse(path, state.st_mode);
        close(file);
        return false;
    }
    void *at = mmap(nullptr, static_cast<size_t>(state.st_size), PROT_READ, MAP_PRIVATE, file, 0);
    if (at == MAP_FAILED) {
        *failure = {kExitSource, path + ": " + std::strerror(errno), "the file could not be mapped into memory"};
        close(file);
        return false;
    }
    data_ = static_cast<const uint8_t *>(at);
    size_ = static_cast<size_t>(state.st_size);
    file_ = file;
    Watch(data_, size_);
    return true;
}

}  // namespace tools
