/** A program that is run for its output. */
#ifndef ZVCAM_CHILD_H
#define ZVCAM_CHILD_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "zvcam/options.h"

namespace zvcam {

/** Owns the running program: it ends with the object. Terminal signals do not reach it. */
class Child {
 public:
    Child() = default;
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child();

    /** Starts it. @param command program, looked up on the path, and its words. @return false with the failure filled
     */
    bool Start(const std::vector<std::string> &command, Failure *failure);

    /** Waits for output and appends it. @return false at its end, and when a signal comes in the wait */
    bool Read(std::vector<uint8_t> *data);

    /** The last line that it wrote on standard error; empty for none. */
    std::string LastWords() const;

 private:
    pid_t pid_ = -1;
    int output_ = -1;  ///< pipe from its standard output
    int errors_ = -1;  ///< file in memory with its standard error
};

}  // namespace zvcam

#endif
