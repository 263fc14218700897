/** Plays a cloud recording: the library fetches and paces it, the loop hands in playlists and steers. */
#ifndef ZVPLAY_CLOUD_LOOP_H
#define ZVPLAY_CLOUD_LOOP_H

#include <filesystem>
#include <vector>

#include "cloud_list.h"
#include "play_loop.h"

namespace zvplay {

/** What a run message of a cloud port means; empty for those that need no words. */
std::string CloudMessageText(uint32_t code);

class CloudLoop : public PlayLoop {
 public:
    CloudLoop(const Options &options, Player *player, Window *window, Status *status);

    /** Hands the playlists in and begins. @return false with the failure filled */
    bool Open(Failure *failure);

    PlayState State() const override;

 private:
    /** A file of the command line; "-" is standard input, which is read once. */
    struct Playlist {
        std::string path;
        std::filesystem::file_time_type changed;
    };

    bool Advance(Failure *failure) override;
    bool IsOver() override;
    int WaitMilliseconds() const override { return 20; }
    void Pause() override;
    void Do(Action action) override;

    bool Read(Playlist *playlist, std::string *text, Failure *failure);
    bool HandIn(const Playlist &playlist, const std::string &text, uint32_t time, Failure *failure);
    bool Append(Playlist *playlist, Failure *failure);
    void LookForChanges();
    void TellMessage();
    void Seek(int64_t time);

    CloudList list_;
    CacheState cache_;
    std::vector<Playlist> playlists_;
    Clock::time_point next_look_ = Clock::now();
    uint32_t position_ = 0;  ///< Unix time; of the seek until its first picture comes
    int speed_ = kNormalSpeed;
    uint32_t normals_ = 0;  ///< positions that the library has begun to play, up to the last seek
    uint32_t message_ = 0;  ///< the newest one, as it was told
    double played_ = 0;     ///< seconds
    uint32_t counted_ = 0;  ///< position up to which they are counted
};

}  // namespace zvplay

#endif
