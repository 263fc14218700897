/**
 * @file box_writer.h
 * @brief Puts boxes together in memory: numbers big-endian, sizes filled in when a box ends (ISO/IEC 14496-12, 4.2).
 */
#ifndef ZELVANE_ADAPTERS_ZVMP4_BOX_WRITER_H
#define ZELVANE_ADAPTERS_ZVMP4_BOX_WRITER_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zv {

/** Bytes of a box's head. */
constexpr uint32_t kBoxHead = 8;

/** Stores a number in 4 bytes. */
inline void PutU32(uint8_t *to, uint32_t value) {
    to[0] = static_cast<uint8_t>(value >> 24);
    to[1] = static_cast<uint8_t>(value >> 16);
    to[2] = static_cast<uint8_t>(value >> 8);
    to[3] = static_cast<uint8_t>(value);
}

/** A head of a box of its own, with room for no more. */
struct BoxHead {
    BoxHead(uint32_t size, std::string_view type) {
        PutU32(bytes, size);
        type.copy(reinterpret_cast<char *>(bytes) + 4, 4);
    }
    uint8_t bytes[kBoxHead];
};

/** Appends to a vector that its owner uses again and again. */
class BoxWriter {
 public:
    explicit BoxWriter(std::vector<uint8_t> *out) : out_(out) {}

    void U8(uint32_t value) { out_->push_back(static_cast<uint8_t>(value)); }
    void U16(uint32_t value) {
        U8(value >> 8);
        U8(value);
    }
    void U32(uint32_t value) {
        out_->resize(out_->size() + 4);
        PutU32(out_->data() + out_->size() - 4, value);
    }
    void Zeros(size_t count) { out_->resize(out_->size() + count); }
    void Text(std::string_view text) { out_->insert(out_->end(), text.begin(), text.end()); }
    void Bytes(const std::vector<uint8_t> &bytes) { out_->insert(out_->end(), bytes.begin(), bytes.end()); }

    size_t Pos() const { return out_->size(); }
    void PatchU32(size_t pos, uint32_t value) { PutU32(out_->data() + pos, value); }

 private:
    std::vector<uint8_t> *out_;
};

/** A box, from its construction to its end of scope. */
class Box {
 public:
    Box(BoxWriter *writer, std::string_view type) : writer_(writer), begin_(writer->Pos()) {
        writer_->U32(0);
        writer_->Text(type);
    }
    /** A box with version 0 and flags. */
    Box(BoxWriter *writer, std::string_view type, uint32_t flags) : Box(writer, type) { writer_->U32(flags); }
    ~Box() { writer_->PatchU32(begin_, static_cast<uint32_t>(writer_->Pos() - begin_)); }
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;

 private:
    BoxWriter *writer_;
    size_t begin_;
};

}  // namespace zv

#endif
