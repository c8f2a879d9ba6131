#include "router/dhttpd/request.h"

#include <gtest/gtest.h>

using dhttpd::language;
using dhttpd::language_of;
using dhttpd::link_to;
using dhttpd::read_target;

namespace
{

TEST(DhttpdLanguage, IsTheOneOfTheGreatestWeight)
{
    for (const char *german : {"de", "DE", "de-AT", "de-DE,de;q=0.9,en;q=0.8", "fr, de;q=0.3", "en;q=0.5,de;q=0.51",
                               "en;q=0, de;q=0.001", "de,en", "en ; q=0.2 , de ; q=0.4", "xx,,de", "de;q=1.000"})
        EXPECT_EQ(language_of(german), language::GERMAN) << german;
    for (const char *english :
         {"", "en", "fr", "*", "en,de", "en;q=0.9,de;q=0.8", "de;q=0", "de;q=0.000", "den", "d", "de;q=x,en;q=0.1",
          "de;q", "de;q=", "de;q=0.5555", "de;v=1", ",", ";;;", "de;q=-1", "de;q=.9"})
        EXPECT_EQ(language_of(english), language::ENGLISH) << english;
}

TEST(DhttpdLanguage, LooksAtSoManyAndNoMore)
{
    std::string many;
    for (int i = 0; i < 32; i++)
        many += "fr,";
    EXPECT_EQ(language_of(many + "de"), language::ENGLISH);
    EXPECT_EQ(language_of(many.substr(3) + "de"), language::GERMAN);
}

std::string wanted(std::string_view uri, std::string_view host)
{
    const auto target = read_target(uri, host);
    return target ? link_to(*target) : "nonsense";
}

TEST(DhttpdTarget, IsHostAndPath)
{
    EXPECT_EQ(wanted("/", "example.org"), "http://example.org/");
    EXPECT_EQ(wanted("/a/b?c=d&e=%20#f", "Example.ORG:80"), "http://example.org/a/b?c=d&e=%20#f");
    EXPECT_EQ(wanted("/", "example.org:8080"), "http://example.org:8080/");
    EXPECT_EQ(wanted("/", "[FD00::1]:81"), "http://[fd00::1]:81/");
    EXPECT_EQ(wanted("/", "[fd00:0:0:0::1]"), "http://[fd00::1]/");
    EXPECT_EQ(wanted("http://other.example/x", "example.org"), "http://other.example/x");
    EXPECT_EQ(wanted("http://other.example", ""), "http://other.example/");
}

TEST(DhttpdTarget, IsNotShownWhenItIsStrange)
{
    EXPECT_EQ(wanted("/", ""), "") << "who names no host wants us";
    for (const char *path : {"/<script>", "/\"", "/a`b", "/{x}", "/a\\b", "/^", "/|"})
        EXPECT_EQ(wanted(path, "example.org"), "") << path;
    EXPECT_EQ(wanted("/" + std::string(1000, 'a'), "example.org"), "");
}

TEST(DhttpdTarget, MayMakeNoSense)
{
    for (const char *host : {"a b", "a/b", "<b>", "a:b", "a:123456", "[", "[]", "[g]", "[fd00:::1]", "[fd00::1%25br0]",
                             "[fd00::1", "a@b", ":80", "\xc3\xa4", "a]", "a\tb"})
        EXPECT_FALSE(read_target("/", host)) << host;
    for (const char *uri : {"", "a", "*", "//\n", "/ ", "/\xc3\xa4", "https://example.org/", "http:///x", "http://?"})
        EXPECT_FALSE(read_target(uri, "example.org")) << uri;
    EXPECT_FALSE(read_target("/", std::string(256, 'a')));
}

TEST(DhttpdEscaped, LeavesNothingThatMeansSomething)
{
    EXPECT_EQ(dhttpd::escaped("a<b>&\"'\x1b\xe4\x7f"), "a&lt;b&gt;&amp;&quot;&#39;???");
}

} // namespace
