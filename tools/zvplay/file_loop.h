/** Plays a recording: the library reads and paces it, the loop steers. */
#ifndef ZVPLAY_FILE_LOOP_H
#define ZVPLAY_FILE_LOOP_H

#include "play_loop.h"

namespace zvplay {

class FileLoop : public PlayLoop {
 public:
    FileLoop(const Options &options, Player *player, Window *window, Status *status);

    PlayState State() const override;
    std::string Remark() const override;

 private:
    bool StepsFirst() const override { return options_.start > 0 || speed_ >= kFirstKeySpeed; }
    void StepIn() override;
    void Start() override;
    bool Advance(Failure *failure) override;
    bool IsOver() override { return over_; }
    int WaitMilliseconds() const override { return 20; }
    void Pause() override;
    void Do(Action action) override;

    void Seek(double seconds);
    uint32_t Reachable(double seconds);
    void SeekBy(double seconds);
    void SetSpeed(int speed);
    void HandleEnd();

    const double length_;  ///< seconds, in whole ones as the library has them
    int speed_;
    bool loop_;
    bool over_ = false;
    uint32_t ends_ = 0;  ///< of the ends that the library told, those that are done with
    double target_ = 0;  ///< of the last seek
    Clock::time_point seek_at_;
    uint32_t seek_frames_ = 0;  ///< frames found when it was asked for
    bool seeking_ = false;      ///< it has not been seen to arrive
    bool refused_ = false;      ///< the start was asked for, to which a record does not go back
    Clock::time_point refused_at_;
    double played_ = 0;    ///< seconds of the stream, without what seeks left out
    double position_ = 0;  ///< at the last look
};

}  // namespace zvplay

#endif
