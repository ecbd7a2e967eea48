#pragma once

#include <string>

namespace quillo {

/// The string value of a field, found by a plain search for the first "key" in quotes, wherever it stands, and the
/// next colon and quote after it; this is no JSON parser.
///
/// Of the escapes, \" \\ \n and \t are decoded; any other loses its backslash only. Empty when there is no such field;
/// a value that the document cuts off ends with the document. A pure function; any thread.
std::string extractJsonField(const std::string& json, const std::string& key);

} // namespace quillo
