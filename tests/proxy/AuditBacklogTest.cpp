// Which place in the file the row gets that tells that the file can be written again.

#include "proxy/audit/AuditBacklog.h"

#include <gtest/gtest.h>

#include "tests/proxy/AuditKit.h"

namespace MuxProxy {
namespace {

struct AuditBacklogTest : testing::Test {
    std::int64_t PlaceOfResuming() { return backlog.Resuming(RowOf("proxy")).back()->id; }

    AuditBacklog backlog{10};
};

TEST_F(AuditBacklogTest, ARowOfResumingThatCameIntoTheFileIsReplacedByTheNext) {
    const std::int64_t place = PlaceOfResuming();
    backlog.ContinueBehind(place, false);
    backlog.Add(0, RowOf("card"));
    EXPECT_EQ(PlaceOfResuming(), place);
}

TEST_F(AuditBacklogTest, ARowOfResumingThatIsNotInTheFileComesBehindWhatCameMeanwhile) {
    const std::int64_t place = PlaceOfResuming();
    const std::int64_t card = backlog.Add(0, RowOf("card"))->id;
    backlog.ContinueBehind(place - 1, false);
    EXPECT_GT(PlaceOfResuming(), card);
}

TEST_F(AuditBacklogTest, ARowOfResumingReplacesNoneOfAnotherFile) {
    const std::int64_t place = PlaceOfResuming();
    backlog.ContinueBehind(place + 5, true);
    EXPECT_GT(PlaceOfResuming(), place + 5);
}

TEST_F(AuditBacklogTest, EachTimeThatWasWrittenHasARowOfResumingOfItsOwn) {
    const std::int64_t place = PlaceOfResuming();
    backlog.Written();
    EXPECT_GT(PlaceOfResuming(), place);
}

}  // namespace
}  // namespace MuxProxy
