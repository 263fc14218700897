/** Reads JSON (RFC 8259) files that a user wrote. */
#ifndef TOOLS_JSON_READER_H
#define TOOLS_JSON_READER_H

#include <string>
#include <vector>

#include "common/failure.h"

namespace tools {

struct JsonMember;

/** A value with all that is in it. */
struct Json {
    enum Kind { kNull, kBool, kNumber, kText, kList, kObject };

    Kind kind = kNull;
    bool truth = false;
    double number = 0;
    std::string text;
    std::vector<Json> items;          ///< of a list
    std::vector<JsonMember> members;  ///< of an object, in their order

    /** The member of that name; null if there is none or this is no object. */
    const Json *Find(const std::string &name) const;
};

struct JsonMember {
    std::string name;
    Json value;
};

/**
 * Reads a text.
 * @param name what it is called in the failure
 * @return false with the failure filled, which tells the line
 */
bool ParseJson(const std::string &name, const std::string &text, Json *value, Failure *failure);

/** Reads a file of up to a megabyte. @return false with the failure filled */
bool ReadJsonFile(const std::string &path, Json *value, Failure *failure);

}  // namespace tools

#endif
