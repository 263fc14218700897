/**
 * @file picture_form.h
 * @brief How the pictures of a stream are cut into slices, to know by the last slice's place that a picture is whole.
 */
#ifndef ZELVANE_ADAPTERS_PICTURE_FORM_H
#define ZELVANE_ADAPTERS_PICTURE_FORM_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

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
        const Form &usual = Usual();
        same_ = same_ && count_ < usual.count && usual.places[count_] == address;
        if (count_ < kMost) {
            places_[count_] = address;
        }
        ++count_;
    }

    /** Whether all slices are there that its pictures have. A stream that changed its ways is not foretold. */
    bool LooksWhole() const { return same_ && count_ == Usual().count && !forms_[key_ ? 1 : 0].varies; }

    /** Whether anything is known of how pictures are cut. */
    bool IsKnown() const { return Usual().count != 0; }

    /** The picture has proved to be whole. */
    void Learn() {
        Form &form = forms_[key_ ? 1 : 0];
        const bool as_before =
            form.count == count_ && std::equal(places_, places_ + std::min(count_, kMost), form.places);
        form.varies |= count_ > kMost || (form.count != 0 && !as_before);
        form.count = std::min(count_, kMost);
        std::copy_n(places_, form.count, form.places);
    }

    /** Other parameter sets have come: what was is no guide. */
    void Forget() {
        for (Form &form : forms_) {
            form.count = 0;
            form.varies = false;
        }
    }

 private:
    static constexpr size_t kMost = 600; /**< slices of a picture at the highest level (ITU-T H.265, table A.8) */

    struct Form {
        uint32_t places[kMost];
        size_t count = 0; /**< 0: none is known */
        bool varies = false;
    };

    /** Of the picture's own kind; while that is not known, of the other. */
    const Form &Usual() const {
        const Form &own = forms_[key_ ? 1 : 0];
        return own.count == 0 ? forms_[key_ ? 0 : 1] : own;
    }

    Form forms_[2];
    bool key_ = false;
    bool same_ = false; /**< so far it is cut as usual */
    size_t count_ = 0;
    uint32_t places_[kMost] = {};
};

}  // namespace zv

#endif
