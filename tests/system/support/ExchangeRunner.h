#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/system/support/Exchange.h"
#include "tests/system/support/MuxSystem.h"

namespace SystemTest {

// Runs tables of exchanges against a system, one client for each gateway.
//
// For every exchange it checks: what the schema says of the request; the exact bytes of the frame at the gateway, with
// the reference ID and the sequence counter that follow those of the frame before; that no other frame came; the exact
// bytes of the answer, with a time stamp between sending and receiving; and the log. Silence shows in what comes next:
// a client's next text must be the answer to the next exchange that has one, so tables with silent rows are closed with
// an answered one.
class ExchangeRunner {
  public:
    // The system must remain live as long as the runner.
    explicit ExchangeRunner(MuxSystem& system);

    // Runs a table on one gateway. Stops at a row that gets no frame or no answer where it should.
    void Run(const std::vector<Exchange>& table, std::size_t gateway = 0);

    // Runs the n-th table on the n-th gateway, all at the same time.
    void RunSideBySide(const std::vector<std::vector<Exchange>>& tables);

    // The client of a gateway's table.
    TestClient& Client(std::size_t gateway = 0) { return lanes_.at(gateway).client; }

    // What the next frame at a gateway must have, for tests that send by other ways meanwhile.
    struct Counters {
        std::uint8_t referenceId = 0;
        std::uint32_t sequenceCounter = 0;
        // How many frames were received before it.
        std::size_t frames = 0;
    };
    Counters& NextFrame(std::size_t gateway = 0) { return lanes_.at(gateway).next; }

  private:
    struct Lane {
        std::size_t gateway;
        std::string gatewayId;
        TestClient client;
        Counters next;
        std::size_t requests = 0;
    };

    // Returns false when there is no sense in going on.
    bool RunOne(Lane& lane, const Exchange& exchange);
    bool ExpectFrame(Lane& lane, const std::string& frame);
    bool WaitUntilSent() const;
    bool ExpectAnswer(Lane& lane, const Exchange& exchange, const std::string& id, std::time_t sent);

    MuxSystem& system_;
    std::vector<Lane> lanes_;
};

// The bytes that hexadecimal digits stand for; blanks are skipped.
Simulator::Bytes FromHexText(const std::string& text);

// The whole frame for the part of it that an Exchange has, as the gateway's side of the protocol writes it.
Simulator::Bytes WholeFrame(const ExchangeRunner::Counters& counters, const std::string& addressCodeAndPayload);

// A gateway's answer to a request: its result, nothing else. `referenceBits` are set in the reference ID on top.
Simulator::Bytes AnswerTo(const Simulator::ReceivedFrame& request, std::uint8_t result, std::uint8_t referenceBits = 0);

// After a request went out the next frame has the next reference ID, 1 after 63, and the next counter.
void Advance(ExchangeRunner::Counters& counters);

}  // namespace SystemTest
