/** Looks into H.264 and H.265 units and JPEG pictures, no deeper than a probe needs. */
#ifndef ZVPROBE_UNITS_H
#define ZVPROBE_UNITS_H

#include <bitset>
#include <string>
#include <vector>

#include "common/bytes.h"

namespace zvprobe {

using tools::Bytes;

/** What the units of one picture say. */
struct Picture {
    unsigned slices = 0;
    bool readable = true;        ///< the kinds of its slices are known
    bool only_intra = true;      ///< no slice is predicted
    bool has_b = false;          ///< a slice is predicted from both sides
    bool random_access = false;  ///< IDR, or of H.265 any IRAP picture
    bool sp = false;             ///< marked as a P picture that leans on a key picture
    std::string missing;         ///< a parameter set that a slice needs and that has not come, in words
    std::string damage;          ///< what is wrong with a unit, in words
};

/** Follows a stream's parameter sets and reads its pictures. */
class UnitReader {
 public:
    /** @param h265 the coding; else H.264 */
    explicit UnitReader(bool h265) : h265_(h265) {}

    /** Reads one unit without its start code, and adds to its picture. */
    void Read(Bytes unit, Picture *picture);

    /** Size of the pictures with cropping, pixels; 0 before a parameter set told. */
    int Width() const { return width_; }
    int Height() const { return height_; }

 private:
    void ReadH264(Bytes unit, Picture *picture);
    void ReadH265(Bytes unit, Picture *picture);
    void ReadSpsH264(Bytes unit, Picture *picture);
    void ReadSpsH265(Bytes unit, Picture *picture);
    void ReadPps(Bytes unit, Picture *picture);
    void ReadSliceH264(Bytes unit, Picture *picture);
    void ReadSliceH265(Bytes unit, Picture *picture);
    void CheckSets(uint32_t pps, Picture *picture) const;
    void SetSize(uint32_t width, uint32_t height, uint32_t crop_wide, uint32_t crop_high);

    struct Pps {
        uint32_t sps = 0;
        bool output_flag = false;
        uint32_t extra_bits = 0;
    };
    const bool h265_;
    int width_ = 0, height_ = 0;
    std::bitset<32> have_sps_;
    std::bitset<256> have_pps_;
    std::vector<Pps> pps_ = std::vector<Pps>(256);
};

/** Cuts a byte stream (Annex B) into units. The parts point into it. */
void SplitUnits(Bytes stream, std::vector<Bytes> *units);

/** Reads the size in a JPEG picture's frame header. @return false if there is none */
bool ReadJpegSize(Bytes picture, int *width, int *height);

}  // namespace zvprobe

#endif
