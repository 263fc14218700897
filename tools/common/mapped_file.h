/** A regular file, mapped for reading. */
#ifndef TOOLS_MAPPED_FILE_H
#define TOOLS_MAPPED_FILE_H

#include <string>

#include "common/bytes.h"
#include "common/failure.h"

namespace tools {

/** Owns the mapping and the file's descriptor; can be moved, not copied. A file that is cut meanwhile reads as zeros. */
class MappedFile {
 public:
    MappedFile() = default;
    MappedFile(MappedFile &&other) noexcept;
    MappedFile &operator=(MappedFile &&other) noexcept;
    ~MappedFile();

    /** Maps a file in the place of the one before. @return false with the failure filled; an empty file is a failure */
    bool Open(const std::string &path, Failure *failure);

    /** The whole file. */
    Bytes All() const { return {data_, size_}; }

    /** Whether the file is shorter than it was when it was opened: what lay behind its end may have read as zeros. */
    bool WasCut() const;

 private:
    void Close();

    const uint8_t *data_ = nullptr;
    size_t size_ = 0;
    int file_ = -1;
};

}  // namespace tools

#endif
