/**
 * @file disk_file.h
 * @brief A file on disk that is written by place: whole or not at all, as far as the caller can tell.
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_DISK_FILE_H
#define ZELVANE_ADAPTERS_ZVMP4_DISK_FILE_H

#include <cstddef>
#include <cstdint>

namespace zv {

/** Owns a descriptor. Nothing is buffered: what was written shows in the file's size at once. */
class DiskFile {
 public:
    DiskFile() = default;
    ~DiskFile();
    DiskFile(const DiskFile &) = delete;
    DiskFile &operator=(const DiskFile &) = delete;

    /** Creates a file, or empties an existing one. */
    bool Create(const char *path);
    /** @return false if not all bytes could be written; some may have been */
    bool Write(const void *data, size_t size, uint64_t at);
    /** @return false if not all bytes are there */
    bool Read(void *data, size_t size, uint64_t at);
    /** Sets the file's size. */
    bool Cut(uint64_t size);
    /** Gives a part of a hole, or of what lies behind the end, its blocks, so that a write there succeeds on a full
     * disk too. Content and size stay; Cut() takes the blocks behind the end back.
     *  @return false if there is no room. Nothing is done, and true, where the file system can't do that */
    bool Allocate(uint64_t at, uint64_t size);
    /** errno of the last write or allocation that failed; 0 for none. */
    int LastError() const { return last_error_; }

 private:
    bool Note(bool done);

    int fd_ = -1;
    int last_error_ = 0;
};

}  // namespace zv

#endif
