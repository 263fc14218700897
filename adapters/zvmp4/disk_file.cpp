#include "zvmp4/disk_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace zv {

namespace {

/** Repeats a transfer of pread() or pwrite() until all is done. */
template <class Transfer>
bool TransferAll(size_t size, Transfer transfer) {
    for (size_t done = 0; done < size;) {
        const ssize_t count = transfer(done);
        if (count > 0) {
            done += static_cast<size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

DiskFile::~DiskFile() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

bool DiskFile::Create(const char *path) {
    fd_ = open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return fd_ >= 0;
}

bool DiskFile::Write(const void *data, size_t size, uint64_t at) {
    const char *bytes = static_cast<const char *>(data);
    return Note(TransferAll(
        size, [&](size_t done) { return pwrite(fd_, bytes + done, size - done, static_cast<off_t>(at + done)); }));
}

bool DiskFile::Read(void *data, size_t size, uint64_t at) {
    char *bytes = static_cast<char *>(data);
    return TransferAll(
        size, [&](size_t done) { return pread(fd_, bytes + done, size - done, static_cast<off_t>(at + done)); });
}

bool DiskFile::Note(bool done) {
    if (!done) {
        last_error_ = errno;
    }
    return done;
}

bool DiskFile::Cut(uint64_t size) { return ftruncate(fd_, static_cast<off_t>(size)) == 0; }

bool DiskFile::Allocate(uint64_t at, uint64_t size) {
    return Note(fallocate(fd_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(at), static_cast<off_t>(size)) == 0 ||
                (errno != ENOSPC && errno != EDQUOT && errno != EFBIG));
}

}  // namespace zv
