// The audit on a disk that is full, broken or hanging, and beside a journal that takes nothing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>

#include "proxy/audit/AuditLog.h"
#include "tests/proxy/AuditKit.h"
#include "tests/proxy/HostCalls.h"
#include "tests/support/Process.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/WaitUntil.h"

namespace MuxProxy {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::UnorderedElementsAre;

// While it lives, no file of this process can grow beyond this size.
struct FullDisk : Testing::ResourceLimit {
    explicit FullDisk(rlim_t bytes) : ResourceLimit(RLIMIT_FSIZE) { Set(bytes); }
};

struct AuditFailureTest : testing::Test {
    void ExpectWritableAgain() {
        EXPECT_TRUE(Testing::WaitUntil([this] { return log.IsWritable(); }));
    }

    // Several trials: what one writes may be in the file although it could not be brought to disk.
    static void AwaitTrials() {
        const int before = DiskSyncCount();
        EXPECT_TRUE(Testing::WaitUntil([&] { return DiskSyncCount() >= before + 10; }));
    }

    const AuditLimits limits{10, std::chrono::milliseconds(100)};
    AuditFolder folder;
    AuditLog log{folder.Settings(), limits};
};

TEST_F(AuditFailureTest, AFullDiskIsReportedAndTheRowsComeWhenThereIsRoomAgain) {
    ASSERT_TRUE(AddAndWait(log, 1, OpeningBy("first")));
    EXPECT_TRUE(log.IsWritable());
    {
        const FullDisk full(1000);
        EXPECT_FALSE(AddAndWait(log, 2, OpeningBy("second")));
        EXPECT_FALSE(log.IsWritable());
        log.Finish(1, "ack", 0, std::chrono::milliseconds(250));
        log.Finish(2, "not-audited", -6, std::chrono::milliseconds(3));
        EXPECT_FALSE(AddAndWait(log, 3, OpeningBy("third")));
    }
    ExpectWritableAgain();
    EXPECT_TRUE(AddAndWait(log, 4, OpeningBy("fourth")));
    EXPECT_THAT(folder.Rows(),
                ElementsAre("request,first,127.0.0.1,open,1,5,,ack,0,250,",
                            "request,second,127.0.0.1,open,1,5,,not-audited,-6,3,",
                            "proxy,,,audit-failed,,,,,0,0," + folder.File() + ": disk I/O error",
                            "request,third,127.0.0.1,open,1,5,,,0,0,", "proxy,,,audit-resumed,,,,,0,0,0 rows dropped",
                            "request,fourth,127.0.0.1,open,1,5,,,0,0,"));
}

TEST_F(AuditFailureTest, ARowThatDoesNotReachTheDiskIsNotReportedAsWritten) {
    {
        const BrokenDisk broken(BrokenDisk::Fault::kError);
        EXPECT_FALSE(AddAndWait(log, 1, OpeningBy("first")));
    }
    ExpectWritableAgain();
    EXPECT_TRUE(AddAndWait(log, 2, OpeningBy("second")));
    EXPECT_THAT(folder.Rows(), SizeIs(4));
}

TEST_F(AuditFailureTest, DropsAndCountsWhatItHasNoRoomFor) {
    {
        const BrokenDisk broken(BrokenDisk::Fault::kError);
        EXPECT_FALSE(AddAndWait(log, 1, OpeningBy("kept")));
        for (RequestNumber number = 2; number <= 30; ++number) {
            EXPECT_FALSE(AddAndWait(log, number, OpeningBy(number < 10 ? "kept" : "dropped")));
            log.Finish(number, "not-audited", -6, std::chrono::milliseconds(3));
        }
        AwaitTrials();
    }
    ExpectWritableAgain();
    EXPECT_TRUE(AddAndWait(log, 31, OpeningBy("next")));
    EXPECT_EQ(log.DroppedCount(), 21U);
    EXPECT_THAT(folder.Rows(),
                AllOf(SizeIs(12), Contains(HasSubstr("kept")).Times(9), Contains(HasSubstr(",21 rows dropped"))));
}

TEST_F(AuditFailureTest, AHangingDiskFillsNoMemory) {
    std::atomic<std::size_t> written{0};
    std::atomic<std::size_t> refused{0};
    {
        const BrokenDisk broken(BrokenDisk::Fault::kHanging);
        for (RequestNumber number = 1; number <= 50; ++number) {
            log.Add(number, OpeningBy("reception"), [&](bool isWritten) { ++(isWritten ? written : refused); });
            log.Finish(number, "ack", 0, std::chrono::milliseconds(250));
        }
    }
    ASSERT_TRUE(Testing::WaitUntil([&] { return written + refused == 50; }));
    EXPECT_GE(refused, 25U);
    EXPECT_EQ(log.DroppedCount(), refused);
    EXPECT_TRUE(Testing::WaitUntil([&] { return AddAndWait(log, 0, RowOf("proxy")); }));
    EXPECT_THAT(folder.Rows(), Contains(HasSubstr("open,1,5,,ack,0,250")).Times(written.load()));
}

TEST_F(AuditFailureTest, ANewFileTakesThePlaceOfOneThatWasRemoved) {
    ASSERT_TRUE(AddAndWait(log, 1, OpeningBy("first")));
    std::filesystem::rename(folder.File(), folder.File() + ".old");
    EXPECT_FALSE(AddAndWait(log, 2, OpeningBy("second")));
    ExpectWritableAgain();
    log.Finish(1, "ack", 0, std::chrono::milliseconds(250));
    EXPECT_TRUE(AddAndWait(log, 3, OpeningBy("third")));
    EXPECT_THAT(folder.Rows(),
                UnorderedElementsAre("request,second,127.0.0.1,open,1,5,,,0,0,",
                                     "proxy,,,audit-failed,,,,,0,0," + folder.File() + ": was moved or removed",
                                     "proxy,,,audit-resumed,,,,,0,0,0 rows dropped",
                                     "request,first,127.0.0.1,open,1,5,,ack,0,250,",
                                     "request,third,127.0.0.1,open,1,5,,,0,0,"));
    const char* const script =
        "import sqlite3, sys\n"
        "print(sqlite3.connect(sys.argv[1]).execute('SELECT client, result FROM audit').fetchall())\n";
    EXPECT_EQ(Testing::RunToEnd({"python3", "-c", script, folder.File() + ".old"}).output, "[('first', '')]\n");
}

TEST_F(AuditFailureTest, RowsOfAFileThatIsPutInItsPlaceStay) {
    const AuditFolder other;
    {
        AuditLog otherLog(other.Settings());
        ASSERT_TRUE(AddAndWait(otherLog, 0, RowOf("restored")));
    }
    ASSERT_TRUE(AddAndWait(log, 1, OpeningBy("first")));
    std::filesystem::rename(other.File(), folder.File());
    EXPECT_FALSE(AddAndWait(log, 2, OpeningBy("second")));
    log.Finish(1, "ack", 0, std::chrono::milliseconds(250));
    ExpectWritableAgain();
    EXPECT_TRUE(AddAndWait(log, 3, OpeningBy("third")));
    EXPECT_THAT(folder.Rows(), AllOf(Contains(HasSubstr("restored,,,")), Contains(HasSubstr("first")),
                                     Contains(HasSubstr("second")), Contains(HasSubstr("third"))));
}

TEST_F(AuditFailureTest, TheJournalGetsEachRowOnceItIsComplete) {
    RecordedJournal journal;
    AuditRow event;
    event.kind = "event";
    event.operation = "pin";
    event.gateway = 1;
    event.lock = 5;
    event.card = "31415926";
    log.Add(0, event);
    ASSERT_TRUE(AddAndWait(log, 1, OpeningBy("reception")));
    log.Finish(1, "nack", 8, std::chrono::milliseconds(301), "no route");
    ASSERT_TRUE(Testing::WaitUntil([&journal] { return journal.Calls().size() == 2; }));
    EXPECT_THAT(
        journal.Calls().front(),
        ElementsAre("MESSAGE=event pin gateway 1 lock 5", "PRIORITY=6", "SYSLOG_IDENTIFIER=mux-proxy",
                    "MUX_PROXY_KIND=event", "MUX_PROXY_OPERATION=pin", "MUX_PROXY_GATEWAY=1", "MUX_PROXY_LOCK=5"));
    EXPECT_THAT(journal.Calls().back(),
                ElementsAre("MESSAGE=request open gateway 1 lock 5 by reception from 127.0.0.1: nack (no route)",
                            "PRIORITY=4", "SYSLOG_IDENTIFIER=mux-proxy", "MUX_PROXY_KIND=request",
                            "MUX_PROXY_CLIENT=reception", "MUX_PROXY_ADDRESS=127.0.0.1", "MUX_PROXY_OPERATION=open",
                            "MUX_PROXY_GATEWAY=1", "MUX_PROXY_LOCK=5", "MUX_PROXY_RESULT=nack",
                            "MUX_PROXY_ERROR_CODE=8", "MUX_PROXY_MILLISECONDS=301", "MUX_PROXY_REMARK=no route"));
}

TEST_F(AuditFailureTest, TheJournalGetsTheReasonAtOnce) {
    const RecordedJournal journal;
    const BrokenDisk broken(BrokenDisk::Fault::kError);
    EXPECT_FALSE(AddAndWait(log, 1, OpeningBy("first")));
    ASSERT_TRUE(Testing::WaitUntil([&journal] { return journal.Calls().size() == 1; }));
    EXPECT_THAT(journal.Calls().front(),
                AllOf(Contains("PRIORITY=4"), Contains("MUX_PROXY_REMARK=" + folder.File() + ": disk I/O error")));
}

TEST_F(AuditFailureTest, AHangingJournalDelaysNoRow) {
    RecordedJournal journal(RecordedJournal::State::kHanging);
    for (int row = 0; row < 3; ++row) {
        EXPECT_TRUE(AddAndWait(log, 0, RowOf("proxy")));
    }
    EXPECT_THAT(journal.Calls(), SizeIs(0));
    journal.Continue();
    EXPECT_TRUE(Testing::WaitUntil([&journal] { return journal.Calls().size() == 3; }));
}

TEST_F(AuditFailureTest, AHangingJournalDoesNotHoldUpTheEnd) {
    RecordedJournal journal(RecordedJournal::State::kHanging);
    const AuditFolder other;
    auto otherLog = std::make_unique<AuditLog>(other.Settings());
    ASSERT_TRUE(AddAndWait(*otherLog, 0, RowOf("proxy")));
    std::future<void> end = std::async(std::launch::async, [&otherLog] { otherLog.reset(); });
    EXPECT_EQ(end.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    // What the log left behind ends before the recording does.
    journal.Continue();
    EXPECT_TRUE(Testing::WaitUntil([&journal] { return journal.Calls().size() == 1; }));
}

}  // namespace
}  // namespace MuxProxy
