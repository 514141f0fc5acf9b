#include <gtest/gtest.h>

#include <functional>

#include "diagnostics/Text.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"
#include "tests/messages/WireBytes.h"

namespace Testing {
namespace {

using Brenk::CONNECTED;
using Brenk::CREATED;
using Brenk::DISCONNECTED;
using Brenk::FAULTED;
using Brenk::NOT_PRESENT;
using Brenk::READY;
using Brenk::VirtualGateway;
using Brenk::VirtualGatewayStatuses;

constexpr std::uint32_t kLock = 0x0A0B0C0D;
constexpr const char* kUidText = "Specified UID mode card data, but SetupNo is not zero. Change to zero.";

const Bytes kCard = {0x04, 0xA1, 0xB2, 0xC3};

struct OperationCase {
    std::string name;       // of the test
    std::string operation;  // the method
    std::function<bool(VirtualGateway&, void* context)> call;
    std::string frame;
    std::string enqueuingText;
    std::string bytesText;
    bool correctsSetupNumber = false;
};

void PrintTo(const OperationCase& tested, std::ostream* stream) {
    *stream << tested.name;
}

// The frames that a builder with sequence counter 0x01020303 and reference ID 63 gives, written by hand from the
// frame and payload layouts; their CRC by python3, binascii.crc_hqx(data, 0).
std::vector<OperationCase> OperationCases() {
    return {
        {"GetNodeStatus", "GetNodeStatus",
         [](auto& gateway, void* context) { return gateway.GetNodeStatus("request-1", kLock, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 01 0F 9E", "Enqueuing GET_STATUS message.",
         "Message bytes for check: "},
        {"OpenLock", "OpenLock",
         [](auto& gateway, void* context) { return gateway.OpenLock("request-1", kLock, 5, false, context); },
         "17 FE FD 12 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 0A 00 00 00 05 9F 00", "Enqueuing OPEN_LOCK message.",
         "OPEN_LOCK Message bytes for check: "},
        {"OpenLockWithFlag", "OpenLock",
         [](auto& gateway, void* context) { return gateway.OpenLock("request-1", kLock, 255, true, context); },
         "17 FE FD 12 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 8A 00 00 00 FF F3 85", "Enqueuing OPEN_LOCK message.",
         "OPEN_LOCK Message bytes for check: "},
        {"CloseLock", "CloseLock",
         [](auto& gateway, void* context) { return gateway.CloseLock("request-1", kLock, 7, false, context); },
         "15 FE FD 10 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 0B 00 07 D3 5B", " Enqueuing CLOSE_LOCK message.",
         "CLOSE_LOCK Message bytes for check: "},
        {"CloseLockWithFlag", "CloseLock",
         [](auto& gateway, void* context) { return gateway.CloseLock("request-1", kLock, 255, true, context); },
         "15 FE FD 10 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 8B 00 FF 86 16", " Enqueuing CLOSE_LOCK message.",
         "CLOSE_LOCK Message bytes for check: "},
        {"OpenCloseLockHasTheTextsOfOpenLock", "OpenCloseLock",
         [](auto& gateway, void* context) { return gateway.OpenCloseLock("request-1", kLock, 9, false, context); },
         "14 FE FD 0F 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 09 09 29 46", "Enqueuing OPEN_LOCK message.",
         "OPEN_LOCK Message bytes for check: "},
        {"OpenCloseLockWithFlag", "OpenCloseLock",
         [](auto& gateway, void* context) { return gateway.OpenCloseLock("request-1", kLock, 0, true, context); },
         "14 FE FD 0F 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 89 00 A3 F7", "Enqueuing OPEN_LOCK message.",
         "OPEN_LOCK Message bytes for check: "},
        {"AccessDenied", "AccessDenied",
         [](auto& gateway, void* context) { return gateway.AccessDenied("request-1", kLock, false, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 08 9E B7", "Enqueuing ACCESS_DENIED message.",
         "Message bytes for check: "},
        {"AccessDeniedWithFlag", "AccessDenied",
         [](auto& gateway, void* context) { return gateway.AccessDenied("request-1", kLock, true, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 88 0F 3F", "Enqueuing ACCESS_DENIED message.",
         "Message bytes for check: "},
        {"AddInUidModeWithSetupNumber5HasSetupNumber0", "AddWhitelistEntry",
         [](auto& gateway, void* context) {
             return gateway.AddWhitelistEntry("request-1", kLock, true, 5, true, kCard, context);
         },
         "20 FE FD 1B 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 03 00 01 0A 00 00 00 00 00 00 C3 B2 A1 04 D2 3C",
         "Enqueuing ADD_TO_WHITELIST message.", "ADD_TO_WHITELIST message bytes for check: ", true},
        {"AddInUidModeWithSetupNumber0", "AddWhitelistEntry",
         [](auto& gateway, void* context) {
             return gateway.AddWhitelistEntry("request-1", kLock, true, 0, true, kCard, context);
         },
         "20 FE FD 1B 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 03 00 01 0A 00 00 00 00 00 00 C3 B2 A1 04 D2 3C",
         "Enqueuing ADD_TO_WHITELIST message.", "ADD_TO_WHITELIST message bytes for check: "},
        {"AddWithSetupNumber5", "AddWhitelistEntry",
         [](auto& gateway, void* context) {
             return gateway.AddWhitelistEntry("request-1", kLock, false, 5, false, {0x11, 0x22, 0x33}, context);
         },
         "19 FE FD 14 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 03 05 00 03 11 22 33 E9 59",
         "Enqueuing ADD_TO_WHITELIST message.", "ADD_TO_WHITELIST message bytes for check: "},
        {"RemoveInUidModeWithSetupNumber5HasSetupNumber0", "RemoveWhitelistEntry",
         [](auto& gateway, void* context) {
             return gateway.RemoveWhitelistEntry("request-1", kLock, true, 5, kCard, context);
         },
         "20 FE FD 1B 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 04 00 00 0A 00 00 00 00 00 00 C3 B2 A1 04 A1 4F",
         "Enqueuing REMOVE_FROM_WHITELIST message.", "REMOVE_FROM_WHITELIST message bytes for check: ", true},
        {"RemoveWithSetupNumber3", "RemoveWhitelistEntry",
         [](auto& gateway, void* context) {
             return gateway.RemoveWhitelistEntry("request-1", kLock, false, 3, {0xAA, 0xBB}, context);
         },
         "18 FE FD 13 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 04 03 00 02 AA BB F8 22",
         "Enqueuing REMOVE_FROM_WHITELIST message.", "REMOVE_FROM_WHITELIST message bytes for check: "},
        {"ClearWhiteList", "ClearWhiteList",
         [](auto& gateway, void* context) { return gateway.ClearWhiteList("request-1", kLock, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 05 4F 1A", "Enqueuing DELETE_WHOLE_WHITELIST message.",
         "[VirtualGateway::ClearWhiteList] Message bytes for check: "},
        {"EnableWhitelist", "EnableWhitelist",
         [](auto& gateway, void* context) { return gateway.EnableWhitelist("request-1", kLock, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 07 6F 58", "Enqueuing ENABLE_WHITELIST message.",
         "Message bytes for check: "},
        {"DisableWhitelist", "DisableWhitelist",
         [](auto& gateway, void* context) { return gateway.DisableWhitelist("request-1", kLock, context); },
         "13 FE FD 0E 01 00 00 3F 01 02 03 04 0A 0B 0C 0D 06 7F 79", "Enqueuing DISABLE_WHITELIST message.",
         "Message bytes for check: "},
    };
}

class OperationTest : public GatewayTest, public ::testing::WithParamInterface<OperationCase> {
  protected:
    OperationTest() : OperationTest(std::make_shared<Brenk::Messages::BrenkMessageBuilder>(0x01020303, 63)) {}
    explicit OperationTest(const BuilderPointer& builder) : GatewayTest(builder) {}

    // The signature of the operation itself begins each of its lines.
    std::string LineOf(const std::string& text) const {
        for (const CapturedLog::Line& line : log_.Lines()) {
            if (line.second.find(" " + text) != std::string::npos) {
                return line.second;
            }
        }
        return "";
    }
};

class OperationWithoutBuilderTest : public OperationTest {
  protected:
    OperationWithoutBuilderTest() : OperationTest(nullptr) {}
};

class OperationOfRefusingBuilderTest : public OperationTest {
  protected:
    OperationOfRefusingBuilderTest() : OperationTest(std::make_shared<RefusingBuilder>()) {}
};

std::string NameOf(const ::testing::TestParamInfo<OperationCase>& tested) {
    return tested.param.name;
}

INSTANTIATE_TEST_SUITE_P(Each, OperationTest, ::testing::ValuesIn(OperationCases()), NameOf);
INSTANTIATE_TEST_SUITE_P(Each, OperationWithoutBuilderTest, ::testing::ValuesIn(OperationCases()), NameOf);
INSTANTIATE_TEST_SUITE_P(Each, OperationOfRefusingBuilderTest, ::testing::ValuesIn(OperationCases()), NameOf);

TEST_P(OperationTest, SendsItsFrameAndLogsItsLines) {
    const OperationCase& tested = GetParam();
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(tested.call(*gateway_, Context(1)));
    EXPECT_EQ(log_.Count(plog::info, tested.enqueuingText), 1) << log_.Text();
    EXPECT_EQ(log_.Count(plog::verbose, tested.bytesText + tested.frame), 1) << log_.Text();
    std::vector<CapturedLog::Line> inOrder = {{plog::info, tested.enqueuingText},
                                              {plog::verbose, tested.bytesText + tested.frame},
                                              {plog::verbose, "RequestInfo built."}};
    if (tested.correctsSetupNumber) {
        inOrder.insert(inOrder.begin(), {plog::warning, kUidText});
    }
    ExpectInOrder(inOrder);
    EXPECT_NE(LineOf(tested.enqueuingText).find("VirtualGateway::" + tested.operation + "("), std::string::npos);
    EXPECT_NE(LineOf(tested.bytesText).find("VirtualGateway::" + tested.operation + "("), std::string::npos);
    EXPECT_EQ(log_.Count(plog::warning, kUidText), tested.correctsSetupNumber ? 1 : 0);
    EXPECT_FALSE(log_.Holds(plog::error, ""));
    StartSending();
    EXPECT_EQ(Diagnostics::BytesToHex(connection_.ReceiveLockFrame()), tested.frame);
}

TEST_P(OperationTest, ItsAnswerComesWithItsIDItsCodeAndItsContext) {
    const OperationCase& tested = GetParam();
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(tested.call(*gateway_, Context(2)));
    StartSending();
    const Bytes frame = connection_.ReceiveLockFrame();
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "request-1");
    EXPECT_EQ(owner_.Responses().at(0).requestCode, frame.at(16));
    EXPECT_EQ(owner_.Responses().at(0).context, Context(2));
}

TEST_P(OperationWithoutBuilderTest, ReturnsFalse) {
    EXPECT_FALSE(GetParam().call(*gateway_, Context(1)));
    EXPECT_EQ(log_.Count(plog::error, "The message builder is NULL. Cannot send the message."), 1);
    EXPECT_FALSE(log_.Holds(plog::info, "Enqueuing"));
    EXPECT_FALSE(log_.Holds(plog::warning, kUidText));
}

TEST_P(OperationOfRefusingBuilderTest, ReturnsFalseAfterItsLineAtInfo) {
    EXPECT_FALSE(GetParam().call(*gateway_, Context(1)));
    EXPECT_EQ(log_.Count(plog::info, GetParam().enqueuingText), 1);
    EXPECT_FALSE(log_.Holds(plog::verbose, "RequestInfo built."));
    const bool denies = GetParam().operation == "AccessDenied";
    const bool clears = GetParam().operation == "ClearWhiteList";
    EXPECT_EQ(log_.Count(plog::error, "ACCESS_DENIED is nullptr."), denies ? 1 : 0);
    EXPECT_EQ(log_.Count(plog::error, "DELETE_WHOLE_WHITELIST built in a nullptr message!"), clears ? 1 : 0);
    EXPECT_EQ(log_.Holds(plog::error, ""), denies || clears);
}

TEST_P(OperationTest, WithoutAContextItThrowsAndQueuesNothing) {
    try {
        GetParam().call(*gateway_, nullptr);
        FAIL() << "nothing was thrown";
    } catch (Brenk::ArgumentNullException* thrown) {
        const std::unique_ptr<Brenk::ArgumentNullException> exception(thrown);
    }
    EXPECT_FALSE(log_.Holds(plog::verbose, "RequestInfo built."));
}

// Which statuses refuse an operation, and what is said then.
struct RefusalCase {
    std::string operation;
    bool refusedInNotPresent;
    std::vector<CapturedLog::Line> faultedLines;
    std::vector<CapturedLog::Line> notPresentLines;
};

void PrintTo(const RefusalCase& tested, std::ostream* stream) {
    *stream << tested.operation;
}

const CapturedLog::Line kNoEntryLine = {
    plog::error, "Virtual gateway is in Faulted or NotPresent state. Cannot add whitelist entry"};
const CapturedLog::Line kCloseEnteredLine = {plog::debug,
                                             "VGS - CloseLock entered requestID : request-1 lockid :168496141 delay:7"};
const CapturedLog::Line kCloseRefusedLine = {plog::warning, "vgs not present : "};

const RefusalCase kRefusals[] = {
    {"GetNodeStatus", false, {}, {}},
    {"OpenLock", true, {}, {}},
    {"CloseLock", true, {kCloseEnteredLine, kCloseRefusedLine}, {kCloseEnteredLine, kCloseRefusedLine}},
    {"OpenCloseLock", true, {}, {}},
    {"AccessDenied",
     true,
     {{plog::error, "Virtual gateway status is FAULTED. Cannot enqueue ACCESS DENIED message"}},
     {}},
    {"AddWhitelistEntry", true, {kNoEntryLine}, {kNoEntryLine}},
    {"RemoveWhitelistEntry", true, {}, {}},
    {"ClearWhiteList", true, {}, {}},
    {"EnableWhitelist", false, {}, {}},
    {"DisableWhitelist", false, {}, {}},
};

class OperationStatusTest : public GatewayTest, public ::testing::WithParamInterface<RefusalCase> {
  protected:
    bool Call() {
        for (const OperationCase& tested : OperationCases()) {
            if (tested.operation == GetParam().operation) {
                return tested.call(*gateway_, Context(1));
            }
        }
        throw std::logic_error("no such operation");
    }

    void ExpectAccepted() {
        EXPECT_TRUE(Call());
        EXPECT_TRUE(log_.Holds(plog::verbose, "RequestInfo pushed to messagesQueue."));
        EXPECT_FALSE(log_.Holds(plog::error, ""));
        EXPECT_FALSE(log_.Holds(plog::warning, "vgs not present : "));
    }

    // Fails unless the call returns false and writes exactly these lines. Both threads have nothing to say meanwhile.
    void ExpectRefused(const std::vector<CapturedLog::Line>& expected) {
        ASSERT_TRUE(sendingGate_.WaitForArrival());
        ASSERT_TRUE(log_.WaitFor(plog::debug, "Read thread spawned."));
        const std::size_t before = log_.Lines().size();
        EXPECT_FALSE(Call());
        const auto lines = log_.Lines();
        ASSERT_EQ(lines.size(), before + expected.size()) << log_.Text();
        ExpectInOrder(expected);
    }

    void BeNotPresent() {
        fake_.Refuse();
        while (gateway_->Status() != NOT_PRESENT) {
            gateway_->Connect(false);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Each, OperationStatusTest, ::testing::ValuesIn(kRefusals),
                         [](const auto& tested) { return tested.param.operation; });

TEST_P(OperationStatusTest, IsAcceptedInCreated) {
    ASSERT_EQ(gateway_->Status(), CREATED);
    ExpectAccepted();
}

TEST_P(OperationStatusTest, IsAcceptedInConnected) {
    ASSERT_TRUE(gateway_->Connect(true));
    ASSERT_EQ(gateway_->Status(), CONNECTED);
    ExpectAccepted();
}

TEST_P(OperationStatusTest, IsAcceptedInReady) {
    ASSERT_TRUE(gateway_->Connect(false));
    ASSERT_EQ(gateway_->Status(), READY);
    ExpectAccepted();
}

TEST_P(OperationStatusTest, IsAcceptedInDisconnected) {
    ASSERT_TRUE(gateway_->Connect(false));
    ASSERT_TRUE(gateway_->Disconnect());
    ASSERT_EQ(gateway_->Status(), DISCONNECTED);
    ExpectAccepted();
}

TEST_P(OperationStatusTest, IsRefusedInFaulted) {
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    ASSERT_EQ(gateway_->Status(), FAULTED);
    ExpectRefused(GetParam().faultedLines);
}

TEST_P(OperationStatusTest, IsRefusedInNotPresentUnlessItIsAStatusRequestOrSwitchesTheWhitelist) {
    BeNotPresent();
    if (GetParam().refusedInNotPresent) {
        ExpectRefused(GetParam().notPresentLines);
    } else {
        const int before = log_.Count(plog::error, "");
        EXPECT_TRUE(Call());
        EXPECT_TRUE(log_.Holds(plog::verbose, "RequestInfo pushed to messagesQueue."));
        EXPECT_EQ(log_.Count(plog::error, ""), before);
    }
}

TEST_F(GatewayTest, CloseLockLogsItsArgumentsWhenItIsAcceptedToo) {
    EXPECT_TRUE(gateway_->CloseLock("request-1", kLock, 7, false, Context(1)));
    EXPECT_EQ(log_.Count(kCloseEnteredLine.first, kCloseEnteredLine.second), 1);
}

}  // namespace
}  // namespace Testing
