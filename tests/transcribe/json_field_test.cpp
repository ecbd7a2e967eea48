#include "transcribe/json_field.h"

#include <gtest/gtest.h>

#include <random>

namespace quillo {

namespace {

using Random = std::mt19937;

std::string randomText(Random& random, const std::string& alphabet, std::size_t maxLength)
{
    std::string text(std::uniform_int_distribution<std::size_t>(0, maxLength)(random), '\0');
    for (char& character : text)
        character = alphabet[std::uniform_int_distribution<std::size_t>(0, alphabet.size() - 1)(random)];
    return text;
}

std::string quoted(const std::string& text)
{
    std::string json = "\"";
    for (const char character : text)
        if (character == '"' || character == '\\')
            (json += '\\') += character;
        else if (character == '\n' || character == '\t')
            json += character == '\n' ? "\\n" : "\\t";
        else
            json += character;
    return json + '"';
}

} // namespace

TEST(JsonField, FollowsTheRulesOfItsSearch)
{
    struct Case {
        const char* json;
        const char* text;
    };
    const std::vector<Case> cases{
        {R"({"text":"Hello"})", "Hello"},
        {"{ \"duration\" : 1.5,\n  \"text\" :\n \" Hello\" , \"x\": 1}", " Hello"},
        {R"({"text":""})", ""},
        // escapes
        {R"({"text":"say \"yes\"\n\tC:\\"})", "say \"yes\"\n\tC:\\"},
        {R"({"text":"a\/b\rc\u00e9\b"})", "a/brcu00e9b"},
        {R"({"text":"ends with \\"})", "ends with \\"},
        {"{\"text\":\"Gr\xC3\xBC\xC3\x9F Gott \xE2\x9C\x93\"}", "Gr\xC3\xBC\xC3\x9F Gott \xE2\x9C\x93"},
        {"{\"text\":\"a real\nline feed\"}", "a real\nline feed"},
        // missing pieces
        {"", ""},
        {"{}", ""},
        {R"({"Text":"no"})", ""},
        {R"({"context":"no"})", ""},
        {R"({text:"no"})", ""},
        {R"("text")", ""},
        {R"({"text" "no"})", ""},
        {R"({"text":)", ""},
        {R"({"text":null})", ""},
        {R"({"text":")", ""},
        // cut off
        {R"({"text":"Hel)", "Hel"},
        {R"({"text":"Hel\)", "Hel\\"},
        {R"({"text":"Hel\")", "Hel\""},
        {R"({"text":"Hel\n)", "Hel\n"},
        // a search, not a parser
        {R"({"text":12,"language":"en"})", "language"},
        {R"({"keys":["text"],"language":"en"})", "en"},
        {R"({"note":"an escaped \"text\": \"no\"","text":"yes"})", "yes"},
        {R"({"note":"half escaped \"text","a":"b","text":"no"})", "b"},
        {R"({"a":{"text":"inner"},"text":"outer"})", "inner"},
        {R"({"type":"text","text":"later"})", "later"},
    };
    for (const auto& [json, text] : cases)
        EXPECT_EQ(extractJsonField(json, "text"), text) << json;
    EXPECT_EQ(extractJsonField(R"({"error":{"message":"no"}})", "message"), "no");
}

TEST(JsonField, ReadsBackWhateverAWellFormedDocumentHolds)
{
    Random random(20240527); // NOLINT: the same documents every time
    const std::string alphabet = "ab {}[]:,\"\\\n\t\xC3\xA9";
    for (int round = 0; round < 5000; ++round) {
        const std::string text = randomText(random, alphabet, 30);
        const std::string before = quoted("x" + randomText(random, alphabet, 10));
        std::string json = "{";
        json.append(before)
            .append(": ")
            .append(before)
            .append(R"(, "text": )")
            .append(quoted(text))
            .append(R"(, "z": "z"})");
        ASSERT_EQ(extractJsonField(json, "text"), text) << json;
    }
}

TEST(JsonField, EndsOnAnyBytesAndInventsNone)
{
    Random random(7); // NOLINT: the same documents every time
    for (int round = 0; round < 20000; ++round) {
        const std::string json = randomText(random, "\"\":\\nt ", 40);
        const std::string value = extractJsonField(json, round % 2 ? "n" : "");
        ASSERT_LT(value.size(), json.size() + 1) << json;
        ASSERT_EQ(value.find('\0'), std::string::npos) << json;
    }
}

} // namespace quillo
