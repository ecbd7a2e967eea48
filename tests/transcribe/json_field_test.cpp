#include "transcribe/json_field.h"

#include <gtest/gtest.h>

namespace quillo {

TEST(JsonField, FollowsTheRulesOfItsSearch)
{
    const std::pair<const char*, const char*> cases[] = {
        {R"({"text":"Hello"})", "Hello"},
        {"{ \"duration\" : 1.5,\n  \"text\" :\n \" Hello\" , \"x\": 1}", " Hello"},
        // escapes
        {R"({"text":"say \"yes\"\n\tC:\\"})", "say \"yes\"\n\tC:\\"},
        {R"({"text":"a\/b\rc\u00e9\b"})", "a/brcu00e9b"},
        {R"({"text":"ends with \\"})", "ends with \\"},
        {"{\"text\":\"Gr\xC3\xBC\xC3\x9F Gott \xE2\x9C\x93\"}", "Gr\xC3\xBC\xC3\x9F Gott \xE2\x9C\x93"},
        // missing pieces
        {"", ""},
        {"{}", ""},
        {R"({"context":"no"})", ""},
        {R"({"text" "no"})", ""},
        {R"({"text":null})", ""},
        // cut off
        {R"({"text":"Hel)", "Hel"},
        {R"({"text":"Hel\)", "Hel\\"},
        // a search, not a parser
        {R"({"text":12,"language":"en"})", "language"},
        {R"({"note":"an escaped \"text\": \"no\"","text":"yes"})", "yes"},
        {R"({"a":{"text":"inner"},"text":"outer"})", "inner"},
        {R"({"type":"text","text":"later"})", "later"},
    };
    for (const auto& [json, text] : cases)
        EXPECT_EQ(extractJsonField(json, "text"), text) << json;
    EXPECT_EQ(extractJsonField(R"({"error":{"message":"no"}})", "message"), "no");
}

} // namespace quillo
