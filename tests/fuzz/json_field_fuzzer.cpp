#include "fuzz/fuzzing.h"

#include "transcribe/json_field.h"

namespace quillo {
namespace {

/// The same field, found in one pass over the document.
std::string fieldByModel(const std::string& json, const std::string& key)
{
    const std::string name = '"' + key + '"';
    enum { Name, Colon, Quote, Value, Escape, Done } awaited = Name;
    std::string value;
    for (std::size_t i = 0; i < json.size() && awaited != Done; ++i) {
        const char c = json[i];
        switch (awaited) {
        case Name:
            if (json.compare(i, name.size(), name) == 0) {
                i += name.size() - 1;
                awaited = Colon;
            }
            break;
        case Colon:
            awaited = c == ':' ? Quote : Colon;
            break;
        case Quote:
            awaited = c == '"' ? Value : Quote;
            break;
        case Value:
            if (c == '"')
                awaited = Done;
            else if (c == '\\')
                awaited = Escape;
            else
                value.push_back(c);
            break;
        case Escape:
            value.push_back(c == 'n' ? '\n' : c == 't' ? '\t' : c);
            awaited = Value;
            break;
        case Done:
            break;
        }
    }
    if (awaited == Escape) // a backslash that ends the document stands for itself
        value.push_back('\\');
    return value;
}

} // namespace
} // namespace quillo

/// The input's first line is the key, the rest the document; without a line end all of it is the document.
void quillo::fuzz::tryInput(const std::string& input)
{
    const auto lineEnd = input.find('\n');
    const std::string key = lineEnd == std::string::npos ? "text" : input.substr(0, lineEnd);
    const std::string json = lineEnd == std::string::npos ? input : input.substr(lineEnd + 1);
    require(extractJsonField(json, key) == fieldByModel(json, key), "the field is the one that the rules give");
}
