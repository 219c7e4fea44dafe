// The keypad driver's messages: what the transmit queue sees of them, and what it carries along.
#include "drivers/gen3_keypad/KeypadMessage.h"

#include "embedded_host/Messages.h"
#include "nxshared/XmlDocument.h"

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

namespace
{
boost::shared_ptr<ICmdMessage> NewCommand()
{
    return boost::make_shared<embedded_host::CmdMessage>("485_BUS_MESSAGE");
}

// Reads a text as the queue does.
bool Read(KeypadMessage& message, const std::string& text)
{
    return message.FromXml(nx::CreateXmlDocument(text)->GetRoot());
}
} // namespace

TEST(KeypadMessage, WrittenAndRead_IsTheSameCommandUnderItsNumber)
{
    KeypadMessage sent(NewCommand(), 65535);
    sent.AddParam("OPCODE", "INT", 0x1280LL);
    sent.AddParam("PAYLOAD", "STRING", std::string("<&>\""));
    KeypadMessage read(NewCommand(), 7);
    ASSERT_TRUE(Read(read, sent.ToXml()));
    EXPECT_EQ(read.Number(), 65535u);
    EXPECT_TRUE(read.WasQueued());
    EXPECT_EQ(read.GetParamInt("OPCODE"), 0x1280);
    EXPECT_EQ(read.GetParamString("PAYLOAD"), "<&>\"");
    EXPECT_EQ(read.Command().ToXml(), sent.Command().ToXml());
}

TEST(KeypadMessage, CommandThatLeaves_KnowsNothingOfTheNumber)
{
    KeypadMessage message(NewCommand(), 7);
    EXPECT_EQ(message.Command().ToXml(), "<command name=\"485_BUS_MESSAGE\"/>");
    EXPECT_FALSE(message.WasQueued());
}

TEST(KeypadMessage, AnyOtherElement_IsRefusedAndChangesNothing)
{
    KeypadMessage message(NewCommand(), 7);
    for (const char* text : {"<command name=\"X\"/>", "<queued number=\"9\"/>",
                             "<queued number=\"9\"><other/></queued>"})
        EXPECT_FALSE(Read(message, text)) << text;
    EXPECT_FALSE(message.FromXml(nullptr));
    EXPECT_EQ(message.Number(), 7u);
    EXPECT_FALSE(message.WasQueued());
    EXPECT_EQ(message.GetName(), "485_BUS_MESSAGE");
}
