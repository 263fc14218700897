/** What a client knows of a cloud recording by itself: the segments of its playlists, and which of them lie in the
 * cache. */
#ifndef ZVPLAY_CLOUD_LIST_H
#define ZVPLAY_CLOUD_LIST_H

#include <cstdint>
#include <map>
#include <string>

namespace zvplay {

/** How far a recording has come into the cache. */
struct CacheState {
    uint32_t segments = 0;  ///< of the playlists
    uint32_t fetched = 0;   ///< of them, those in the cache folder
    uint64_t bytes = 0;     ///< of all files in the folder, those of other recordings too
};

/** The segments by their start times. For one thread. */
class CloudList {
 public:
    explicit CloudList(std::string folder) : folder_(std::move(folder)) {}

    /** Adds the entries of a playlist; the library judges the text, so what makes no sense here is passed over. */
    void Add(const std::string &text);

    bool Empty() const { return segments_.empty(); }
    /** Unix time of the first picture, and of the end of the last segment. */
    uint32_t Start() const { return segments_.begin()->first; }
    uint32_t End() const { return segments_.rbegin()->first + segments_.rbegin()->second.seconds; }

    /**
     * The time to ask the library for. The last second of a segment counts with it, and at it the library plays that
     * segment from its beginning: who wants the next one asks for a second more.
     */
    uint32_t Past(uint32_t time) const { return time > Start() && segments_.count(time) != 0 ? time + 1 : time; }

    /** Looks into the folder. */
    CacheState Look() const;

 private:
    struct Segment {
        uint32_t seconds;
        std::string name;  ///< of its file in the cache
    };

    const std::string folder_;
    std::map<uint32_t, Segment> segments_;
};

}  // namespace zvplay

#endif
