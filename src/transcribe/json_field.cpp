#include "transcribe/json_field.h"

namespace quillo {

namespace {

char unescaped(char character)
{
    switch (character) {
    case 'n':
        return '\n';
    case 't':
        return '\t';
    default:
        return character;
    }
}

} // namespace

std::string extractJsonField(const std::string& json, const std::string& key)
{
    constexpr std::size_t none = std::string::npos;
    const std::string pattern = '"' + key + '"';
    std::size_t position = json.find(pattern);
    if (position != none)
        position = json.find(':', position + pattern.size());
    if (position != none)
        position = json.find('"', position + 1);
    if (position == none)
        return {};

    std::string value;
    for (++position; position < json.size() && json[position] != '"'; ++position) {
        const bool isEscape = json[position] == '\\' && position + 1 < json.size();
        value += isEscape ? unescaped(json[++position]) : json[position];
    }
    return value;
}

} // namespace quillo
