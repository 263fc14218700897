#include "capture.h"

#include <ctime>
#include <filesystem>
#include <system_error>
#include <thread>

#include "log_file.h"
#include "record_format.h"

namespace zvplay {
namespace {

/** How long a note stands in the status line. */
constexpr std::chrono::seconds kNoteTime(4);

/** The recorder takes its packets every 40 ms; what it has not taken when it is stopped is not recorded. */
constexpr std::chrono::milliseconds kRecorderTime(250);

bool EndsWith(const std::string &text, const std::string &end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** "zvplay-20260102-030405". */
std::string NameOfNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char name[40];
    std::strftime(name, sizeof name, "zvplay-%Y%m%d-%H%M%S", &local);
    return name;
}

/** "mp4", "ts" or "avi". */
std::string EndingOf(int format) {
    const std::string name = kRecordFormats[format].name;
    return name.substr(0, name.find('-'));
}

/** The file that comes of a name, as the library makes it of one without a time in it. */
std::string FileOf(std::string name, int format) {
    for (const char *ending : {".mp4", ".ts", ".avi"}) {
        if (EndsWith(name, ending)) {
            name.resize(name.size() - std::string(ending).size());
            break;
        }
    }
    return name + "." + EndingOf(format);
}

/** Why the recording broke off; empty if it did not. */
std::string Trouble() { return Player::RecordError() != 0 ? Player::RecordErrorText() : RecordTrouble(); }

}  // namespace

bool Capture::Begin(Failure *failure) {
    player_.SetSplit(options_.split_size, options_.split_time);
    return options_.record.empty() || Record(options_.record, FormatOf(options_), failure);
}

bool Capture::Record(const std::string &name, int format, Failure *failure) {
    if (IsSource(FileOf(name, format))) {
        *failure = {kExitUsage, name + ": this is what is played", "record into another file"};
        return false;
    }
    ForgetRecordTrouble();
    if (!player_.StartRecording(name, kRecordFormats[format].value, failure)) return false;
    recording_ = name;
    broken_.clear();
    return true;
}

/** Whether both are one file, links and detours seen through. */
bool Capture::IsSource(const std::string &file) const {
    std::error_code missing;
    return std::filesystem::equivalent(options_.source, file, missing) && !missing;
}

void Capture::ToggleRecording() {
    Failure failure;
    if (!recording_.empty()) {
        StopRecording(kRecorderTime);
        return;
    }
    const int format = FormatOf(options_);
    if (!Record(NameOfNow() + "." + EndingOf(format), format, &failure)) Say(failure.what);
}

void Capture::StopRecording(std::chrono::milliseconds wait) {
    std::this_thread::sleep_for(wait);
    player_.StopRecording();
    recording_.clear();
    broken_ = Trouble();
    files_ = player_.RecordedFiles();
    first_file_ = player_.FirstRecordedFile();
    Say((broken_.empty() ? "recorded " : "kept ") + player_.LastRecordedFile());
}

void Capture::Watch() {
    if (!recording_.empty() && !Trouble().empty()) StopRecording(std::chrono::milliseconds(0));
}

bool Capture::SnapInto(const std::string &name, Failure *failure) {
    const bool bitmap = EndsWith(name, ".bmp");
    if (!player_.Snap(name, bitmap ? PLAYER_PIC_FORMATE_BMP : PLAYER_PIC_FORMATE_JPEG, failure)) return false;
    ++pictures_;
    last_picture_ = bitmap || EndsWith(name, ".jpg") ? name : name + ".jpg";
    Say("saved " + last_picture_);
    return true;
}

void Capture::Snap() {
    Failure failure;
    if (!SnapInto(NameOfNow() + "-" + std::to_string(pictures_ + 1) + ".jpg", &failure)) Say(failure.what);
}

bool Capture::End(Failure *failure) {
    if (!recording_.empty()) StopRecording(kRecorderTime);
    if (!options_.snapshot.empty() && !SnapInto(options_.snapshot, failure)) return false;
    if (broken_.empty()) return true;
    *failure = {kExitCapture, "the recording broke off: " + broken_, "is the disk full, or the folder gone?"};
    return false;
}

void Capture::Say(const std::string &note) {
    note_ = note;
    noted_ = Clock::now();
}

void Capture::Describe(PlayState *state) const {
    if (!broken_.empty()) state->record = "REC FAILED: " + broken_;
    if (!recording_.empty()) {
        state->record = "REC";
        state->capture = "  " + recording_;
    }
    if (!note_.empty() && Clock::now() - noted_ < kNoteTime) state->capture += "  " + note_;
    state->recorded = first_file_;
    state->recorded_files = files_;
}

std::string Capture::Summary() const {
    std::string text;
    if (files_ > 0) text = "recorded " + first_file_;
    if (files_ > 1) text += " and " + std::to_string(files_ - 1) + " more";
    if (pictures_ > 0) text += (text.empty() ? "saved " : ", saved ") + last_picture_;
    if (pictures_ > 1) text += " and " + std::to_string(pictures_ - 1) + " more";
    return text;
}

}  // namespace zvplay
