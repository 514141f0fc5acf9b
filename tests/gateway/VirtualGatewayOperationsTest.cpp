#include <gtest/gtest.h>

#include "diagnostics/Text.h"
#include "messages/Exceptions.h"
#include "tests/gateway/GatewayFixture.h"

namespace Testing {
namespace {

constexpr std::uint32_t kLock = 0x0A0B0C0D;
constexpr const char* kUidText = "Specified UID mode card data, but SetupNo is not zero. Change to zero.";

const Bytes kCard = {0x04, 0xA1, 0xB2, 0xC3};

struct OperationCase {
    const char* name;  // of the test; up to its underscore that of the method
    bool (*call)(VirtualGateway&, void* context);
    const char* codeAndPayload;  // of the frame
    bool correctsSetupNumber = false;
};

void PrintTo(const OperationCase& tested, std::ostream* stream) {
    *stream << tested.name;
}

std::string MethodOf(const OperationCase& tested) {
    const std::string name = tested.name;
    return name.substr(0, name.find('_'));
}

const OperationCase kOperations[] = {
    {"GetNodeStatus", [](auto& gateway, void* context) { return gateway.GetNodeStatus("1", kLock, context); }, "01"},
    {"OpenLock", [](auto& gateway, void* context) { return gateway.OpenLock("1", kLock, 5, false, context); },
     "0A 00 00 00 05"},
    {"OpenLock_WithFlag", [](auto& gateway, void* context) { return gateway.OpenLock("1", kLock, 255, true, context); },
     "8A 00 00 00 FF"},
    {"CloseLock", [](auto& gateway, void* context) { return gateway.CloseLock("1", kLock, 7, false, context); },
     "0B 00 07"},
    {"CloseLock_WithFlag",
     [](auto& gateway, void* context) { return gateway.CloseLock("1", kLock, 255, true, context); }, "8B 00 FF"},
    {"OpenCloseLock", [](auto& gateway, void* context) { return gateway.OpenCloseLock("1", kLock, 9, false, context); },
     "09 09"},
    {"OpenCloseLock_WithFlag",
     [](auto& gateway, void* context) { return gateway.OpenCloseLock("1", kLock, 0, true, context); }, "89 00"},
    {"AccessDenied", [](auto& gateway, void* context) { return gateway.AccessDenied("1", kLock, false, context); },
     "08"},
    {"AccessDenied_WithFlag",
     [](auto& gateway, void* context) { return gateway.AccessDenied("1", kLock, true, context); }, "88"},
    {"AddWhitelistEntry_InUidModeWithSetupNumber5",
     [](auto& gateway, void* context) { return gateway.AddWhitelistEntry("1", kLock, true, 5, true, kCard, context); },
     "03 00 01 0A 00 00 00 00 00 00 C3 B2 A1 04", true},
    {"AddWhitelistEntry_InUidModeWithSetupNumber0",
     [](auto& gateway, void* context) { return gateway.AddWhitelistEntry("1", kLock, true, 0, false, kCard, context); },
     "03 00 00 0A 00 00 00 00 00 00 C3 B2 A1 04"},
    {"AddWhitelistEntry_WithSetupNumber5",
     [](auto& gateway, void* context) {
         return gateway.AddWhitelistEntry("1", kLock, false, 5, false, {0x11, 0x22}, context);
     },
     "03 05 00 02 11 22"},
    {"RemoveWhitelistEntry_InUidModeWithSetupNumber5",
     [](auto& gateway, void* context) { return gateway.RemoveWhitelistEntry("1", kLock, true, 5, kCard, context); },
     "04 00 00 0A 00 00 00 00 00 00 C3 B2 A1 04", true},
    {"RemoveWhitelistEntry_WithSetupNumber3",
     [](auto& gateway, void* context) {
         return gateway.RemoveWhitelistEntry("1", kLock, false, 3, {0xAA, 0xBB}, context);
     },
     "04 03 00 02 AA BB"},
    {"ClearWhiteList", [](auto& gateway, void* context) { return gateway.ClearWhiteList("1", kLock, context); }, "05"},
    {"EnableWhitelist", [](auto& gateway, void* context) { return gateway.EnableWhitelist("1", kLock, context); },
     "07"},
    {"DisableWhitelist", [](auto& gateway, void* context) { return gateway.DisableWhitelist("1", kLock, context); },
     "06"},
};

class OperationTest : public GatewayTest, public ::testing::WithParamInterface<OperationCase> {};

INSTANTIATE_TEST_SUITE_P(Each, OperationTest, ::testing::ValuesIn(kOperations),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST_P(OperationTest, SendsItsFrameAndItsAnswerComesWithItsIDItsCodeAndItsContext) {
    ASSERT_NO_FATAL_FAILURE(ConnectReady());
    EXPECT_TRUE(GetParam().call(*gateway_, Context(2)));
    EXPECT_EQ(log_.Count(plog::warning, kUidText), GetParam().correctsSetupNumber ? 1 : 0);
    EXPECT_TRUE(log_.Holds(plog::info, "VirtualGateway::" + MethodOf(GetParam()) + "(")) << "its own signature";
    StartSending();
    const Bytes frame = connection_.ReceiveLockFrame();
    ASSERT_GT(frame.size(), 18U);
    EXPECT_EQ(DeviceAddressOf(frame), kLock);
    EXPECT_EQ(Diagnostics::BytesToHex(Bytes(frame.begin() + 16, frame.end() - 2)), GetParam().codeAndPayload);
    connection_.Send(ResultFrame(ReferenceIDOf(frame), 0));
    ASSERT_TRUE(owner_.WaitForResponses(1));
    EXPECT_EQ(owner_.Responses().at(0).requestID, "1");
    EXPECT_EQ(owner_.Responses().at(0).requestCode, frame.at(16));
    EXPECT_EQ(owner_.Responses().at(0).context, Context(2));
    EXPECT_FALSE(log_.Holds(plog::error, ""));
}

class OperationWithoutBuilderTest : public GatewayTest {
  protected:
    OperationWithoutBuilderTest() : GatewayTest(nullptr) {}
};

TEST_F(OperationWithoutBuilderTest, EachReturnsFalse) {
    int calls = 0;
    for (const OperationCase& tested : kOperations) {
        EXPECT_FALSE(tested.call(*gateway_, Context(1))) << tested.name;
        EXPECT_EQ(log_.Count(plog::error, "The message builder is NULL. Cannot send the message."), ++calls);
    }
    EXPECT_FALSE(log_.Holds(plog::info, "Enqueuing"));
    EXPECT_FALSE(log_.Holds(plog::warning, kUidText));
}

class OperationOfRefusingBuilderTest : public GatewayTest {
  protected:
    OperationOfRefusingBuilderTest() : GatewayTest(std::make_shared<RefusingBuilder>()) {}
};

TEST_F(OperationOfRefusingBuilderTest, EachReturnsFalseAfterItsLineAtInfo) {
    for (const OperationCase& tested : kOperations) {
        EXPECT_FALSE(tested.call(*gateway_, Context(1))) << tested.name;
        EXPECT_TRUE(log_.Holds(plog::info, "VirtualGateway::" + MethodOf(tested) + "(")) << tested.name;
    }
    EXPECT_FALSE(log_.Holds(plog::verbose, "RequestInfo built."));
    EXPECT_EQ(log_.Count(plog::error, "ACCESS_DENIED is nullptr."), 2) << "with and without the flag";
    EXPECT_EQ(log_.Count(plog::error, "DELETE_WHOLE_WHITELIST built in a nullptr message!"), 1);
}

class OperationStatusTest : public GatewayTest {
  protected:
    void ExpectAllAccepted() {
        for (const OperationCase& tested : kOperations) {
            EXPECT_TRUE(tested.call(*gateway_, Context(1))) << tested.name;
        }
        EXPECT_FALSE(log_.Holds(plog::error, "")) << log_.Text();
        EXPECT_FALSE(log_.Holds(plog::warning, "vgs not present"));
    }

    // The lines of one call. Both threads have nothing to say meanwhile.
    std::vector<CapturedLog::Line> LinesOf(const OperationCase& tested, bool expected) {
        const std::size_t before = log_.Lines().size();
        EXPECT_EQ(tested.call(*gateway_, Context(1)), expected) << tested.name;
        return log_.LinesBehind(before);
    }

    void ExpectNothingButItsOwnLines(const OperationCase& tested, bool isFaulted) {
        const auto lines = LinesOf(tested, false);
        const std::string method = MethodOf(tested);
        const bool isDenial = method == "AccessDenied" && isFaulted;
        const bool isClosing = method == "CloseLock";
        EXPECT_EQ(lines.size(), isClosing ? 2U : (isDenial || method == "AddWhitelistEntry" ? 1U : 0U)) << tested.name;
        for (const CapturedLog::Line& line : lines) {
            EXPECT_EQ(line.first == plog::error, !isClosing) << line.second;
        }
    }

    void AwaitThreads() {
        ASSERT_TRUE(sendingGate_.WaitForArrival());
        ASSERT_TRUE(log_.WaitFor(plog::debug, "Read thread spawned."));
    }
};

TEST_F(OperationStatusTest, WithoutAContextEachThrowsAndQueuesNothing) {
    for (const OperationCase& tested : kOperations) {
        EXPECT_TRUE(ThrowsNew<Brenk::ArgumentNullException>([&] { tested.call(*gateway_, nullptr); })) << tested.name;
    }
    EXPECT_FALSE(log_.Holds(plog::verbose, "RequestInfo built."));
}

TEST_F(OperationStatusTest, AllAreAcceptedInCreatedConnectedDisconnectedAndReady) {
    ASSERT_EQ(gateway_->Status(), CREATED);
    ExpectAllAccepted();
    ASSERT_TRUE(gateway_->Connect(true));
    ExpectAllAccepted();
    ASSERT_TRUE(gateway_->Disconnect());
    ASSERT_EQ(gateway_->Status(), DISCONNECTED);
    ExpectAllAccepted();
    ASSERT_TRUE(gateway_->Connect(false));
    ExpectAllAccepted();
}

TEST_F(OperationStatusTest, AllAreRefusedInFaulted) {
    ASSERT_NO_FATAL_FAILURE(AwaitThreads());
    VirtualGateway::SocketSendError(EPIPE, gateway_.get());
    ASSERT_EQ(gateway_->Status(), FAULTED);
    for (const OperationCase& tested : kOperations) {
        ExpectNothingButItsOwnLines(tested, true);
    }
}

TEST_F(OperationStatusTest, InNotPresentStatusRequestsAndTheWhitelistsSwitchAreAccepted) {
    ASSERT_NO_FATAL_FAILURE(AwaitThreads());
    fake_.Refuse();
    while (gateway_->Status() != NOT_PRESENT) {
        gateway_->Connect(false);
    }
    for (const OperationCase& tested : kOperations) {
        const std::string method = MethodOf(tested);
        if (method == "GetNodeStatus" || method == "EnableWhitelist" || method == "DisableWhitelist") {
            EXPECT_EQ(LinesOf(tested, true).back().first, plog::verbose) << "it was not queued";
        } else {
            ExpectNothingButItsOwnLines(tested, false);
        }
    }
}

}  // namespace
}  // namespace Testing
