#include "common/json_reader.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iterator>

namespace tools {
namespace {

constexpr int kDeepest = 32;
constexpr size_t kLongest = 1 << 20;

/** One walk over the text. A function that fails has said why in why_. */
class Parser {
 public:
    explicit Parser(const std::string &text) : text_(text) {}

    bool All(Json *value) {
        if (!Value(value, 0)) return false;
        Space();
        return at_ == text_.size() || Fail("something stands behind the end");
    }
    std::string Where() const {
        const auto end = text_.begin() + static_cast<long>(std::min(at_, text_.size()));
        return "line " + std::to_string(1 + std::count(text_.begin(), end, '\n')) + ": " + why_;
    }

 private:
    bool Fail(const char *why) {
        why_ = why;
        return false;
    }
    void Space() {
        while (at_ < text_.size() && std::string(" \t\r\n").find(text_[at_]) != std::string::npos) ++at_;
    }
    char Peek() {
        Space();
        return at_ < text_.size() ? text_[at_] : '\0';
    }
    bool Take(char wanted) {
        if (Peek() != wanted) return false;
        ++at_;
        return true;
    }

    bool Value(Json *value, int depth) {
        if (depth > kDeepest) return Fail("too deep");
        switch (Peek()) {
            case '{':
                return Object(value, depth);
            case '[':
                return List(value, depth);
            case '"':
                value->kind = Json::kText;
                return Text(&value->text);
            default:
                return Word(value) || Number(value);
        }
    }
    bool Object(Json *value, int depth) {
        value->kind = Json::kObject;
        for (Take('{'); !Take('}');) {
            if (!value->members.empty() && !Take(',')) return Fail("a comma or } is missing");
            auto &[name, member] = value->members.emplace_back();
            if (Peek() != '"') return Fail("a name in quotes is missing");
            if (!Text(&name)) return false;
            if (!Take(':')) return Fail("a colon is missing");
            if (!Value(&member, depth + 1)) return false;
        }
        return true;
    }
    bool List(Json *value, int depth) {
        value->kind = Json::kList;
        for (Take('['); !Take(']');) {
            if (!value->items.empty() && !Take(',')) return Fail("a comma or ] is missing");
            if (!Value(&value->items.emplace_back(), depth + 1)) return false;
        }
        return true;
    }
    bool Word(Json *value) {
        static const std::pair<const char *, Json::Kind> kWords[] = {
            {"true", Json::kBool}, {"false", Json::kBool}, {"null", Json::kNull}};
        for (const auto &[word, kind] : kWords) {
            const std::string text = word;
            if (text_.compare(at_, text.size(), text) != 0) continue;
            at_ += text.size();
            value->kind = kind;
            value->truth = text == "true";
            return true;
        }
        return false;
    }
    bool Number(Json *value) {
        const char *begin = text_.data() + at_;
        const auto [end, error] = std::from_chars(begin, text_.data() + text_.size(), value->number);
        const bool digits = end != begin && (*begin == '-' || (*begin >= '0' && *begin <= '9'));
        if (error != std::errc() || !digits) return Fail("a value is missing or unknown");
        at_ += static_cast<size_t>(end - begin);
        value->kind = Json::kNumber;
        return true;
    }
    /** A text in quotes; of the escapes the ones of one letter. */
    bool Text(std::string *text) {
        for (++at_; at_ < text_.size() && text_[at_] != '"'; ++at_) {
            if (text_[at_] != '\\') {
                text->push_back(text_[at_]);
                continue;
            }
            static const std::string kLetters = "\"\\/bfnrt", kMeant = "\"\\/\b\f\n\r\t";
            const size_t which = ++at_ < text_.size() ? kLetters.find(text_[at_]) : std::string::npos;
            if (which == std::string::npos) return Fail("an unknown escape");
            text->push_back(kMeant[which]);
        }
        return at_++ < text_.size() || Fail("a text has no end");
    }

    const std::string &text_;
    size_t at_ = 0;
    std::string why_;
};

}  // namespace

const Json *Json::Find(const std::string &name) const {
    const auto found =
        std::find_if(members.begin(), members.end(), [&](const auto &member) { return member.name == name; });
    return found != members.end() ? &found->value : nullptr;
}

bool ParseJson(const std::string &name, const std::string &text, Json *value, Failure *failure) {
    *value = {};
    Parser parser(text);
    if (parser.All(value)) return true;
    *failure = {kExitSource, name + ", " + parser.Where(), "see RFC 8259 for what JSON is"};
    return false;
}

bool ReadJsonFile(const std::string &path, Json *value, Failure *failure) {
    std::ifstream file(path, std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open() || text.empty()) {
        *failure = {kExitSource, path + ": can't be read, or is empty", ""};
        return false;
    }
    if (text.size() > kLongest) {
        *failure = {kExitSource, path + ": longer than a megabyte", ""};
        return false;
    }
    return ParseJson(path, text, value, failure);
}

}  // namespace tools
