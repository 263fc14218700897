/** JPEG pictures: of a file, or of an encoder. */
#ifndef ZVCAM_JPEG_SOURCE_H
#define ZVCAM_JPEG_SOURCE_H

#include <functional>
#include <vector>

#include "common/mapped_file.h"

namespace zvcam {

/** Cuts a stream of JPEG pictures one by one. */
class JpegSource {
 public:
    /** @param file pictures one behind the other */
    explicit JpegSource(tools::MappedFile file) : file_(std::move(file)) {}
    /** @param more appends what comes next of a stream; false at its end */
    explicit JpegSource(std::function<bool(std::vector<uint8_t> *)> more) : more_(std::move(more)) {}

    /** Takes the next one, which holds until the next call. @return false at the end */
    bool Next(tools::Bytes *picture);

    /** Starts again at the beginning of the file. */
    void Rewind() { at_ = 0; }

 private:
    tools::Bytes Rest() const;

    tools::MappedFile file_;
    std::function<bool(std::vector<uint8_t> *)> more_;  ///< empty for a file
    std::vector<uint8_t> stream_;                       ///< what came of it
    size_t at_ = 0;                                     ///< what was given out
};

}  // namespace zvcam

#endif
