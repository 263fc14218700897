/**
 * @file picture_form.h
 * @brief How the pictures of a stream are cut into slices, to know by the last slice's place that a picture is whole.
 */
#ifndef ZELVANE_ADAPTERS_PICTURE_FORM_H
#define ZELVANE_ADAPTERS_PICTURE_FORM_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zv {

/** The places of the slices of the picture in hand, held against those of the pictures before it. */
class PictureForm {
 public:
    /** A picture begins. @param key pictures that stand alone are cut in their own way */
    void Begin(bool key) {
        key_ = key;
        count_ = 0;
        same_ = true;
        Add(0);
    }

    /** A slice of it begins at this address. */
    void Add(uint32_t address) {
        const std::vector<uint32_t> &usual = Usual().places;
        same_ = same_ && count_ < usual.size() && usual[count_] == address;
        if (count_ < kMost) {
            places_[count_] = address;
        }
        ++count_;
    }

    /** Whether all slices are there that a picture of this stream has. A stream that changed its ways is not foretold.
     */
    bool LooksWhole() const { return same_ && count_ == Usual().places.size() && !forms_[key_ ? 1 : 0].varies; }

    /** Whether anything is known of how pictures are cut. */
    bool IsKnown() const { return !Usual().places.empty(); }

    /** The picture has proved to be whole. */
    void Learn() {
        Form &form = forms_[key_ ? 1 : 0];
        const size_t count = std::min(count_, kMost);
        const bool as_before = std::equal(form.places.begin(), form.places.end(), places_, places_ + count);
        form.varies |= count_ > kMost || (!form.places.empty() && !as_before);
        if (!as_before) {
            form.places.assign(places_, places_ + count);
        }
    }

    /** Other parameter sets have come: what was is no guide. */
    void Forget() { forms_[0] = forms_[1] = {}; }

 private:
    static constexpr size_t kMost = 600; /**< slices of a picture at the highest level (ITU-T H.265, table A.8) */

    struct Form {
        std::vector<uint32_t> places;
        bool varies = false;
    };

    /** Of the picture's own kind; while that is not known, of the other. */
    const Form &Usual() const {
        const Form &own = forms_[key_ ? 1 : 0];
        return own.places.empty() ? forms_[key_ ? 0 : 1] : own;
    }

    Form forms_[2];
    bool key_ = false;
    bool same_ = false; /**< so far it is cut as usual */
    size_t count_ = 0;
    uint32_t places_[kMost] = {};
};

}  // namespace zv

#endif
