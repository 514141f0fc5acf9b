// What becomes of each step when any one of its allocations finds no memory: it is done whole or not at all.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <plog/Appenders/IAppender.h>
#include <plog/Init.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diagnostics/Log.h"
#include "diagnostics/LogRecord.h"
#include "diagnostics/LogStream.h"
#include "gateway/FrameBuffer.h"
#include "gateway/VirtualGateway.h"
#include "json/Reading.h"
#include "json/Tree.h"
#include "mux/messages/MuxMessageBuilder.h"
#include "net/ClientList.h"
#include "net/ClientSocket.h"
#include "net/OpenSocket.h"
#include "tests/allocation/CountedCalls.h"
#include "tests/mux/TestMux.h"
#include "tests/support/LoopbackSocket.h"
#include "tests/support/WaitUntil.h"
#include "threading/CatchAll.h"

namespace {

using Testing::FailingAllocation;
using Testing::ForEachAllocation;
using Testing::LoopbackSocket;

// Makes of each line what a file gets.
class FormattingAppender : public plog::IAppender {
  public:
    void write(const plog::Record& record) override { static_cast<void>(Diagnostics::LineText(record)); }
};

class OutOfMemoryTest : public testing::Test {
  protected:
    OutOfMemoryTest() {
        static FormattingAppender appender;
        static plog::Logger<0>& logger = plog::init(plog::verbose, &appender);
        logger.setMaxSeverity(plog::verbose);
    }
    ~OutOfMemoryTest() override { plog::get()->setMaxSeverity(plog::none); }
};

void Nothing() {}

TEST_F(OutOfMemoryTest, ALineOfTheLogIsLeftOut) {
    const std::string text(10000, 'x');
    ForEachAllocation(
        Nothing, [&] { MUX_LOG(plog::info) << text << 5 << 'c' << "literal" << 0.5 << this; },
        [](bool isDone) { EXPECT_TRUE(isDone); });
}

// A pipe without room needs a queue and a thread of its own; that thread takes no signals, and this one goes on with
// them.
TEST_F(OutOfMemoryTest, ALineForAPipeWithoutRoomLeavesTheSignalsAsTheyWere) {
    std::array<int, 2> ends = {-1, -1};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const std::string line(1000, 'x');
    while (write(ends[1], line.data(), line.size()) > 0) {
    }
    std::optional<Diagnostics::LogStream> stream;
    ForEachAllocation(
        [&] { stream.emplace(Diagnostics::LineTarget::Console(ends[1]), [](std::size_t) { return std::string(); }); },
        [&] { stream->Write(line); },
        [](bool) {
            sigset_t blocked;
            pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
            EXPECT_EQ(sigismember(&blocked, SIGQUIT), 0);
        });
    stream.reset();
    close(ends[0]);
    close(ends[1]);
}

// Notes how many allocations had been made when it was made: behind that of its own memory.
struct NotedBadAlloc : std::bad_alloc {
    explicit NotedBadAlloc(std::size_t& allocations) { allocations = Testing::OwnAllocations(); }
};

TEST_F(OutOfMemoryTest, ACatchAllNeedsNone) {
    std::size_t before = 0;
    const bool isDone = Threading::CatchAll([&before] { throw NotedBadAlloc(before); },
                                            [&before](const char* text) {
                                                EXPECT_EQ(Testing::OwnAllocations(), before);
                                                EXPECT_STREQ(text, "std::bad_alloc");
                                            });
    EXPECT_FALSE(isDone);
}

// Deep, and with a string that needs a chunk of its own.
std::string LargeJson() {
    const std::string list = std::string(2000, '[') + std::string(2000, ']');
    return R"({"a":")" + std::string(100000, 'x') + R"(","b":)" + list + R"(,"c":{"d":1}})";
}

TEST_F(OutOfMemoryTest, JsonIsReadOrNot) {
    const std::string text = LargeJson();
    ForEachAllocation(
        Nothing,
        [&] {
            rapidjson::Document document;
            EXPECT_TRUE(Json::Parse(text, document));
            EXPECT_EQ(document.MemberCount(), 3U);
        },
        [](bool) {});
}

TEST_F(OutOfMemoryTest, JsonIsCopiedAndWrittenOrNot) {
    const std::string text = LargeJson();
    rapidjson::Document document;
    ASSERT_TRUE(Json::Parse(text, document));
    std::string written;
    ForEachAllocation([&] { written.clear(); },
                      [&] {
                          rapidjson::Document copy;
                          Json::Copy(document, copy, copy.GetAllocator());
                          written = Json::Text(copy);
                      },
                      [&](bool isDone) { EXPECT_EQ(written, isDone ? text : ""); });
}

TEST_F(OutOfMemoryTest, ADescriptorIsOwnedOrClosed) {
    int descriptor = -1;
    std::shared_ptr<Brenk::Net::OpenSocket> owner;
    ForEachAllocation([&] { descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC); },
                      [&] { owner = Brenk::Net::OpenSocket::Share(descriptor); },
                      [&](bool isDone) { EXPECT_EQ(fcntl(descriptor, F_GETFD) != -1, isDone); });
}

TEST_F(OutOfMemoryTest, AClientTakesItsDescriptorOverOrLeavesItToTheCaller) {
    Brenk::Net::OutputBudget budget;
    int descriptor = -1;
    Brenk::Net::ClientPointer client;
    ForEachAllocation([&] { descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC); },
                      [&] { client = std::make_shared<Brenk::Net::ClientConnection>(descriptor, 1, budget); },
                      [&](bool isDone) {
                          ASSERT_NE(fcntl(descriptor, F_GETFD), -1);
                          if (!isDone) {
                              close(descriptor);
                          }
                      });
}

TEST_F(OutOfMemoryTest, AClientIsListedOrNot) {
    Brenk::Net::OutputBudget budget;
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const auto client = std::make_shared<Brenk::Net::ClientConnection>(descriptor, 1, budget);
    std::optional<Brenk::Net::ClientList> clients;
    ForEachAllocation([&] { clients.emplace(); }, [&] { clients->Add(client); },
                      [&](bool isDone) {
                          EXPECT_EQ(clients->Find(descriptor) == client, isDone);
                          EXPECT_EQ(clients->Identities().size(), isDone ? 1U : 0U);
                      });
}

TEST_F(OutOfMemoryTest, BytesOfAGatewayAreTakenOrNot) {
    const std::vector<unsigned char> junk(100, 0x20);
    const std::vector<unsigned char> frame = {0x13, 0xFE, 0xFD, 0x0E, 0x01, 0x00, 0x00, 0x05, 0x00, 0x00,
                                              0x00, 0x2A, 0x00, 0x00, 0x01, 0x02, 0x05, 0x75, 0x32};
    std::optional<Brenk::FrameBuffer> buffer;
    ForEachAllocation(
        [&] {
            buffer.emplace();
            buffer->Append(junk);
        },
        [&] { buffer->Append(frame); },
        [&](bool isDone) { EXPECT_EQ(buffer->Size(), junk.size() + (isDone ? frame.size() : 0)); });
}

// The magic of a frame without a length in front of it is all that stays.
TEST_F(OutOfMemoryTest, ABufferThatIsStuckIsStuck) {
    const std::vector<unsigned char> magic = {0xFE, 0xFD, 0x00, 0x00, 0x00};
    std::optional<Brenk::FrameBuffer> buffer;
    ForEachAllocation([&] { buffer.emplace(); }, [&] { buffer->Append(magic); },
                      [&](bool isDone) { EXPECT_EQ(buffer->Size(), isDone ? 2U : 0U); });
}

TEST_F(OutOfMemoryTest, WhatAGatewaySendsIsReceivedOrStaysWithTheKernel) {
    LoopbackSocket listener = LoopbackSocket::Listening();
    Brenk::Net::ClientSocket socket("127.0.0.1", listener.Port(), std::chrono::seconds(5));
    ASSERT_TRUE(socket.Connect());
    LoopbackSocket peer = listener.Accept();
    // The first byte is the length, at which the reading ends.
    const LoopbackSocket::Bytes sent(200, 200);
    LoopbackSocket::Bytes received;
    const auto receive = [&] {
        socket.Receive(received);
        return received.size() >= sent.size();
    };
    ForEachAllocation(
        [&] {
            received.clear();
            received.shrink_to_fit();
            peer.Send(sent);
        },
        [&] {
            while (!receive()) {
            }
        },
        [&](bool) {
            EXPECT_TRUE(Testing::WaitUntil(receive));
            EXPECT_EQ(received, sent);
        });
}

class CountedPayload : public Brenk::Messages::BrenkMessagePayload {
  public:
    CountedPayload() { ++alive; }
    ~CountedPayload() override { --alive; }
    static inline int alive = 0;
};

TEST_F(OutOfMemoryTest, AGatewayTakesARequestOverOrLeavesItToTheCaller) {
    Brenk::VirtualGateway gateway("127.0.0.1", 1);
    std::unique_ptr<Brenk::Messages::BrenkMessage> message;
    int queued = 0;
    ForEachAllocation(
        [&] {
            message = std::make_unique<Brenk::Messages::BrenkMessage>(Brenk::Messages::BrenkFrameHeader());
            message->AttachPayload(std::make_unique<CountedPayload>());
        },
        [&] { gateway.EnqueueMessage(std::string(100, 'i'), message.get(), &gateway); },
        [&](bool isDone) {
            EXPECT_EQ(CountedPayload::alive, queued + 1);
            if (isDone) {
                static_cast<void>(message.release());
                ++queued;
            }
        });
}

TEST_F(OutOfMemoryTest, ARequestIsQueuedOrNot) {
    const std::string request = Testing::Request(10, std::string(100, 'm'), Testing::LockData());
    std::optional<Testing::TestMux> mux;
    ForEachAllocation([&] { mux.emplace(); }, [&] { mux->TakeIn(request); },
                      [&](bool isDone) { EXPECT_EQ(mux->RequestCount(), isDone ? 1U : 0U); });
}

// A MessageID that stays behind would keep all later requests with it from being answered.
TEST_F(OutOfMemoryTest, ARequestIsPendingOrItsMessageIdIsFree) {
    const LoopbackSocket listener = LoopbackSocket::Listening();
    Testing::TestMux mux;
    ASSERT_TRUE(mux.ParseConfiguration(Testing::ConfigurationText({listener.Port()})));
    std::size_t pending = 0;
    std::size_t requests = 0;
    ForEachAllocation([&] { mux.TakeIn(Testing::Request(10, "m" + std::to_string(++requests), Testing::LockData())); },
                      [&] { mux.PopNextMessage(); },
                      [&](bool isDone) {
                          EXPECT_TRUE(isDone) << "its catch-all threw";
                          EXPECT_EQ(mux.RequestCount(), 0U);
                          if (mux.PendingCount() == pending) {
                              mux.Route(Testing::Request(10, "m" + std::to_string(requests), Testing::LockData()));
                          }
                          EXPECT_EQ(mux.PendingCount(), ++pending);
                      });
}

// There is no server socket, so the attempts that have their memory fail too.
TEST_F(OutOfMemoryTest, AnAnswerThatCannotBeBuiltIsGivenUpAfter15Attempts) {
    Testing::TestMux mux;
    bool hasFailed = true;
    for (std::size_t behind = 0; hasFailed; ++behind) {
        mux.Route(Testing::Request(10, std::string(100, 'm'), Testing::LockData()));
        ASSERT_EQ(mux.AnswerCount(), 1U);
        for (int attempt = 0; attempt < 15; ++attempt) {
            ASSERT_EQ(mux.AnswerCount(), 1U);
            const FailingAllocation fault(behind);
            try {
                mux.SendMessageToClientIfAvailable();
            } catch (const std::bad_alloc&) {
            }
            hasFailed = fault.HasFailed();
        }
        ASSERT_EQ(mux.AnswerCount(), 0U) << "without allocation " << behind;
    }
}

}  // namespace
