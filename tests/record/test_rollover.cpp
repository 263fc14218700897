// When a file is due: limits of size and time by format, and what a rollover leaves where no file can be changed.
#include <gtest/gtest.h>

#include <memory>

#include "support/temp_dir.h"
#include "zelvane_modules.h"

namespace {

/** A port amid a recording, with a JPEG in hand, which needs no parameter sets to begin a file. */
struct Recording {
    explicit Recording(ULONG_32 format, LONG_32 payload = PLAYER_PAYLOAD_JPEG) {
        record->stFrameData.lPayload = payload;
        port->pstReordPort = record.get();
        port->ulMediaFileFormat = format;
        port->lStartTime = time(nullptr);
        snprintf(port->szFileName, sizeof(port->szFileName), "cam.temp");
    }
    ~Recording() {
        if (port->pstRecordFilesName != nullptr) {
            free(port->pstRecordFilesName->pstFileNameLinkList);
            free(port->pstRecordFilesName);
        }
    }
    std::unique_ptr<PLAEYR_PORT_S> record = std::make_unique<PLAEYR_PORT_S>();
    std::unique_ptr<PLAEYR_PORT_S> port = std::make_unique<PLAEYR_PORT_S>();
};

}  // namespace

TEST(Rollover, LimitsOfSizeAndTimeByFormat) {
    TempDir folder;
    WriteFile("cam.temp", std::string(100, 'x'));
    for (ULONG_32 format = 0; format <= 20; ++format) {
        const bool audio = (1U << format & (0xF0 | 0xC00 | 0xB0000)) != 0;
        const bool avi = format >= 14;
        const bool splits = !audio && format != PLAYER_FILE_FORMATE_MP4;  // a JPEG in format 0 asks for nothing
        const struct {
            DULONG size;
            ULONG_32 time;
            int age;
            bool due;
        } rows[] = {
            {100, 0, 0, splits && !avi}, {101, 0, 0, false},  {0, 0, 100000, false},
            {0, 60, 50, false},          {0, 60, 62, splits}, {0, 60, -50, false},
        };
        for (const auto &row : rows) {
            Recording recording(format);
            recording.port->ulFileMaxSize = row.size;
            recording.port->ulFileMaxTime = row.time;
            recording.port->lStartTime -= row.age;
            EXPECT_EQ(Player_RecordDataChanged(recording.port.get()), row.due)
                << "format " << format << " size " << row.size << " age " << row.age;
        }
    }
    Recording gone(PLAYER_FILE_FORMATE_TS);
    gone.port->ulFileMaxSize = 1;
    snprintf(gone.port->szFileName, sizeof(gone.port->szFileName), "none.temp");
    EXPECT_EQ(Player_RecordDataChanged(gone.port.get()), 0) << "a file that is not there is not too large";
}

TEST(Rollover, SoundThatChangesAsksForAnotherTranscoderAndNoFile) {
    Recording recording(PLAYER_FILE_FORMATE_TS, PLAYER_PAYLOAD_G711A);
    recording.port->ulFileMaxTime = 1;
    recording.port->lStartTime -= 100;
    recording.record->ulRecAudioPayload = PLAYER_PAYLOAD_NULL;
    EXPECT_EQ(Player_RecordDataChanged(recording.port.get()), 0);
    EXPECT_EQ(recording.record->bRecAudioChange, 0);
    recording.record->stFrameData.lPayload = PLAYER_PAYLOAD_AAC;
    EXPECT_EQ(Player_RecordDataChanged(recording.port.get()), 0);
    EXPECT_EQ(recording.record->bRecAudioChange, 1);
}
