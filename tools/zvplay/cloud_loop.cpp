#include "cloud_loop.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>

#include "common/wall_time.h"

namespace zvplay {
namespace {

constexpr int kLookSeconds = 1;  // between two looks at playlists and cache
constexpr int kFastest = 4;      // index of 4x, the fastest of a cloud recording

struct Jump {
    Action action;
    int seconds;
};
const Jump kJumps[] = {{Action::kForward, 5}, {Action::kBack, -5}, {Action::kForwardFar, 60}, {Action::kBackFar, -60}};

struct Meaning {
    uint32_t code;
    const char *text;
};
const Meaning kMeanings[] = {
    {PLAYER_ERR_FAILED, "a fetch broke off, or the disk is full; it is tried again"},
    {PLAYER_ERR_MALLOC, "out of memory"},
    {PLAYER_HLS_DOWNLOAD_FINISHED, "all of it is in the cache"},
    {PLAYER_ERR_HLS_ADDRESS_FAMILY, "the server has an address of an unknown kind"},
    {PLAYER_ERR_HLS_CONNECT, "the server is not reached, or not the one it claims to be; bring a new playlist"},
    {PLAYER_ERR_HLS_HTTP_STATUS, "the server does not have a segment at its URL; it is tried again"},
    {PLAYER_HLS_DOWNLOAD_WAIT_TIMEOUT, "the download is too slow"},
    {PLAYER_ERR_HLS_HTTP_DENIED, "the URLs have expired, bring a new playlist"},
    {PLAYER_ERR_HLS_SEND, "the server takes no request; bring a new playlist"},
    {PLAYER_ERR_HLS_CANCELLED, "a fetch was given up"},
    {0xFFFFFFFF, "the cache folder can't be measured, so it may outgrow its limit"},
};

bool ReadText(const std::string &path, std::string *text) {
    if (path == "-") {
        text->assign(std::istreambuf_iterator<char>(std::cin), {});
        return true;
    }
    std::ifstream file(path, std::ios::binary);
    text->assign(std::istreambuf_iterator<char>(file), {});
    return file.good() || file.eof();
}

std::filesystem::file_time_type Changed(const std::string &path) {
    std::error_code error;
    return std::filesystem::last_write_time(path, error);
}

}  // namespace

std::string CloudMessageText(uint32_t code) {
    const auto *const row =
        std::find_if(std::begin(kMeanings), std::end(kMeanings), [code](const Meaning &m) { return m.code == code; });
    return row != std::end(kMeanings) ? row->text : "";
}

CloudLoop::CloudLoop(const Options &options, Player *player, Window *window, Status *status)
    : PlayLoop(options, player, window, status), list_(options.cache) {
    playlists_.push_back({options.source, {}});
    for (const std::string &path : options.more) playlists_.push_back({path, {}});
}

bool CloudLoop::Open(Failure *failure) {
    std::vector<std::string> texts;
    for (Playlist &playlist : playlists_) {
        if (!Read(&playlist, &texts.emplace_back(), failure)) return false;
        list_.Add(texts.back());
    }
    if (list_.Empty()) {
        *failure = {kExitSource, options_.source + ": a playlist without an entry", ""};
        return false;
    }
    position_ = counted_ = options_.at != 0 ? list_.Past(options_.at) : list_.Start();
    for (size_t i = 0; i < texts.size(); ++i) {
        const bool last = i + 1 == texts.size();  // the download would begin elsewhere if the time came any later
        if (!HandIn(playlists_[i], texts[i], last ? position_ : 0, failure)) return false;
    }
    player_.SetSpeed(kSpeeds[speed_].value);
    return true;
}

bool CloudLoop::Read(Playlist *playlist, std::string *text, Failure *failure) {
    playlist->changed = Changed(playlist->path);
    if (ReadText(playlist->path, text)) return true;
    *failure = {kExitSource, playlist->path + ": can't be read", ""};
    return false;
}

/** With no time the library goes on where it plays, and fetches from the new text's start. */
bool CloudLoop::HandIn(const Playlist &playlist, const std::string &text, uint32_t time, Failure *failure) {
    const uint32_t error = player_.UpdateCloud(text.c_str(), time);
    if (error == PLAYER_ERR_HLS_TIME_NOT_FOUND && time != 0) {
        *failure = {kExitUsage, "--at: the recording has nothing at " + tools::WallTimeText(time),
                    "it goes from " + tools::WallTimeText(list_.Start()) + " to " + tools::WallTimeText(list_.End())};
    } else if (error != 0) {
        *failure = {kExitSource, playlist.path + ": the library refuses this playlist",
                    "each entry needs #EXTINF, #EXT-X-PROGRAM-DATE-TIME and a URL on lines of their own; "
                    "#EXT-X-TARGETDURATION stands in front, #EXT-X-ENDLIST at the end"};
    }
    return error == 0;
}

/** Appends a playlist that has changed. */
bool CloudLoop::Append(Playlist *playlist, Failure *failure) {
    std::string text;
    if (!Read(playlist, &text, failure) || !HandIn(*playlist, text, 0, failure)) return false;
    list_.Add(text);
    return true;
}

void CloudLoop::LookForChanges() {
    for (Playlist &playlist : playlists_) {
        Failure failure;
        if (playlist.path == "-" || Changed(playlist.path) == playlist.changed) continue;
        if (!Append(&playlist, &failure)) status_.Note(failure.what + "; it goes on with the one before");
    }
}

PlayState CloudLoop::State() const {
    PlayState state;
    state.position = position_ - list_.Start();
    state.length = list_.End() - list_.Start();
    state.played = played_;
    state.paused = paused_;
    state.sound = sound_;
    state.recording = true;
    state.speed = speed_;
    state.cloud.date = tools::WallTimeText(position_);
    state.cloud.segments = cache_.segments;
    state.cloud.fetched = cache_.fetched;
    state.cloud.cache_bytes = cache_.bytes;
    state.cloud.message = message_;
    state.cloud.message_text = CloudMessageText(message_);
    return state;
}

void CloudLoop::Pause() {
    if (paused_) {
        player_.Halt();
    } else {
        player_.SetSpeed(kSpeeds[speed_].value);
    }
}

void CloudLoop::Seek(int64_t time) {
    const uint32_t last = list_.End() > list_.Start() ? list_.End() - 1 : list_.Start();
    const uint32_t target = list_.Past(static_cast<uint32_t>(std::clamp<int64_t>(time, list_.Start(), last)));
    const uint32_t normals = player_.CloudNormals();
    if (player_.UpdateCloud(nullptr, target) != 0) {
        status_.Note("the recording has nothing at " + tools::WallTimeText(target));
        return;
    }
    position_ = counted_ = target;
    normals_ = normals + 1;
}

void CloudLoop::Do(Action action) {
    for (const Jump &jump : kJumps) {
        if (action == jump.action) Seek(int64_t{position_} + jump.seconds);
    }
    if (action == Action::kBegin) Seek(list_.Start());
    if (action == Action::kFaster || action == Action::kSlower || action == Action::kNormalSpeed) {
        const int wanted = speed_ + (action == Action::kFaster ? 1 : -1);
        speed_ = action == Action::kNormalSpeed ? kNormalSpeed : std::clamp(wanted, 0, kFastest);
        if (!paused_) player_.SetSpeed(kSpeeds[speed_].value);
    }
}

/** A message that repeats twice a second is told once. */
void CloudLoop::TellMessage() {
    const uint32_t message = player_.CloudMessage();
    if (message == message_) return;
    message_ = message;
    const std::string text = CloudMessageText(message);
    if (!text.empty() && message != PLAYER_HLS_DOWNLOAD_FINISHED) status_.Note(std::to_string(message) + ": " + text);
}

bool CloudLoop::Advance(Failure *) {
    if (Clock::now() >= next_look_) {
        next_look_ = Clock::now() + std::chrono::seconds(kLookSeconds);
        LookForChanges();
        cache_ = list_.Look();
    }
    TellMessage();
    const uint32_t time = player_.CloudTime();
    if (time != 0 && player_.CloudNormals() >= normals_ && player_.Frames() > 0) {
        position_ = time;
        if (time > counted_) played_ += time - counted_;
        counted_ = time;
    }
    return true;
}

bool CloudLoop::IsOver() {
    if (options_.seconds > 0 && played_ >= options_.seconds) return true;
    return player_.CloudEnded() && Drained();
}

}  // namespace zvplay
