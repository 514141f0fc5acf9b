#include "proxy/web/WebSessions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "tests/proxy/web/WebAccessKit.h"

namespace MuxProxy {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string kOtherHash = "$argon2id$v=19$m=256,t=3,p=1$c29tZXNhbHQ$nf65EOgLrQMR/uIPnA4rEsF5h7TKyQwu9U1bMCHGi/4";

WebLogin ByPassword(const std::string& name, const std::string& hash = kHash) {
    return {name, WebLogin::By::kPassword, hash};
}

WebLogin ByCertificate(const std::string& name, const std::string& fingerprint) {
    return {name, WebLogin::By::kCertificate, fingerprint};
}

WebSettings Settings() {
    WebSettings settings;
    settings.sessionHours = hours(12);
    settings.idleMinutes = minutes(60);
    return settings;
}

class WebSessionsTest : public testing::Test {
  protected:
    bool IsThere(const std::string& cookie, WebSessions::Time now = kStart, const std::string& fingerprint = "") {
        return sessions_.Find(cookie, fingerprint, now).has_value();
    }

    std::vector<WebSessionNumber> ended_;
    WebSessions sessions_{Settings(), [this](WebSessionNumber number) { ended_.push_back(number); }};
};

TEST_F(WebSessionsTest, AreFoundByTheirCookies) {
    const WebSessions::Created annas = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created ottos = sessions_.Create(ByPassword("otto"), kStart);
    const std::optional<WebSession> found = sessions_.Find(annas.cookie, "", kStart);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->login.name, "anna");
    EXPECT_EQ(found->number, annas.session.number);
    EXPECT_EQ(found->token, annas.session.token);
    EXPECT_NE(annas.session.number, ottos.session.number);
    EXPECT_EQ(sessions_.Find(ottos.cookie, "", kStart).value().login.name, "otto");
    for (const std::string& other : {std::string(), annas.cookie.substr(1), annas.cookie + "A", annas.session.token}) {
        EXPECT_FALSE(IsThere(other)) << other;
    }
}

// 32 bytes are 43 characters, of which the last has two bits of zero.
TEST_F(WebSessionsTest, CookiesAndTokensCannotBeGuessed) {
    std::set<std::string> secrets;
    for (int i = 0; i < 100; ++i) {
        const WebSessions::Created created = sessions_.Create(ByPassword("anna"), kStart);
        for (const std::string& secret : {created.cookie, created.session.token}) {
            EXPECT_THAT(secret, testing::MatchesRegex("[A-Za-z0-9_-]{42}[AEIMQUYcgkosw048]"));
            EXPECT_TRUE(secrets.insert(secret).second);
        }
    }
}

TEST_F(WebSessionsTest, TokensAreComparedWhole) {
    const WebSession session = sessions_.Create(ByPassword("anna"), kStart).session;
    EXPECT_TRUE(WebSessions::IsToken(session, session.token));
    std::string other = session.token;
    other.back() = other.back() == 'A' ? 'E' : 'A';
    for (const std::string& wrong : {std::string(), other, session.token + "A", session.token.substr(0, 42)}) {
        EXPECT_FALSE(WebSessions::IsToken(session, wrong)) << wrong;
    }
}

TEST_F(WebSessionsTest, EndSoLongAfterTheirLastUse) {
    const WebSessions::Created found = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created used = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created idle = sessions_.Create(ByPassword("anna"), kStart);
    EXPECT_EQ(sessions_.NextTime(), kStart + minutes(60));
    EXPECT_TRUE(IsThere(found.cookie, kStart + minutes(59)));
    EXPECT_TRUE(sessions_.Use(used.session.number, kStart + minutes(59)));
    sessions_.Advance(kStart + minutes(60) - seconds(1));
    EXPECT_THAT(ended_, IsEmpty());
    sessions_.Advance(kStart + minutes(60));
    EXPECT_THAT(ended_, ElementsAre(idle.session.number));
    EXPECT_FALSE(IsThere(idle.cookie, kStart + minutes(60)));
    EXPECT_FALSE(sessions_.Use(idle.session.number, kStart + minutes(60)));
    EXPECT_EQ(sessions_.NextTime(), kStart + minutes(119));
    EXPECT_FALSE(IsThere(found.cookie, kStart + minutes(119)));
    EXPECT_FALSE(sessions_.Use(used.session.number, kStart + minutes(119)));
    EXPECT_EQ(sessions_.Count(), 0U);
    EXPECT_FALSE(sessions_.NextTime());
}

TEST_F(WebSessionsTest, EndSoLongAfterTheirLogIn) {
    const std::string cookie = sessions_.Create(ByPassword("anna"), kStart).cookie;
    for (WebSessions::Time now = kStart; now < kStart + hours(12); now += minutes(30)) {
        EXPECT_TRUE(IsThere(cookie, now));
    }
    EXPECT_EQ(sessions_.NextTime(), kStart + hours(12));
    EXPECT_FALSE(IsThere(cookie, kStart + hours(12)));
}

TEST_F(WebSessionsTest, OfACertificateNeedIt) {
    const std::string cookie = sessions_.Create(ByCertificate("anna", "AB:CD"), kStart).cookie;
    const std::string without = sessions_.Create(ByCertificate("anna", ""), kStart).cookie;
    EXPECT_TRUE(IsThere(cookie, kStart, "AB:CD"));
    EXPECT_FALSE(IsThere(cookie, kStart, "AB:CE"));
    EXPECT_FALSE(IsThere(cookie, kStart, ""));
    EXPECT_FALSE(IsThere(without, kStart, ""));
    // What was refused is no use.
    EXPECT_FALSE(IsThere(cookie, kStart + minutes(59), ""));
    EXPECT_FALSE(IsThere(cookie, kStart + minutes(60), "AB:CD"));
}

TEST_F(WebSessionsTest, OfAPasswordNeedNoCertificate) {
    const std::string cookie = sessions_.Create(ByPassword("anna"), kStart).cookie;
    EXPECT_TRUE(IsThere(cookie, kStart, "AB:CD"));
    EXPECT_TRUE(IsThere(cookie, kStart, kHash));
}

TEST_F(WebSessionsTest, EndByTheirCookieOrName) {
    const WebSessions::Created first = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created second = sessions_.Create(ByCertificate("anna", "AB"), kStart);
    const WebSessions::Created ottos = sessions_.Create(ByPassword("otto"), kStart);
    sessions_.End("no cookie");
    EXPECT_THAT(ended_, IsEmpty());
    sessions_.End(first.cookie);
    EXPECT_FALSE(IsThere(first.cookie));
    EXPECT_TRUE(IsThere(second.cookie, kStart, "AB"));
    sessions_.EndOf("anna");
    EXPECT_FALSE(IsThere(second.cookie, kStart, "AB"));
    EXPECT_TRUE(IsThere(ottos.cookie));
    EXPECT_THAT(ended_, ElementsAre(first.session.number, second.session.number));
}

TEST_F(WebSessionsTest, EndWithTheirPassword) {
    const WebSessions::Created annas = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created ottos = sessions_.Create(ByPassword("otto", kOtherHash), kStart);
    const WebSessions::Created removed = sessions_.Create(ByPassword("removed"), kStart);
    const WebSessions::Created nobodys = sessions_.Create(ByPassword("nobody", ""), kStart);
    const WebSessions::Created certificates = sessions_.Create(ByCertificate("removed", "AB"), kStart);
    sessions_.Revalidate(PasswordFile("anna:" + kHash + "\notto:" + kHash + "\n"));
    EXPECT_THAT(ended_, ElementsAre(ottos.session.number, removed.session.number, nobodys.session.number));
    EXPECT_TRUE(IsThere(annas.cookie));
    EXPECT_TRUE(IsThere(certificates.cookie, kStart, "AB"));
}

TEST_F(WebSessionsTest, TheOldestOfANameMakesRoom) {
    const WebSessions::Created ottos = sessions_.Create(ByPassword("otto"), kStart);
    const WebSessions::Created first = sessions_.Create(ByPassword("anna"), kStart);
    const WebSessions::Created second = sessions_.Create(ByPassword("anna"), kStart);
    for (int i = 0; i < 18; ++i) {
        sessions_.Create(ByPassword("anna"), kStart);
    }
    EXPECT_THAT(ended_, IsEmpty());
    sessions_.Create(ByPassword("anna"), kStart);
    EXPECT_THAT(ended_, ElementsAre(first.session.number));
    EXPECT_FALSE(IsThere(first.cookie));
    EXPECT_TRUE(IsThere(second.cookie));
    EXPECT_TRUE(IsThere(ottos.cookie));
}

TEST_F(WebSessionsTest, AThousandAreThereInAll) {
    const WebSessions::Created first = sessions_.Create(ByPassword("first"), kStart);
    for (int i = 1; i < 1000; ++i) {
        sessions_.Create(ByPassword("user " + std::to_string(i / 20)), kStart);
    }
    EXPECT_THAT(ended_, IsEmpty());
    sessions_.Create(ByPassword("last"), kStart);
    EXPECT_THAT(ended_, ElementsAre(first.session.number));
    EXPECT_EQ(sessions_.Count(), 1000U);
}

TEST(WebSessions, MayBeEndedFromWithinTheEndOfAnother) {
    WebSessions* sessions = nullptr;
    int count = 0;
    WebSessions owner(Settings(), [&](WebSessionNumber) {
        ++count;
        sessions->EndOf("anna");
    });
    sessions = &owner;
    owner.Create(ByPassword("anna"), kStart);
    owner.Create(ByPassword("anna"), kStart);
    owner.EndOf("anna");
    EXPECT_EQ(count, 2);
    EXPECT_EQ(owner.Count(), 0U);
}

}  // namespace
}  // namespace MuxProxy
