/** Reads JPEG pictures (ITU-T T.81): a file of one or many, a folder, or numbered files. */
#ifndef ZVPLAY_JPEG_READER_H
#define ZVPLAY_JPEG_READER_H

#include <vector>

#include "common/mapped_file.h"
#include "source.h"

namespace zvplay {

using tools::MappedFile;

/** Gives one JPEG a push, at a fixed rate. */
class JpegReader : public Source {
 public:
    /**
     * @param files  names, in order; each may hold many pictures
     * @param fps    pictures a second
     * @param repeat start again at the end, for a still that is to stay in the window
     */
    JpegReader(std::vector<std::string> files, double fps, bool repeat);

    bool Next(Push *push) override;
    void SetFrameRate(double fps) override { interval_ = 1 / fps; }
    std::string Remark() const override { return remark_; }

 private:
    std::vector<std::string> files_;
    size_t next_file_ = 0;
    MappedFile file_;
    size_t at_ = 0;
    double interval_;
    double due_ = 0;
    bool first_ = true;
    const bool repeat_;
    bool found_ = false;  ///< a picture since the last start at the first file
    std::string remark_;
};

/** The .jpg and .jpeg files of a folder, by name. */
std::vector<std::string> FilesOfFolder(const std::string &folder);

/** The files that a printf pattern with one %d, %3d or %03d names, from 0 or 1 on to the first that is missing. */
std::vector<std::string> FilesOfPattern(const std::string &pattern);

}  // namespace zvplay

#endif
