#include "lighting_host/web/HostCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace lighting_host;
using testing::ElementsAre;
using testing::Pair;

TEST(HostCheckTest, LocalhostAndAddresses_AreAllowed)
{
    for (const char* host : {"localhost", "localhost:8080", "LOCALHOST", "127.0.0.1:1", "10.1.2.3",
                             "[::1]:8080", "[fe80::1]"})
        EXPECT_TRUE(IsHostAllowed(host, {})) << host;
}

TEST(HostCheckTest, NamesThatSomebodyCouldPointHere_AreNot)
{
    for (const char* host : {"", "evil.example", "localhost.evil.example", "127.0.0.1.evil.example",
                             "[::1", "256.1.1.1", ":8080"})
        EXPECT_FALSE(IsHostAllowed(host, {})) << host;
}

TEST(HostCheckTest, NameThatWasLetIn_IsAllowedWithAnyPort)
{
    EXPECT_TRUE(IsHostAllowed("House.local:8080", {"house.local"}));
    EXPECT_FALSE(IsHostAllowed("house.local.evil", {"house.local"}));
}

TEST(HostCheckTest, OriginOfTheSameHost_IsAllowed)
{
    EXPECT_TRUE(IsOriginAllowed("", "localhost:8080"));
    EXPECT_TRUE(IsOriginAllowed("http://localhost:8080", "localhost:8080"));
    EXPECT_TRUE(IsOriginAllowed("https://house.local", "house.local"));
}

TEST(HostCheckTest, OriginOfAnother_IsNot)
{
    EXPECT_FALSE(IsOriginAllowed("http://evil.example", "localhost:8080"));
    EXPECT_FALSE(IsOriginAllowed("http://localhost:8081", "localhost:8080"));
    EXPECT_FALSE(IsOriginAllowed("null", "localhost:8080"));
}

TEST(HostCheckTest, Secrets_AreTheSameOnlyWhenAllOfThemIs)
{
    EXPECT_TRUE(IsSameSecret("abcdefgh", "abcdefgh"));
    EXPECT_FALSE(IsSameSecret("abcdefg", "abcdefgh"));
    EXPECT_FALSE(IsSameSecret("", "abcdefgh"));
}

TEST(HostCheckTest, Query_IsDecodedFieldByField)
{
    EXPECT_THAT(ParseQuery("watch&name=a%20b+c&x=%zz&name=last&=no"),
                ElementsAre(Pair("name", "last"), Pair("watch", ""), Pair("x", "%zz")));
    EXPECT_EQ(DecodePercent("/a%2Fb+c%4", false), "/a/b+c%4");
}

TEST(HostCheckTest, Cookie_IsFoundByItsWholeName)
{
    EXPECT_EQ(CookieOf("a=1; lighting_token=secret; b=2", "lighting_token"), "secret");
    EXPECT_EQ(CookieOf("xlighting_token=secret", "lighting_token"), "");
    EXPECT_EQ(CookieOf("lighting_token=", "lighting_token"), "");
    EXPECT_EQ(CookieOf("", "lighting_token"), "");
}
