#include "tools/muxctl/HealthReport.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Muxctl {
namespace {

using namespace std::chrono_literals;
using Level = HealthReport::Level;
using HealthState = GatewayHealth::State;

GatewayHealth Gateway(std::int32_t id, const std::string& name, HealthState state, const std::string& text) {
    return {id, name, state, text, 612ms, state == HealthState::kSilent ? 2 : 1};
}

const GatewayHealth kHall = Gateway(1, "Hall", HealthState::kWell, "answers");
const GatewayHealth kCellar = Gateway(20, "Cellar", HealthState::kSilent, "no answer");
const GatewayHealth kOdd = Gateway(3, "", HealthState::kUnexpected, "answers with error 12: Odd|");
const GatewayHealth kUnknown = Gateway(4, "", HealthState::kRefused, "not configured");

std::string TextOf(const HealthReport& report) {
    std::ostringstream text;
    WriteHealth(report, Style(false), text);
    return text.str();
}

TEST(HealthReportTest, IsOkWhenAllGatewaysAreWell) {
    EXPECT_EQ(TextOf(SumUp({kHall})),
              "OK - gateway 1 (Hall): answers | gateway1=0.612s\n"
              "gateway 1  Hall  answers (0.6 s)");
    EXPECT_EQ(SumUp({kHall, kHall}).summary, "2 of 2 gateways answer");
}

TEST(HealthReportTest, IsAWarningWhenOneOfSeveralIsNot) {
    EXPECT_EQ(TextOf(SumUp({kHall, kCellar})),
              "WARNING - 1 of 2 gateways answer; gateway 20 (Cellar): no answer | gateway1=0.612s gateway20=U\n"
              "gateway 1   Hall    answers (0.6 s)\n"
              "gateway 20  Cellar  no answer to 2 requests");
    EXPECT_EQ(SumUp({kHall, kUnknown}).level, Level::kWarning);
}

TEST(HealthReportTest, AlignsNamesByTheirCharacters) {
    GatewayHealth hall = Gateway(1, "K\u00FCche", HealthState::kWell, "answers");
    hall.elapsed = 1195ms;
    EXPECT_NE(TextOf(SumUp({hall, kCellar}))
                  .find("gateway1=1.195s gateway20=U\n"
                        "gateway 1   K\u00FCche   answers (1.2 s)\n"
                        "gateway 20  Cellar  no answer"),
              std::string::npos)
        << TextOf(SumUp({hall, kCellar}));
}

TEST(HealthReportTest, IsAWarningWhenAGatewayAnswersOtherwise) {
    EXPECT_EQ(TextOf(SumUp({kOdd})),
              "WARNING - gateway 3: answers with error 12: Odd/ | gateway3=0.612s\n"
              "gateway 3  answers with error 12: Odd/ (0.6 s)");
}

TEST(HealthReportTest, IsCriticalWhenNoGatewayCanBeUsed) {
    EXPECT_EQ(SumUp({kCellar}).level, Level::kCritical);
    EXPECT_EQ(SumUp({kCellar, kUnknown}).level, Level::kCritical);
    EXPECT_EQ(TextOf(Critical("no connection")), "CRITICAL - no connection");
}

TEST(HealthReportTest, SaysWhichRequestWasAnswered) {
    GatewayHealth second = kHall;
    second.requests = 2;
    EXPECT_EQ(SumUp({second}).level, Level::kOk);
    EXPECT_NE(TextOf(SumUp({second})).find("\ngateway 1  Hall  answers to request 2 (0.6 s)"), std::string::npos);
}

TEST(HealthReportTest, IsJsonInOneLine) {
    std::ostringstream text;
    WriteJsonHealth(SumUp({kHall, kCellar}), text);
    EXPECT_EQ(text.str(),
              R"({"Status":"WARNING","Summary":"1 of 2 gateways answer; gateway 20 (Cellar): no answer","Gateways":[)"
              R"({"ID":1,"Name":"Hall","State":"well","Text":"answers","Requests":1,"Seconds":0.612},)"
              R"({"ID":20,"Name":"Cellar","State":"silent","Text":"no answer","Requests":2}]})");
}

}  // namespace
}  // namespace Muxctl
