#include "zvcam/jpeg_source.h"

#include "common/jpeg.h"

namespace zvcam {

tools::Bytes JpegSource::Rest() const { return (more_ != nullptr ? tools::Bytes(stream_) : file_.All()).subspan(at_); }

bool JpegSource::Next(tools::Bytes *picture) {
    stream_.erase(stream_.begin(), stream_.begin() + static_cast<ptrdiff_t>(more_ != nullptr ? at_ : 0));
    if (more_ != nullptr) at_ = 0;
    // A picture is whole when something stands behind it, or nothing more comes.
    while (more_ != nullptr && tools::JpegLength(Rest()) == Rest().size() && more_(&stream_)) {
    }
    const size_t length = tools::JpegLength(Rest());
    *picture = Rest().first(length);
    at_ += length;
    return length > 0;
}

}  // namespace zvcam
