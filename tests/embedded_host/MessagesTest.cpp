#include "embedded_host/Messages.h"

#include "nxshared/XmlDocument.h"

#include <string>

#include <climits>
#include <gtest/gtest.h>

namespace
{
using namespace embedded_host;

CmdMessage With(const std::string& text)
{
    CmdMessage message("X");
    message.AddParam("P", "STRING", text);
    return message;
}

// A message that another side made.
class ForeignCommand : public ParamMessage<ICmdMessage>
{
public:
    void AddParam(const std::string&, const std::string&, long long) override {}
    void AddParam(const std::string&, const std::string&, const std::string&) override {}
    bool FromXml(const boost::shared_ptr<nx::XmlNode>&) override { return false; }
    std::string ToXml() const override { return "<command/>"; }
};

TEST(Messages, MissingParameter_ReadsAsNothing)
{
    const CmdMessage message("X");
    EXPECT_EQ("X", message.GetName());
    EXPECT_FALSE(message.HasParam("P"));
    EXPECT_EQ("", message.GetParamString("P"));
    EXPECT_EQ(0, message.GetParamInt("P"));
    EXPECT_EQ(0u, message.GetParamUInt("P"));
    EXPECT_FALSE(message.GetParamBool("P"));
}

TEST(Messages, EmptyParameter_IsThereAndReadsAsNothing)
{
    const CmdMessage message = With("");
    EXPECT_TRUE(message.HasParam("P"));
    EXPECT_EQ("", message.GetParamString("P"));
    EXPECT_EQ(0, message.GetParamInt("P"));
    EXPECT_FALSE(message.GetParamBool("P"));
}

TEST(Messages, ParameterNames_AreComparedByteForByte)
{
    const CmdMessage message = With("5");
    EXPECT_FALSE(message.HasParam("p"));
    EXPECT_FALSE(message.HasParam("P "));
    EXPECT_FALSE(message.HasParam(""));
}

TEST(Messages, ParameterGivenTwice_ReadsAsTheFirst)
{
    CmdMessage message = With("1");
    message.AddParam("P", "INT", 2LL);
    EXPECT_EQ(1, message.GetParamInt("P"));
    ASSERT_EQ(2u, message.Params().size());
    EXPECT_EQ("2", message.Params()[1].value);
    EXPECT_EQ("INT", message.Params()[1].type);
}

struct NumberCase
{
    const char* text;
    int asInt;
    unsigned asUnsigned;
};

class MessageNumbers : public testing::TestWithParam<NumberCase>
{
};

TEST_P(MessageNumbers, Text_ReadsAsItsLeadingInteger)
{
    const NumberCase& expected = GetParam();
    EXPECT_EQ(expected.asInt, With(expected.text).GetParamInt("P"));
    EXPECT_EQ(expected.asUnsigned, With(expected.text).GetParamUInt("P"));
    EXPECT_EQ(expected.asInt, nx::ToInt(expected.text));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MessageNumbers,
    testing::Values(NumberCase{"0", 0, 0}, NumberCase{"5", 5, 5}, NumberCase{"-5", -5, 4294967291u},
                    NumberCase{"+5", 5, 5}, NumberCase{"  42", 42, 42}, NumberCase{"\t\n7", 7, 7},
                    NumberCase{"007", 7, 7}, NumberCase{"12abc", 12, 12}, NumberCase{"3.9", 3, 3},
                    NumberCase{"1e3", 1, 1}, NumberCase{"0x10", 0, 0}, NumberCase{"abc", 0, 0},
                    NumberCase{"", 0, 0}, NumberCase{"-", 0, 0}, NumberCase{"- 5", 0, 0},
                    NumberCase{"--5", 0, 0}, NumberCase{"+-5", 0, 0},
                    NumberCase{"2147483647", INT_MAX, 2147483647u},
                    NumberCase{"2147483648", INT_MIN, 2147483648u},
                    NumberCase{"-2147483648", INT_MIN, 2147483648u},
                    NumberCase{"4294967295", -1, 4294967295u}, NumberCase{"4294967296", 0, 0},
                    NumberCase{"4294967301", 5, 5}, NumberCase{"-4294967301", -5, 4294967291u}));

TEST(Messages, NumberBeyond64Bits_IsTheNearestEnd)
{
    EXPECT_EQ(LLONG_MAX, LeadingInteger("9223372036854775807"));
    EXPECT_EQ(LLONG_MAX, LeadingInteger("9223372036854775808"));
    EXPECT_EQ(LLONG_MIN, LeadingInteger("-9223372036854775809"));
    EXPECT_EQ(-1, With("99999999999999999999999999").GetParamInt("P"));
    EXPECT_EQ(0, With("-99999999999999999999999999").GetParamInt("P"));
}

TEST(Messages, NumberBehindANul_IsNotRead)
{
    EXPECT_EQ(5, LeadingInteger(std::string("5\0006", 3)));
    EXPECT_EQ(0, LeadingInteger(std::string("\0005", 2)));
}

TEST(Messages, Truth_BeginsWithTOr1)
{
    for (const char* text : {"true", "TRUE", "T", "t", "1", "10", "this too"})
        EXPECT_TRUE(With(text).GetParamBool("P")) << text;
    for (const char* text : {"", "false", "0", "01", " true", "yes", "2", "-1", "on"})
        EXPECT_FALSE(With(text).GetParamBool("P")) << text;
}

TEST(Messages, NumbersAdded_AreWrittenInDecimal)
{
    CmdMessage message("X");
    message.AddParam("A", "INT", 0LL);
    message.AddParam("B", "INT", static_cast<long long>(LLONG_MIN));
    EXPECT_EQ("0", message.GetParamString("A"));
    EXPECT_EQ("-9223372036854775808", message.GetParamString("B"));
}

TEST(Messages, BindMessage_CarriesKindNameXmlAndParameters)
{
    BindMessage message("PROTOCOL_COMMAND", "DO_PUSH", "<command/>");
    EXPECT_EQ("PROTOCOL_COMMAND", message.GetKind());
    EXPECT_EQ("DO_PUSH", message.GetName());
    EXPECT_EQ("<command/>", message.GetXml());
    message.SetName("DO_CLICK");
    message.AddParam("N", "INT", 3LL);
    message.AddParam("T", "STRING", std::string("three"));
    EXPECT_EQ("DO_CLICK", message.GetName());
    EXPECT_EQ(3, message.GetParamInt("N"));
    EXPECT_EQ("three", message.GetParamString("T"));
    EXPECT_EQ(2u, ParamsOf(static_cast<const IBindMessage&>(message)).size());
}

TEST(Messages, NewBindMessage_IsEmpty)
{
    const BindMessage message;
    EXPECT_EQ("", message.GetKind());
    EXPECT_EQ("", message.GetName());
    EXPECT_EQ("", message.GetXml());
}

TEST(Messages, ParametersOfAForeignMessage_AreNone)
{
    ForeignCommand message;
    message.Append({"P", "INT", "1"});
    EXPECT_TRUE(ParamsOf(message).empty());
}

TEST(Messages, RefusedCommand_KeepsTheFirstReason)
{
    CmdReturn ret;
    EXPECT_EQ("", ret.Reason());
    ret.Refuse("first");
    ret.Refuse("second");
    EXPECT_EQ("first", ret.Reason());
    CmdReturn wordless;
    wordless.Refuse("");
    EXPECT_NE("", wordless.Reason());
}

// --- XML ----------------------------------------------------------------------------------------

// The message that a text holds, or one named "untouched".
CmdMessage FromXml(const std::string& xml)
{
    CmdMessage message("untouched");
    message.AddParam("OLD", "INT", 1LL);
    const auto document = nx::CreateXmlDocument(xml);
    const bool taken = message.FromXml(document ? document->GetRoot() : nullptr);
    EXPECT_EQ(taken, !message.HasParam("OLD")) << xml;
    return message;
}

TEST(Messages, ToXml_IsOneCompactCommand)
{
    CmdMessage message("X");
    EXPECT_EQ("<command name=\"X\"/>", message.ToXml());
    message.AddParam("N", "INT", 5LL);
    message.AddParam("M", "STRING", std::string("a<b & \"c\""));
    EXPECT_EQ("<command name=\"X\"><param name=\"N\" type=\"INT\">5</param>"
              "<param name=\"M\" type=\"STRING\">a&lt;b &amp; \"c\"</param></command>",
              message.ToXml());
}

TEST(Messages, FromXml_TakesNameAndParametersInPlaceOfTheOld)
{
    const CmdMessage message =
        FromXml("<command name=\"X\">\n <param name=\"N\" type=\"INT\">5</param>\n"
                " <other name=\"O\">6</other><param name=\"E\" type=\"STRING\"/></command>");
    EXPECT_EQ("X", message.GetName());
    ASSERT_EQ(2u, message.Params().size());
    EXPECT_EQ(5, message.GetParamInt("N"));
    EXPECT_EQ("INT", message.Params()[0].type);
    EXPECT_TRUE(message.HasParam("E"));
    EXPECT_FALSE(message.HasParam("O"));
}

TEST(Messages, FromXmlOfAnythingElse_LeavesTheMessageUntouched)
{
    for (const char* xml : {"<other name=\"X\"/>", "<Command name=\"X\"/>", "<command/>",
                            "<command name=\"\"/>", "not xml", ""})
        EXPECT_EQ("untouched", FromXml(xml).GetName()) << xml;
}

TEST(Messages, ThereAndBack_KeepsEveryByteOfATextButNul)
{
    std::string text;
    for (int byte = 1; byte < 256; ++byte)
        text += static_cast<char>(byte);
    CmdMessage message(text);
    message.AddParam(text, text, text);
    const CmdMessage back = FromXml(message.ToXml());
    EXPECT_EQ(text, back.GetName());
    ASSERT_EQ(1u, back.Params().size());
    EXPECT_EQ(text, back.Params()[0].name);
    EXPECT_EQ(text, back.Params()[0].type);
    EXPECT_EQ(text, back.Params()[0].value);
}

TEST(Messages, ThereAndBack_KeepsWhiteSpace)
{
    for (const char* text : {" ", "\n", "  two  ", "\r\n", "\t"})
    {
        CmdMessage message("X");
        message.AddParam("P", "STRING", std::string(text));
        EXPECT_EQ(text, FromXml(message.ToXml()).GetParamString("P"));
    }
}
} // namespace
