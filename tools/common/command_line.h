/** Reads command lines by a table: "--name", "--name value" or "--name=value", and names of things. */
#ifndef TOOLS_COMMAND_LINE_H
#define TOOLS_COMMAND_LINE_H

#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "common/failure.h"

namespace tools {

/** A number and its limits, which are allowed. */
struct Number {
    double *value;
    double least, most;
};

/** A whole number and its limits. */
struct Whole {
    uint32_t *value;
    uint32_t least, most;
};

/** One of some words; the value becomes its place in the list. */
struct Choice {
    int *value;
    std::span<const char *const> words;
};

/** A time: seconds, minutes:seconds or hours:minutes:seconds. */
struct Time {
    double *seconds;
};

/** One row of the table: an option and where its value goes. A bool is an option without a value. */
struct Option {
    const char *name;
    std::variant<bool *, std::string *, Number, Whole, Choice, Time> target;
};

/**
 * Reads a command line. Behind "--" everything is a name.
 * @param options the table
 * @param names   receives the words that are no options
 * @return false with the failure filled
 */
bool ParseCommandLine(int argc, const char *const *argv, std::span<const Option> options,
                      std::vector<std::string> *names, Failure *failure);

/** Reads a time as the option does. @return false if it is none */
bool ParseTime(const std::string &text, double *seconds);

}  // namespace tools

#endif
