#include "proxy/metrics/Metrics.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <prometheus/text_serializer.h>

#include <sstream>

#include "mux/Version.h"

namespace MuxProxy {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Configuration WithBrokerAndRound() {
    Configuration configuration;
    configuration.mqtt.emplace();
    configuration.statusRound.emplace();
    return configuration;
}

struct MetricsTest : testing::Test {
    static AuditRow Request(const std::string& result, std::int32_t errorCode = 0, std::int32_t gateway = 1) {
        AuditRow row;
        row.kind = "request";
        row.operation = "open";
        row.gateway = gateway;
        row.result = result;
        row.errorCode = errorCode;
        return row;
    }

    static AuditRow Row(const std::string& kind, const std::string& operation) {
        AuditRow row;
        row.kind = kind;
        row.operation = operation;
        return row;
    }

    static std::vector<std::string> LinesOf(const Metrics& metrics) {
        std::istringstream text(prometheus::TextSerializer().Serialize(metrics.Registry()->Collect()));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::vector<std::string> Lines() const { return LinesOf(metrics); }

    static MuxLocks Locks() { return {{{1, 5}, "", ""}, {{2, 70000}, "", ""}}; }

    Metrics metrics{WithBrokerAndRound(), Locks()};
};

TEST_F(MetricsTest, CountsRequestsByGatewayOperationAndResult) {
    metrics.RowCame(Request("ack"));
    metrics.RowCame(Request("ack"));
    metrics.RowCame(Request("nack", 7, 2));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_requests_total{gateway="1",operation="open",result="ack"} 2)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_requests_total{gateway="2",operation="open",result="nack"} 1)"));
}

TEST_F(MetricsTest, NamesNoGatewayThatTheConfigurationDoesNotHave) {
    for (std::int32_t gateway = 3; gateway < 6; ++gateway) {
        metrics.RowCame(Request("nack", 0, gateway));
    }
    AuditRow event = Row("event", "card");
    event.gateway = 9;
    metrics.RowCame(event);
    metrics.SetQueueLengths({{8, 2}, {9, 3}, {1, 4}});
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_requests_total{gateway="other",operation="open",result="nack"} 3)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_events_total{event="card",gateway="other"} 1)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_queue_length{gateway="other"} 5)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_queue_length{gateway="1"} 4)"));
    EXPECT_THAT(Lines(), Not(Contains(HasSubstr(R"(gateway="9")"))));
}

TEST_F(MetricsTest, CountsWhatHasNoGatewayAndNoOperation) {
    AuditRow invalid = Row("request", "");
    invalid.result = "not-valid";
    invalid.errorCode = -2;
    metrics.RowCame(invalid);
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_requests_total{gateway="none",operation="none",result="not-valid"} 1)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_refusals_total{reason="not-valid"} 1)"));
}

TEST_F(MetricsTest, ARefusalIsNoUnansweredRequestAndTheOtherWayRound) {
    metrics.RowCame(Request("not-allowed", -1));
    metrics.RowCame(Request("no-answer", -4));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_refusals_total{reason="not-allowed"} 1)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_unanswered_requests_total{gateway="1"} 1)"));
    EXPECT_THAT(Lines(), Not(Contains(HasSubstr(R"(reason="no-answer")"))));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_request_duration_seconds_count{gateway="1"} 0)"));
}

TEST_F(MetricsTest, MeasuresAnswersInSeconds) {
    for (const milliseconds elapsed : {milliseconds(300), milliseconds(350), milliseconds(2500), milliseconds(16000)}) {
        AuditRow row = Request("ack");
        row.elapsed = elapsed;
        metrics.RowCame(row);
    }
    const std::string bucket = R"(mux_proxy_request_duration_seconds_bucket{gateway="1",le=)";
    EXPECT_THAT(Lines(), AllOf(Contains(bucket + R"("0.2"} 0)"), Contains(bucket + R"("0.35"} 2)"),
                               Contains(bucket + R"("2"} 2)"), Contains(bucket + R"("3"} 3)"),
                               Contains(bucket + R"("15"} 3)"), Contains(bucket + R"("+Inf"} 4)")));
    EXPECT_THAT(Lines(), Contains(StartsWith(R"(mux_proxy_request_duration_seconds_sum{gateway="1"} 19.15)")));
}

TEST_F(MetricsTest, WhatAlertsCountIsThereBeforeItHappens) {
    for (const char* const gateway : {"1", "2", "other"}) {
        EXPECT_THAT(Lines(),
                    Contains("mux_proxy_unanswered_requests_total{gateway=\"" + std::string(gateway) + "\"} 0"));
    }
    for (const char* const reason :
         {"not-allowed", "not-valid", "not-sent", "mux-away", "not-audited", "not-fresh", "not-signed"}) {
        EXPECT_THAT(Lines(), Contains("mux_proxy_refusals_total{reason=\"" + std::string(reason) + "\"} 0"));
    }
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_lock_status_timestamp_seconds{gateway="2",lock="70000"} 0)"));
}

TEST_F(MetricsTest, CountsLossesOfTheMux) {
    metrics.RowCame(Row("mux", "connected"));
    EXPECT_THAT(Lines(), Contains("mux_proxy_mux_connected 1"));
    EXPECT_THAT(Lines(), Contains("mux_proxy_mux_connection_losses_total 0"));
    metrics.RowCame(Row("mux", "lost"));
    EXPECT_THAT(Lines(), Contains("mux_proxy_mux_connected 0"));
    EXPECT_THAT(Lines(), Contains("mux_proxy_mux_connection_losses_total 1"));
}

TEST_F(MetricsTest, CountsLossesOfTheBrokerButNotFailedAttempts) {
    metrics.SetBrokerConnected(false);
    metrics.SetBrokerConnected(true);
    metrics.SetBrokerConnected(false);
    metrics.SetBrokerConnected(false);
    EXPECT_THAT(Lines(), Contains("mux_proxy_broker_connected 0"));
    EXPECT_THAT(Lines(), Contains("mux_proxy_broker_connection_losses_total 1"));
}

TEST_F(MetricsTest, TakesCountsOfTheWholeProcess) {
    metrics.SetMessages(7, 3);
    metrics.SetMessages(6, 3);
    metrics.SetAudit(1000, 200000, 4);
    metrics.SetAudit(1001, 200100, 6);
    EXPECT_THAT(Lines(), AllOf(Contains("mux_proxy_messages_waiting 6"), Contains("mux_proxy_messages_dropped_total 3"),
                               Contains("mux_proxy_audit_rows 1001"), Contains("mux_proxy_audit_size_bytes 200100"),
                               Contains("mux_proxy_audit_rows_dropped_total 6")));
}

TEST_F(MetricsTest, ShowsNeitherBrokerNorRoundThatTheConfigurationDoesNotHave) {
    Metrics plain{Configuration(), Locks()};
    plain.SetBrokerConnected(true);
    plain.SetMessages(1, 1);
    const std::vector<std::string> lines = LinesOf(plain);
    for (const char* const part : {"mux_proxy_broker", "mux_proxy_messages", "status_round", "status_timestamp"}) {
        EXPECT_THAT(lines, Not(Contains(HasSubstr(part))));
        EXPECT_THAT(Lines(), Contains(HasSubstr(part)));
    }
}

TEST_F(MetricsTest, ShowsTheBatteriesOfTheSitesLocks) {
    MuxClient::LockStatus status;
    status.qualityOfService = 2;
    status.batteryWarningLevel = true;
    metrics.StatusCame({2, 70000}, status);
    metrics.StatusCame({2, 6}, status);
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_lock_battery_ratio{gateway="2",lock="70000"} 0.9)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_lock_battery_low{gateway="2",level="warning",lock="70000"} 1)"));
    EXPECT_THAT(Lines(), Contains(R"(mux_proxy_lock_battery_low{gateway="2",level="alarm",lock="70000"} 0)"));
    EXPECT_THAT(Lines(), Not(Contains(HasSubstr(R"(lock="6")"))));
    EXPECT_THAT(Lines(), Not(Contains(R"(mux_proxy_lock_status_timestamp_seconds{gateway="2",lock="70000"} 0)")));
}

TEST_F(MetricsTest, ALevelThatNoLockHasIsTheLowest) {
    MuxClient::LockStatus status;
    for (const std::int32_t level : {-1, 4}) {
        status.qualityOfService = level;
        metrics.StatusCame({1, 5}, status);
        EXPECT_THAT(Lines(), Contains(R"(mux_proxy_lock_battery_ratio{gateway="1",lock="5"} 0)"));
    }
}

TEST_F(MetricsTest, ShowsWhatIsSet) {
    metrics.RowCame(Row("connection", "turned-away"));
    metrics.SetConnections(3);
    metrics.SetExpiry("server", std::chrono::system_clock::time_point(seconds(1800000000)));
    EXPECT_THAT(Lines(),
                AllOf(Contains("mux_proxy_connection_rows_total{operation=\"turned-away\"} 1"),
                      Contains("mux_proxy_connections 3"), Contains("mux_proxy_status_round_interval_seconds 21600"),
                      Contains("mux_proxy_audit_size_limit_bytes 536870912"),
                      Contains("mux_proxy_certificate_expiry_timestamp_seconds{certificate=\"server\"} 1800000000"),
                      Contains("mux_proxy_build_info{version=\"" + std::string(Mux::kVersion) + "\"} 1")));
}

}  // namespace
}  // namespace MuxProxy
