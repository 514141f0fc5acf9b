#include "proxy/web/WebExchange.h"

#include <gtest/gtest.h>

#include <string>

namespace MuxProxy {
namespace {

TEST(ReadTargetTest, SplitsPathAndQuery) {
    WebExchange exchange;
    ASSERT_TRUE(ReadTarget("/api/audit?client=Anna%20B&lock=5&empty=&flag&plus=a+b", exchange));
    EXPECT_EQ(exchange.path, "/api/audit");
    const std::map<std::string, std::string> expected = {
        {"client", "Anna B"}, {"lock", "5"}, {"empty", ""}, {"flag", ""}, {"plus", "a b"}};
    EXPECT_EQ(exchange.query, expected);
}

TEST(ReadTargetTest, DecodesThePathButNoPlusInIt) {
    WebExchange exchange;
    ASSERT_TRUE(ReadTarget("/a+%2e%2E/%C3%BC", exchange));
    EXPECT_EQ(exchange.path, "/a+../\xC3\xBC");
}

TEST(ReadTargetTest, RefusesWhatCannotBeRead) {
    for (const char* const target :
         {"", "page", "http://x/", "*", "/%", "/%4", "/%zz", "/%-1", "/%00", "/?a=%0", "/?%g=1", "/%+1"}) {
        WebExchange exchange;
        EXPECT_FALSE(ReadTarget(target, exchange)) << target;
    }
}

TEST(CookieOfTest, FindsTheCookieAmongOthers) {
    HttpRequest request;
    request.set(boost::beast::http::field::cookie, "a=1; __Host-session=xyz=; __Host-session2=no");
    EXPECT_EQ(CookieOf(request, "__Host-session"), "xyz=");
    EXPECT_EQ(CookieOf(request, "a"), "1");
    EXPECT_EQ(CookieOf(request, "Host-session"), "");
    EXPECT_EQ(CookieOf(HttpRequest(), "a"), "");
}

}  // namespace
}  // namespace MuxProxy
