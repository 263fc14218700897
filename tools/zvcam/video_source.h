/** Pictures: of a file, or of an encoder that makes a test picture. */
#ifndef ZVCAM_VIDEO_SOURCE_H
#define ZVCAM_VIDEO_SOURCE_H

#include <memory>
#include <vector>

#include "common/access_units.h"
#include "zvcam/child.h"
#include "zvcam/jpeg_source.h"
#include "zvcam/options.h"

namespace zvcam {

using tools::Bytes;

/** One access unit. */
struct Picture {
    std::vector<Bytes> units;  ///< hold until the next picture
    bool key = false;          ///< a receiver can begin with it: parameter sets stand in front
};

/**
 * Gives picture after picture, as receivers want them: key pictures always with their parameter sets, which some files
 * have only once, and of H.264 only the kinds of units that the players of this platform take. What is left out (filler
 * data, ends of sequences, extensions) is nothing that a picture needs.
 */
class VideoSource {
 public:
    /** Opens the file or starts the encoder. @return null with the failure filled */
    static std::unique_ptr<VideoSource> Open(const Options &options, Failure *failure);

    /** Takes the next picture. @return false at the end */
    bool Next(Picture *picture);

    bool IsH265() const { return units_ != nullptr && units_->IsH265(); }
    bool IsJpeg() const { return jpeg_ != nullptr; }
    double Fps() const { return fps_; }
    uint64_t UnitsLeftOut() const { return units_left_out_; }
    /** Why the encoder ended, or empty. */
    std::string Complaint() const { return encoder_ != nullptr ? encoder_->LastWords() : ""; }

 private:
    bool OpenFile(const Options &options, Failure *failure);
    bool OpenJpeg(tools::MappedFile file, const Options &options, Failure *failure);
    bool NextJpeg(Picture *picture);
    bool StartEncoder(const Options &options, Failure *failure);
    void KeepParameterSets();
    void AddParameterSets(Picture *picture) const;

    std::unique_ptr<Child> encoder_;
    std::unique_ptr<tools::AccessUnitReader> units_;  ///< null for JPEG
    std::unique_ptr<JpegSource> jpeg_;                ///< null for the others
    tools::AccessUnit unit_;
    bool loop_ = false;
    double fps_ = 25;
    std::vector<std::vector<uint8_t>> parameter_sets_;  ///< of the newest access unit that had some, in their order
    uint64_t units_left_out_ = 0;
};

}  // namespace zvcam

#endif
