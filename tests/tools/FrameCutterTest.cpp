#include "tools/gateway-simulator/FrameCutter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/Hex.h"

namespace Simulator {
namespace {

using Testing::FromHex;
using Testing::ToHex;

const std::string kFirst = "13 FE FD 0E 01 00 00 05 00 00 00 2A 00 00 01 02 05 75 32";
const std::string kSecond = "14 FE FD 0F 01 00 00 03 00 00 03 E9 00 00 00 05 00 00 D9 DC";

// All chunks that are ready, as "frame ..." and "junk ..." with a bar between.
std::string TakeAll(FrameCutter& cutter) {
    std::string all;
    for (auto chunk = cutter.Next(); chunk; chunk = cutter.Next()) {
        all += (all.empty() ? "" : " | ") + std::string(chunk->isFrame ? "frame " : "junk ") + ToHex(chunk->bytes);
    }
    return all;
}

TEST(FrameCutterTest, HandsOutAFrameOnceItsLastByteArrives) {
    FrameCutter cutter;
    const Bytes bytes = FromHex(kFirst);
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        cutter.Append({bytes.at(i)});
        ASSERT_EQ(TakeAll(cutter), "") << "after byte " << i;
    }
    cutter.Append({bytes.back()});
    EXPECT_EQ(TakeAll(cutter), "frame " + kFirst);
}

TEST(FrameCutterTest, KeepsTheBeginningOfTheNextFrame) {
    FrameCutter cutter;
    cutter.Append(FromHex(kFirst + "14 FE"));
    EXPECT_EQ(TakeAll(cutter), "frame " + kFirst);
    EXPECT_EQ(ToHex(cutter.Pending()), "14 FE");
    cutter.Append(FromHex(kSecond.substr(6)));
    EXPECT_EQ(TakeAll(cutter), "frame " + kSecond);
}

TEST(FrameCutterTest, TellsFramesAndJunkApart) {
    const std::string beginsWithMagic = "FE FE FD " + ToHex(Bytes(251, 0x11));
    const std::vector<std::pair<std::string, std::string>> rows = {
        {kFirst + kSecond + kFirst, "frame " + kFirst + " | frame " + kSecond + " | frame " + kFirst},
        {beginsWithMagic, "frame " + beginsWithMagic},
        {"DE AD BE EF" + kFirst, "junk DE AD BE EF | frame " + kFirst},
        // No length in front of the magic, or one that no frame has.
        {"FE FD 00 00" + kFirst, "junk FE FD 00 00 | frame " + kFirst},
        {"12 FE FD" + kFirst, "junk 12 FE FD | frame " + kFirst},
        {"00 FE FD" + kFirst, "junk 00 FE FD | frame " + kFirst},
        // The last byte may be a length, and the last two a length and the beginning of a magic.
        {"01 02 03", "junk 01 02"},
        {"01 02 FE", "junk 01"},
    };
    for (const auto& [bytes, chunks] : rows) {
        FrameCutter cutter;
        cutter.Append(FromHex(bytes));
        EXPECT_EQ(TakeAll(cutter), chunks);
    }
}

}  // namespace
}  // namespace Simulator
