#include "common/command_line.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace tools {
namespace {

/** A decimal number and nothing else. */
bool ReadNumber(const std::string &text, double *value) {
    const char *end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, *value, std::chars_format::fixed);
    return error == std::errc() && at == end && std::isfinite(*value);
}

std::string Text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

/** Puts a value where it belongs. @return empty, or what the option wants instead */
struct Reader {
    const std::string &text;

    std::string operator()(bool *) const { return "no value"; }
    std::string operator()(std::string *target) const {
        *target = text;
        return {};
    }
    std::string operator()(const Number &number) const {
        double value = 0;
        if (!ReadNumber(text, &value) || value < number.least || value > number.most) {
            return "a number from " + Text(number.least) + " to " + Text(number.most);
        }
        *number.value = value;
        return {};
    }
    std::string operator()(const Whole &whole) const {
        uint32_t value = 0;
        const char *end = text.data() + text.size();
        const auto [at, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc() || at != end || value < whole.least || value > whole.most) {
            return "a whole number from " + std::to_string(whole.least) + " to " + std::to_string(whole.most);
        }
        *whole.value = value;
        return {};
    }
    std::string operator()(const Choice &choice) const {
        std::string words;
        for (size_t i = 0; i < choice.words.size(); ++i) {
            if (text == choice.words[i]) {
                *choice.value = static_cast<int>(i);
                return {};
            }
            words += std::string(i > 0 ? ", " : "one of ") + choice.words[i];
        }
        return words;
    }
    std::string operator()(const Time &time) const {
        return ParseTime(text, time.seconds) ? "" : "a time, such as 90 or 1:30";
    }
};

bool Fail(Failure *failure, const std::string &what) {
    *failure = {kExitUsage, what, "--help tells what there is"};
    return false;
}

const Option *Find(std::span<const Option> options, const std::string &name) {
    for (const Option &option : options) {
        if (name == option.name) return &option;
    }
    return nullptr;
}

}  // namespace

bool ParseTime(const std::string &text, double *seconds) {
    double total = 0, value = 0;
    size_t begin = 0;
    int colons = 0;
    for (size_t colon = text.find(':'); colon != std::string::npos; colon = text.find(':', begin)) {
        if (++colons > 2 || !ReadNumber(text.substr(begin, colon - begin), &value) || value < 0) return false;
        total = (total + value) * 60;
        begin = colon + 1;
    }
    if (!ReadNumber(text.substr(begin), &value) || value < 0 || total + value > 1e9) return false;
    *seconds = total + value;
    return true;
}

bool ParseCommandLine(int argc, const char *const *argv, std::span<const Option> options,
                      std::vector<std::string> *names, Failure *failure) {
    bool only_names = false;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (only_names || word.size() < 2 || word[0] != '-') {
            names->push_back(word);
            continue;
        }
        only_names = word == "--";
        if (only_names) continue;
        const size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const Option *option = Find(options, name);
        if (option == nullptr) return Fail(failure, "unknown option " + name);
        if (bool *const *flag = std::get_if<bool *>(&option->target); flag != nullptr && equals == std::string::npos) {
            **flag = true;
            continue;
        }
        if (equals == std::string::npos && i + 1 >= argc) return Fail(failure, name + " wants a value");
        const std::string value = equals != std::string::npos ? word.substr(equals + 1) : argv[++i];
        const std::string wanted = std::visit(Reader{value}, option->target);
        if (!wanted.empty()) return Fail(failure, name + " wants " + wanted + ", not '" + value + "'");
    }
    return true;
}

}  // namespace tools
