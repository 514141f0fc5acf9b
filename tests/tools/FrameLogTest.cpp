#include "tools/gateway-simulator/FrameLog.h"

#include <gtest/gtest.h>

#include <numeric>

namespace Simulator {
namespace {

ReceivedFrame FrameOf(std::size_t size, std::uint8_t byte) {
    ReceivedFrame frame;
    frame.bytes = Bytes(size, byte);
    return frame;
}

std::size_t BytesIn(const std::vector<ReceivedFrame>& frames) {
    return std::accumulate(frames.begin(), frames.end(), std::size_t{0},
                           [](std::size_t sum, const ReceivedFrame& frame) { return sum + frame.bytes.size(); });
}

TEST(FrameLogTest, KeepsTheLatestFrames) {
    FrameLog log;
    for (std::size_t i = 0; i < FrameLog::kKept; ++i) {
        log.Add(FrameOf(255, 1));
    }
    EXPECT_EQ(log.Snapshot().size(), FrameLog::kKept);
    log.Add(FrameOf(19, 2));
    EXPECT_EQ(log.Snapshot().size(), FrameLog::kKept);
    EXPECT_EQ(log.Snapshot().back().bytes, Bytes(19, 2));
    EXPECT_EQ(log.Count(), FrameLog::kKept + 1);
}

TEST(FrameLogTest, KeepsNoMoreJunkThanFrames) {
    FrameLog log;
    for (std::size_t i = 0; i < 5000; ++i) {
        log.Add(FrameOf(4096, 1));
    }
    log.Add(FrameOf(4096, 2));
    // 65536 * 255 / 4096 is 4080 exactly.
    EXPECT_EQ(log.Snapshot().size(), 4080U);
    EXPECT_EQ(BytesIn(log.Snapshot()), 16'711'680U);
    EXPECT_EQ(log.Snapshot().back().bytes, Bytes(4096, 2));
    EXPECT_EQ(log.Count(), 5001U);
}

}  // namespace
}  // namespace Simulator
