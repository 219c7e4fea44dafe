// Texts that nobody means well with: whatever comes, an answer or a refusal, in time.

#include "embedded_host/Messages.h"
#include "nxshared/XmlDocument.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{
using embedded_host::CmdMessage;

constexpr std::size_t MEGABYTE = 1 << 20;

std::string Repeat(const std::string& piece, std::size_t times)
{
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

bool Reads(const std::string& text)
{
    return nx::CreateXmlDocument(text) != nullptr;
}

// Reads a text as far as it can be read: as a document, as a message, and both back again. What
// was read must come back the same.
void Use(const std::string& text)
{
    const auto document = nx::CreateXmlDocument(text);
    if (!document)
        return;
    const std::string written = document->GetRoot()->ToText();
    const auto again = nx::CreateXmlDocument(written);
    ASSERT_TRUE(again) << written;
    EXPECT_EQ(written, again->GetRoot()->ToText());
    CmdMessage message("untouched");
    if (!message.FromXml(document->GetRoot()))
    {
        EXPECT_EQ("untouched", message.GetName());
        return;
    }
    CmdMessage back("untouched");
    EXPECT_TRUE(back.FromXml(nx::CreateXmlDocument(message.ToXml())->GetRoot()));
    EXPECT_EQ(message.ToXml(), back.ToXml());
}

TEST(HostileInput, MegabyteOfText_IsReadWhole)
{
    const std::string text(MEGABYTE, 'x');
    const auto document = nx::CreateXmlDocument("<a>" + text + "</a>");
    ASSERT_TRUE(document);
    EXPECT_EQ(text, document->GetRoot()->GetData());
    EXPECT_FALSE(Reads(text));
}

TEST(HostileInput, MegabyteOfEscapes_IsReadWhole)
{
    const std::size_t times = MEGABYTE / 5;
    const auto document = nx::CreateXmlDocument("<a>" + Repeat("&amp;", times) + "</a>");
    ASSERT_TRUE(document);
    EXPECT_EQ(std::string(times, '&'), document->GetRoot()->GetData());
}

TEST(HostileInput, MegabyteOfOneCharacter_IsRefused)
{
    for (const char c : {'<', '>', '&', '"', '/', '\0', '\x80', '\xFF', ' ', '\n'})
        EXPECT_FALSE(Reads(std::string(MEGABYTE, c))) << static_cast<int>(c);
}

TEST(HostileInput, MegabyteOfReferences_IsDecidedInOnePass)
{
    EXPECT_TRUE(Reads("<a>" + Repeat("&#", MEGABYTE / 2) + "</a>"));
    EXPECT_TRUE(Reads("<a>&#" + std::string(MEGABYTE, '0') + "</a>"));
    EXPECT_FALSE(Reads("<a>&#" + std::string(MEGABYTE, '0') + ";</a>"));
}

TEST(HostileInput, ManyChildren_AreRead)
{
    const auto document = nx::CreateXmlDocument("<a>" + Repeat("<b/>", 200000) + "</a>");
    ASSERT_TRUE(document);
    EXPECT_EQ(200000u, document->GetRoot()->GetChildCount());
}

// A comparison of every attribute with every other would take minutes.
TEST(HostileInput, ManyAttributes_AreReadInTime)
{
    std::string text = "<a";
    for (int i = 0; i < 100000; ++i)
        text += " x" + std::to_string(i) + "=''";
    EXPECT_TRUE(Reads(text + "/>"));
    EXPECT_FALSE(Reads(text + " x0=''/>"));
}

TEST(HostileInput, NestingWithoutEnd_IsRefused)
{
    EXPECT_FALSE(Reads(Repeat("<a>", 100000)));
    EXPECT_FALSE(Reads(Repeat("<a>", 100000) + Repeat("</a>", 100000)));
    EXPECT_FALSE(Reads(Repeat("<a><b/>", 100000) + Repeat("</a>", 100000)));
}

TEST(HostileInput, EntityDeclarations_AreNotExpanded)
{
    const auto document = nx::CreateXmlDocument(
        "<!DOCTYPE a [<!ENTITY x \"xxxxxxxxxx\"><!ENTITY y SYSTEM \"file:///etc/passwd\">]>"
        "<a>&x;&y;</a>");
    ASSERT_TRUE(document);
    EXPECT_EQ("&x;&y;", document->GetRoot()->GetData());
}

TEST(HostileInput, CommandsWithHugeParts_GoThereAndBack)
{
    const std::string huge(MEGABYTE, 'n');
    CmdMessage message(huge);
    message.AddParam(huge, huge, huge);
    message.AddParam("MANY", "INT", std::string(MEGABYTE, '9'));
    EXPECT_EQ(-1, message.GetParamInt("MANY"));
    Use(message.ToXml());
}

TEST(HostileInput, EveryPrefixOfACommand_IsReadOrRefused)
{
    const std::string text = "<?xml version='1.0'?><!-- c --><command name=\"X&lt;\">"
                             "<param name='N' type=\"INT\">5&#65;<![CDATA[x]]></param></command>";
    for (std::size_t length = 0; length < text.size(); ++length)
        EXPECT_FALSE(Reads(text.substr(0, length))) << length;
    EXPECT_TRUE(Reads(text));
    Use(text);
}

TEST(HostileInput, EveryByteChanged_IsReadOrRefused)
{
    const std::string text = "<command name=\"X\"><param name='N' type=\"INT\">5&#65;</param>"
                             "<param/></command>";
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        for (int byte = 0; byte < 256; ++byte)
        {
            std::string changed = text;
            changed[at] = static_cast<char>(byte);
            Use(changed);
        }
    }
}

TEST(HostileInput, PiecesThrownTogether_AreReadOrRefused)
{
    const std::vector<std::string> pieces{"<command name=\"X\">",
                                          "</command>",
                                          "<param name=\"N\" type=\"INT\">",
                                          "</param>",
                                          "<a>",
                                          "</a>",
                                          "<b/>",
                                          "<",
                                          ">",
                                          "/>",
                                          "\"",
                                          "'",
                                          "=",
                                          "&",
                                          "&#",
                                          "&#x;",
                                          "&#1;",
                                          "&#x110000;",
                                          "&amp;",
                                          "<![CDATA[",
                                          "]]>",
                                          "<!--",
                                          "-->",
                                          "<?",
                                          "?>",
                                          "<!DOCTYPE a [",
                                          "]>",
                                          " ",
                                          "\n",
                                          "\x80",
                                          "\xFF",
                                          "\xEF\xBB\xBF",
                                          "text",
                                          "5",
                                          std::string("\0", 1)};
    std::mt19937 random(20260101);
    for (int round = 0; round < 5000; ++round)
    {
        std::string text = round % 2 == 0 ? "<a>" : "";
        for (unsigned count = random() % 12; count > 0; --count)
            text += pieces[random() % pieces.size()];
        text += round % 2 == 0 ? "</a>" : "";
        Use(text);
    }
}

TEST(HostileInput, RandomBytes_AreReadAsParametersWithoutHarm)
{
    std::mt19937 random(7);
    for (int round = 0; round < 5000; ++round)
    {
        std::string bytes;
        for (unsigned length = random() % 40; length > 0; --length)
            bytes += static_cast<char>(random() % 4 == 0 ? random() : '0' + random() % 10);
        CmdMessage message(bytes);
        message.AddParam(bytes, bytes, bytes);
        EXPECT_EQ(bytes, message.GetParamString(bytes));
        EXPECT_EQ(static_cast<unsigned>(message.GetParamInt(bytes)), message.GetParamUInt(bytes));
        Use(message.ToXml());
    }
}
} // namespace
