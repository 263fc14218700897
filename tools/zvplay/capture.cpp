#include "capture.h"

#include <ctime>
#include <thread>

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

}  // namespace

bool Capture::Begin(Failure *failure) {
    player_.SetSplit(options_.split_size, options_.split_time);
    return options_.record.empty() || Record(options_.record, FormatOf(options_), failure);
}

bool Capture::Record(const std::string &name, int format, Failure *failure) {
    if (!player_.StartRecording(name, kRecordFormats[format].value, failure)) return false;
    recording_ = name;
    return true;
}

void Capture::ToggleRecording() {
    Failure failure;
    if (!recording_.empty()) {
        StopRecording();
    } else if (!Record(NameOfNow() + ".mp4", kPlainMp4, &failure)) {
        Say(failure.what);
    }
}

void Capture::StopRecording() {
    std::this_thread::sleep_for(kRecorderTime);
    player_.StopRecording();
    recording_.clear();
    files_ = player_.RecordedFiles();
    first_file_ = player_.FirstRecordedFile();
    Say("recorded " + player_.LastRecordedFile());
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
    if (!recording_.empty()) StopRecording();
    if (!options_.snapshot.empty() && !SnapInto(options_.snapshot, failure)) return false;
    if (options_.record.empty() || Player::RecordError() == 0) return true;
    *failure = {kExitCapture, "the recording broke off: " + Player::RecordErrorText(),
                "is the disk full, or the folder gone?"};
    return false;
}

void Capture::Say(const std::string &note) {
    note_ = note;
    noted_ = Clock::now();
}

std::string Capture::Text() const {
    std::string text;
    if (!recording_.empty()) {
        text = Player::RecordError() == 0 ? "  REC " + recording_ : "  REC FAILED: " + Player::RecordErrorText();
    }
    if (!note_.empty() && Clock::now() - noted_ < kNoteTime) text += "  " + note_;
    return text;
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
