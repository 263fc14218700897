#include "common/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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

}  // namespace

MappedFile::MappedFile(MappedFile &&other) noexcept { *this = std::move(other); }

MappedFile &MappedFile::operator=(MappedFile &&other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

MappedFile::~MappedFile() { Close(); }

void MappedFile::Close() {
    if (data_ != nullptr) munmap(const_cast<uint8_t *>(data_), size_);
    data_ = nullptr;
    size_ = 0;
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
    } else {
        data_ = static_cast<const uint8_t *>(at);
        size_ = static_cast<size_t>(state.st_size);
    }
    close(file);
    return data_ != nullptr;
}

}  // namespace tools
