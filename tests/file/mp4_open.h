// An MP4 file under test, in memory or on disk, with its parser. All share a frame buffer of exactly the promised size.
#ifndef ZELVANE_TESTS_FILE_MP4_OPEN_H
#define ZELVANE_TESTS_FILE_MP4_OPEN_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "file/mp4_parse.h"

class Mp4Open {
 public:
    explicit Mp4Open(std::string content) : m_content(std::move(content)) {
        m_file = fmemopen(m_content.data(), m_content.size(), "rb");
        m_parser = MP4_CreateMp4Parser(m_file, 0);
    }
    static std::unique_ptr<Mp4Open> FromDisk(const std::string &path) {
        std::unique_ptr<Mp4Open> open(new Mp4Open);
        open->m_file = fopen(path.c_str(), "rb");
        open->m_parser = open->m_file != nullptr ? MP4_CreateMp4Parser(open->m_file, 0) : nullptr;
        return open;
    }
    ~Mp4Open() {
        MP4_ReleaseMp4Parser(m_parser);
        if (m_file != nullptr) {
            fclose(m_file);
        }
    }
    Mp4Open(const Mp4Open &) = delete;
    Mp4Open &operator=(const Mp4Open &) = delete;

    bool Ok() const { return m_parser != nullptr; }
    FILE *Stream() const { return m_file; }
    mp4_moov_box *Parser() const { return m_parser; }
    MP4_FRAME_INFO_S &Frame() { return m_frame; }

    ULONG_32 Read(LONG_32 getType = MP4_FRAME_GET_TYPE_NONE) {
        static const std::unique_ptr<UCHAR[]> buffer(new UCHAR[VIDEO_FRAME_BUFFER_SIZE]);
        m_frame.pucBuffer = buffer.get();
        return MP4_GetOneFrameData(m_file, m_parser, getType, &m_frame);
    }
    /** The frame's bytes. */
    std::string Bytes() const { return {reinterpret_cast<char *>(m_frame.pucBuffer), m_frame.ulBufferLen}; }
    /** Reads and gives the bytes; empty when that fails. */
    std::string ReadBytes(LONG_32 getType = MP4_FRAME_GET_TYPE_NONE) {
        return Read(getType) == PLAYER_ERR_OK ? Bytes() : std::string();
    }
    /** The list as one line a sample: place and size, with "k" for a key, the track's number and "c" at a chunk. */
    std::vector<std::string> List() const {
        std::vector<std::string> lines;
        for (const mp4_sample_node &node : m_parser->list) {
            lines.push_back(std::to_string(node.dlOffset) + "+" + std::to_string(node.size) + (node.key ? "k" : "") +
                            " t" + std::to_string(node.type) + (node.chunk_count >= 0 ? "c" : ""));
        }
        return lines;
    }

 private:
    Mp4Open() = default;

    std::string m_content;
    FILE *m_file = nullptr;
    mp4_moov_box *m_parser = nullptr;
    MP4_FRAME_INFO_S m_frame = {};
};

#endif
