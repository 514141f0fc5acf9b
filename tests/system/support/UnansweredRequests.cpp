#include "tests/system/support/UnansweredRequests.h"

#include <gtest/gtest.h>

#include "tests/system/support/Exchange.h"

namespace SystemTest {
namespace {

constexpr std::uint32_t kAddressWithoutLock = 0x100;
constexpr const char* kSent = " sent using gateway socket send.";
constexpr const char* kQuestion = "Enquequing keep alive Get status.";

}  // namespace

SystemSetup UnansweredRequests::Setup() {
    return WithArguments({"--verbose"});
}

UnansweredRequests::UnansweredRequests(MuxSystem& system) : system_(system), client_(system.NewClient()) {
    system.Gateway().Inject(Simulator::Fault::Silence().Always());
}

void UnansweredRequests::Send(int code) {
    ++requests_;
    client_.Send(Replace(Replace(Request(code), "@G", "1"), "@I", "request-" + std::to_string(requests_)));
    for (std::size_t frames = 0; frames != Announced();) {
        frames = Announced();
        ASSERT_TRUE(system_.Gateway().WaitForFrames(frames, kDeadline)) << frames << " frames";
        ASSERT_TRUE(system_.Mux().WaitFor(kSent, frames)) << frames << " frames";
    }
}

// One of the two frames at the start is a question as those that follow, and has its line.
std::size_t UnansweredRequests::Announced() const {
    return MuxSystem::kFramesAtStart - 1 + system_.Mux().Count(kQuestion) + requests_;
}

bool IsQuestion(const Simulator::ReceivedFrame& frame) {
    return frame.frame.deviceAddress == kAddressWithoutLock;
}

}  // namespace SystemTest
