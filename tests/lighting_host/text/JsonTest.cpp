// The program's own JSON: texts on the way out, limits and fields on the way in.

#include "lighting_host/text/Json.h"

#include "lighting_host/text/JsonWriter.h"

#include <algorithm>

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace lighting_host
{
namespace
{
using namespace std::string_literals;

std::string Written(const std::string& text)
{
    std::string json;
    AppendJsonText(json, text);
    return json;
}

TEST(JsonTextTest, PlainText_StaysAsItIs)
{
    EXPECT_EQ(Written(""), "\"\"");
    EXPECT_EQ(Written("Aux 1 ~!@#$%^&*()<>/"), "\"Aux 1 ~!@#$%^&*()<>/\"");
}

TEST(JsonTextTest, QuotesBackslashesAndControlCharacters_AreEscaped)
{
    EXPECT_EQ(Written("\"\\"), R"("\"\\")");
    EXPECT_EQ(Written("\n\r\t"), R"("\n\r\t")");
    EXPECT_EQ(Written("\0\x01\x08\x0C\x1F\x7F"s), R"("\u0000\u0001\u0008\u000c\u001f\u007f")");
}

TEST(JsonTextTest, Utf8_KeepsItsCharacters)
{
    EXPECT_EQ(Written("\xC2\x80\xC3\xBF\xDF\xBF"), R"("\u0080\u00ff\u07ff")");
    EXPECT_EQ(Written("\xE0\xA0\x80\xE2\x82\xAC\xEF\xBF\xBF"), R"("\u0800\u20ac\uffff")");
    EXPECT_EQ(Written("\xED\x9F\xBF\xEE\x80\x80"), R"("\ud7ff\ue000")");
    EXPECT_EQ(Written("\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"), R"("\ud800\udc00\udbff\udfff")");
}

TEST(JsonTextTest, TextThatIsNotWhollyUtf8_IsWrittenByteByByte)
{
    EXPECT_EQ(Written("\xE9t\xE9"), R"("\u00e9t\u00e9")");
    EXPECT_EQ(Written("\xC3\xA9\xFF"), R"("\u00c3\u00a9\u00ff")");
    EXPECT_EQ(Written("\x80"), R"("\u0080")");
    EXPECT_EQ(Written("a\xC3"), R"("a\u00c3")");
    EXPECT_EQ(Written("\xE2\x82"), R"("\u00e2\u0082")");
    EXPECT_EQ(Written("\xC0\x80"), R"("\u00c0\u0080")");
    EXPECT_EQ(Written("\xC1\xBF"), R"("\u00c1\u00bf")");
    EXPECT_EQ(Written("\xE0\x9F\xBF"), R"("\u00e0\u009f\u00bf")");
    EXPECT_EQ(Written("\xED\xA0\x80"), R"("\u00ed\u00a0\u0080")");
    EXPECT_EQ(Written("\xF0\x8F\xBF\xBF"), R"("\u00f0\u008f\u00bf\u00bf")");
    EXPECT_EQ(Written("\xF4\x90\x80\x80"), R"("\u00f4\u0090\u0080\u0080")");
    EXPECT_EQ(Written("\xF5\x80\x80\x80"), R"("\u00f5\u0080\u0080\u0080")");
    EXPECT_EQ(Written("\xC3\n\""), R"("\u00c3\n\"")");
}

// Every byte as the character of that number, in UTF-8.
std::string ByteByByte(const std::string& text)
{
    std::string utf8;
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80)
            utf8 += c;
        else
        {
            utf8 += static_cast<char>(0xC0 | byte >> 6);
            utf8 += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return utf8;
}

// The parser's own judgement whether a text is UTF-8.
bool ParserTakes(const std::string& text)
{
    return nlohmann::json::accept("\"" + text + "\"");
}

TEST(JsonTextTest, AnyText_IsAsciiAndReadsBack)
{
    EXPECT_TRUE(rc::check(
        []
        {
            const auto pieces =
                *rc::gen::container<std::vector<std::string>>(rc::gen::element<std::string>(
                    "a", "\"", "\\", "\n", "\x01", "\x7F", "\xC3\xA9", "\xE2\x82\xAC",
                    "\xF0\x9D\x84\x9E", "\xC3", "\xE2", "\xF0\x9D", "\x80", "\xBF", "\xED\xA0\x80",
                    "\xC0\x80", "\xFF"));
            std::string text;
            for (const std::string& piece : pieces)
                text += piece;
            // What JSON texts cannot hold as it is says nothing about the encoding.
            std::string bare = text;
            std::replace_if(
                bare.begin(), bare.end(),
                [](unsigned char c) { return c < 0x20 || c == '"' || c == '\\'; }, ' ');
            const std::string json = Written(text);
            RC_ASSERT(std::all_of(json.begin(), json.end(),
                                  [](char c) { return c >= 0x20 && c < 0x7F; }));
            RC_ASSERT(nlohmann::json::parse(json).get<std::string>() ==
                      (ParserTakes(bare) ? text : ByteByByte(text)));
        }));
}

TEST(ParseJsonTest, DepthUpToTheLimit_IsTaken)
{
    const std::string open(MAX_JSON_DEPTH, '[');
    const std::string close(MAX_JSON_DEPTH, ']');
    EXPECT_TRUE(ParseJson(open + close).is_array());
    EXPECT_THROW(ParseJson("[" + open + close + "]"), InputError);
    EXPECT_TRUE(ParseJson("[[],[],{}]").is_array());
}

TEST(ParseJsonTest, FieldsUpToTheLimit_AreTaken)
{
    std::string fields;
    for (int i = 0; i < MAX_JSON_FIELDS; ++i)
        fields += (i ? ",\"" : "\"") + std::to_string(i) + "\":\":\"";
    EXPECT_EQ(ParseJson("{" + fields + "}").size(), static_cast<std::size_t>(MAX_JSON_FIELDS));
    EXPECT_THROW(ParseJson("{" + fields + ",\"one more\":0}"), InputError);
}

TEST(ParseJsonTest, OrderOfFields_IsKept)
{
    EXPECT_EQ(ParseJson(R"({"z":1,"a":2,"m":3})").dump(), R"({"z":1,"a":2,"m":3})");
}

TEST(InputErrorTest, Words_HoldWhatStandsBehindANul)
{
    EXPECT_EQ(InputError("a\0b"s).Message(), "a\0b"s);
}

class FieldsTest : public testing::Test
{
protected:
    // What is said when this is done to the fields of an object.
    template <class Work>
    std::string Complaint(const char* object, const Work& work)
    {
        const Json json = ParseJson(object);
        try
        {
            Fields fields(json, "it");
            work(fields);
        }
        catch (const InputError& error)
        {
            return error.Message();
        }
        return "";
    }
};

TEST_F(FieldsTest, FieldsOfTheRightKind_AreRead)
{
    EXPECT_EQ(Complaint(R"({"i":-3,"t":"x","b":true,"n":null})",
                        [](Fields& fields)
                        {
                            EXPECT_EQ(fields.Integer("i", -3, 3), -3);
                            EXPECT_EQ(fields.Text("t"), "x");
                            EXPECT_TRUE(fields.Boolean("b"));
                            EXPECT_TRUE(fields.Get("n").is_null());
                            EXPECT_FALSE(fields.Has("x"));
                            EXPECT_EQ(fields.IntegerOr("x", 0, 9, 7), 7);
                            EXPECT_EQ(fields.TextOr("x", "absent"), "absent");
                            EXPECT_TRUE(fields.BooleanOr("x", true));
                            fields.Finish();
                        }),
              "");
}

TEST_F(FieldsTest, WrongFields_AreTold)
{
    EXPECT_EQ(Complaint("{}", [](Fields& fields) { fields.Get("x"); }), "it lacks the field \"x\"");
    EXPECT_EQ(Complaint(R"({"x":1})", [](Fields& fields) { fields.Finish(); }),
              "it has an unknown field \"x\"");
    EXPECT_EQ(Complaint(R"({"x":4})", [](Fields& fields) { fields.Integer("x", 0, 3); }),
              "\"x\" is not within 0 to 3");
    EXPECT_EQ(Complaint(R"({"x":-1})", [](Fields& fields) { fields.Integer("x", 0, 3); }),
              "\"x\" is not within 0 to 3");
    EXPECT_EQ(Complaint(R"({"x":18446744073709551615})",
                        [](Fields& fields) { fields.Integer("x", -1, INT64_MAX); }),
              "\"x\" is not within -1 to 9223372036854775807");
    EXPECT_EQ(Complaint(R"({"x":1.0})", [](Fields& fields) { fields.Integer("x", 0, 3); }),
              "\"x\" is not an integer");
    EXPECT_EQ(Complaint(R"({"x":1})", [](Fields& fields) { fields.BooleanOr("x", false); }),
              "\"x\" is neither true nor false");
    EXPECT_EQ(Complaint(R"({"x":null})", [](Fields& fields) { fields.TextOr("x", ""); }),
              "\"x\" is not a text");
    EXPECT_EQ(Complaint("[]", [](Fields&) {}), "it is no JSON object");
}

TEST(HexToBytesTest, PairsOfDigits_AreOctets)
{
    EXPECT_EQ(HexToBytes("", "hex"), "");
    EXPECT_EQ(HexToBytes("00ffA1b2", "hex"), "\0\xFF\xA1\xB2"s);
}

TEST(HexToBytesTest, AnythingElse_IsRefused)
{
    for (const char* hex : {"0", "000", "0g", "g0", "0x", " 00", "-1", "0 ", "00\n1"})
        EXPECT_THROW(HexToBytes(hex, "hex"), InputError) << hex;
}

TEST(AppendJsonTest, Values_AreWrittenCompactInOrderAndAscii)
{
    std::string json;
    AppendJson(json, ParseJson("{\"z\":[1,-2,1.5,true,null,\"\xC3\xA9\"],\"a\\n\":{},\"e\":[]}"));
    EXPECT_EQ(json, R"({"z":[1,-2,1.5,true,null,"\u00e9"],"a\n":{},"e":[]})");
}
} // namespace
} // namespace lighting_host
