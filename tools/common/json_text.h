/** Text for JSON (RFC 8259). */
#ifndef TOOLS_JSON_TEXT_H
#define TOOLS_JSON_TEXT_H

#include <string>

namespace tools {

/**
 * A text as a JSON string, with its quotes. File names hold any bytes: what is no UTF-8 becomes the replacement
 * character, as readers refuse the whole output otherwise.
 */
std::string JsonText(const std::string &text);

}  // namespace tools

#endif
