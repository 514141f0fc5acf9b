#include "proxy/net/Aside.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace MuxProxy {
namespace {

using testing::ElementsAre;

TEST(AsideTest, DoesWhatWaitsBeforeItEnds) {
    boost::asio::io_context loop;
    std::vector<std::string> done;
    Aside aside(loop);
    for (const char* const work : {"first", "second", "third"}) {
        aside.Do([&done, work] { done.emplace_back(work); });
    }
    aside.Finish();
    EXPECT_THAT(done, ElementsAre("first", "second", "third"));
}

}  // namespace
}  // namespace MuxProxy
