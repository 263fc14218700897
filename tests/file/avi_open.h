// An AVI file under test, in memory, as the file layer opens it.
#ifndef ZELVANE_TESTS_FILE_AVI_OPEN_H
#define ZELVANE_TESTS_FILE_AVI_OPEN_H

#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "file/avi/avifmt.h"
#include "file/module_avi.h"
#include "foundations/player_types.h"
#include "foundations/shared_word.h"

class AviOpen {
 public:
    explicit AviOpen(const std::string &content, long index = 1) {
        const int file = memfd_create("avi", 0);
        if (write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size())) {
            m_avi = AVI_open_fd(file, index);
        }
        m_error = m_avi != nullptr ? 0 : word::Load(AVI_errno);
    }
    ~AviOpen() { AVI_close(m_avi); }
    AviOpen(const AviOpen &) = delete;
    AviOpen &operator=(const AviOpen &) = delete;

    avi_t *Get() const { return m_avi; }
    long Error() const { return m_error; }
    AVI_FRAME_INFO_S &Frame() { return m_frame; }

    ULONG_32 Read(ULONG_32 getType = AVI_FRAME_GET_TYPE_NONE) {
        m_frame.pucData = Buffer();
        return AVI_GetOneFrameData(m_avi, getType, &m_frame);
    }
    /** Reads to the end, at most so often: each frame's bytes, "(code)" for a failure. */
    std::vector<std::string> ReadAll(ULONG_32 getType = AVI_FRAME_GET_TYPE_NONE, size_t most = 1000) {
        std::vector<std::string> all;
        while (all.size() < most) {
            const ULONG_32 result = Read(getType);
            if (result == PLAYER_ERR_FILE_END) {
                break;
            }
            all.push_back(result == PLAYER_ERR_OK
                              ? std::string(reinterpret_cast<char *>(m_frame.pucData), m_frame.ulDataSize)
                              : "(" + std::to_string(result) + ")");
        }
        return all;
    }
    static UCHAR *Buffer() {
        static const std::unique_ptr<UCHAR[]> buffer(new UCHAR[VIDEO_FRAME_BUFFER_SIZE]);
        return buffer.get();
    }

 private:
    avi_t *m_avi = nullptr;
    long m_error = 0;
    AVI_FRAME_INFO_S m_frame = {};
};

#endif
