#include <unistd.h>

#include <cstdio>

#include "common/json_text.h"
#include "zvcam/camera.h"

namespace zvcam {

void Camera::Note(const std::string &text) const {
    if (!options_.quiet) std::fprintf(stderr, "%szvcam: %s\n", isatty(STDERR_FILENO) ? "\r\033[K" : "", text.c_str());
}

/** A line a second on a terminal. */
void Camera::ShowStatus(Clock::time_point now) {
    const std::chrono::duration<double> past = now - shown_;
    if (options_.quiet || past.count() < 1 || !isatty(STDERR_FILENO)) return;
    Counters all;
    for (const Past &client : past_) Add(client.counters, &all);
    for (const std::unique_ptr<Client> &client : clients_) Add(client->Figures(), &all);
    const double rate = static_cast<double>(all.bytes - shown_bytes_) * 8e-6 / past.count();
    std::fprintf(stderr, "\r\033[K%.0f s  %llu frames  %zu clients  %.2f Mbit/s", position_,
                 static_cast<unsigned long long>(frames_), clients_.size(), shown_ == Clock::time_point() ? 0 : rate);
    line_open_ = true;
    shown_ = now;
    shown_bytes_ = all.bytes;
}

/** What follows gets a line of its own. */
void Camera::EndStatus() {
    if (line_open_) std::fputc('\n', stderr);
    line_open_ = false;
}

std::string Camera::Report() const {
    static const char *const kSounds[] = {"none", "G.711 mu-law", "G.711 A-law", "AAC"};
    const bool open = media_ != nullptr;  // not when it was interrupted before the encoder gave anything
    const MediaInfo info = open ? media_->Info() : MediaInfo();
    Counters all;
    std::string clients;
    for (const Past &client : past_) {
        Add(client.counters, &all);
        clients += std::string(clients.empty() ? "" : ", ") + "{\"name\": " + tools::JsonText(client.name) +
                   ", \"end\": " + tools::JsonText(client.ending) + ", " + Json(client.counters) + "}";
    }
    char stream[360];  // more than all the figures at their longest
    std::snprintf(stream, sizeof stream,
                  "\"video\": \"%s\", \"audio\": \"%s\", \"rate\": %.6g, \"seconds\": %.3f, \"seed\": %u, "
                  "\"stream_frames\": %llu, \"units_left_out\": %llu, \"unmarked\": %llu",
                  !open ? "" : info.h265 ? "H.265" : "H.264", kSounds[info.audio], info.fps, position_,
                  options_.faults.seed, static_cast<unsigned long long>(frames_),
                  static_cast<unsigned long long>(open ? media_->UnitsLeftOut() : 0),
                  static_cast<unsigned long long>(open ? media_->Unmarked() : 0));
    return "{\"source\": " + tools::JsonText(options_.file.empty() ? "test picture" : options_.file) + ", " + stream +
           ", \"clients\": [" + clients + "], \"all\": {" + Json(all) + "}}";
}

}  // namespace zvcam
