#include "tools/gateway-simulator/Session.h"

#include <gtest/gtest.h>

#include <vector>

namespace Simulator {
namespace {

using asio::ip::tcp;

constexpr std::size_t kFrameSize = 255;
// For so long nothing happens when nothing more is going to.
constexpr std::chrono::seconds kQuiet{1};
// Far more than the buffers of both sockets and what a session may keep; without its bound all of it is taken.
constexpr std::size_t kMostSent = 128UL * 1024 * 1024;

// Frames that are cut and not looked into, one behind the other.
Bytes Frames(std::size_t count) {
    Bytes frame(kFrameSize, 0);
    frame.at(0) = kFrameSize;
    frame.at(1) = 0xFE;
    frame.at(2) = 0xFD;
    Bytes frames;
    for (std::size_t i = 0; i < count; ++i) {
        frames.insert(frames.end(), frame.begin(), frame.end());
    }
    return frames;
}

// A session that answers each frame with as many bytes, and the peer at its other end. The test's thread plays both.
class SessionTest : public testing::Test {
  protected:
    SessionTest() {
        tcp::acceptor acceptor(loop_, tcp::endpoint(asio::ip::address_v4::loopback(), 0));
        peer_.open(tcp::v4());
        peer_.connect(acceptor.local_endpoint());
        peer_.non_blocking(true);
        tcp::socket accepted = acceptor.accept();
        Session::Handlers handlers;
        handlers.received = [this](Session& session, const FrameCutter::Chunk& chunk) {
            ++received_;
            session.Send(chunk.bytes);
        };
        handlers.ended = [this](Session&, const std::string& reason) { reason_ = reason; };
        session_ = std::make_shared<Session>(std::move(accepted), 1, std::move(handlers));
        session_->Start();
    }

    // False when there is nothing for it to do.
    bool LetSessionWork() { return loop_.poll() > 0 || loop_.run_one_for(kQuiet) > 0; }

    // Sends frames until neither the session nor the kernel takes any more.
    void Flood() {
        const Bytes frames = Frames(1000);
        while (sent_ < kMostSent) {
            asio::error_code error;
            const std::size_t offset = sent_ % kFrameSize;
            sent_ += peer_.write_some(asio::buffer(frames) + offset, error);
            if (error && !LetSessionWork()) {
                return;
            }
        }
    }

    // Takes what the peer is sent until nothing more comes.
    std::size_t ReadAll() {
        std::vector<std::uint8_t> bytes(65536);
        std::size_t count = 0;
        asio::error_code error;
        while (!error || (error == asio::error::would_block && LetSessionWork())) {
            count += peer_.read_some(asio::buffer(bytes), error);
        }
        return count;
    }

    asio::io_context loop_;
    tcp::socket peer_{loop_};
    std::shared_ptr<Session> session_;
    std::size_t sent_ = 0;
    std::size_t received_ = 0;
    std::string reason_;
};

TEST_F(SessionTest, DoesNotReadFromAPeerThatDoesNotReadItsAnswers) {
    Flood();
    EXPECT_LT(sent_, kMostSent);
    EXPECT_GE(received_, 4096U);
}

TEST_F(SessionTest, ReadsOnWhenThePeerTakesItsAnswers) {
    Flood();
    EXPECT_EQ(ReadAll() / kFrameSize, sent_ / kFrameSize);
    EXPECT_EQ(received_, sent_ / kFrameSize);
}

TEST_F(SessionTest, EndsWhenThePeerGoesWithoutItsAnswers) {
    Flood();
    peer_.close();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (reason_.empty() && std::chrono::steady_clock::now() < end) {
        LetSessionWork();
    }
    EXPECT_NE(reason_, "");
}

// The rest of the peer's bytes would make it a reset, which takes away what the peer has yet to read.
TEST_F(SessionTest, EndsInOrderThoughAnswersAreLeftBehind) {
    Flood();
    session_->Close();
    EXPECT_GT(ReadAll(), 0U);
    asio::error_code error;
    std::uint8_t byte = 0;
    peer_.read_some(asio::buffer(&byte, 1), error);
    EXPECT_EQ(error, asio::error::eof);
}

}  // namespace
}  // namespace Simulator
