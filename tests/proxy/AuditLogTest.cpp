#include "proxy/audit/AuditLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "proxy/audit/Database.h"
#include "tests/proxy/AuditKit.h"
#include "tests/proxy/HostCalls.h"
#include "tests/support/Process.h"
#include "tests/support/WaitUntil.h"

namespace MuxProxy {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

struct AuditLogTest : testing::Test {
    // Rows of this time, as a flood of requests would bring them; returns when they are on disk.
    void Flood(AuditLog& log, int count, std::chrono::system_clock::time_point time) const {
        AuditRow row = OpeningBy("reception");
        row.time = time;
        row.result = "ack";
        row.remark = std::string(300, 'r');
        for (int number = 1; number <= count; ++number) {
            row.lock = number;
            if (number % 1000 == 0) {
                ASSERT_TRUE(AddAndWait(log, 0, row));
            } else {
                log.Add(0, row);
            }
        }
    }

    std::uintmax_t FileSize() const { return std::filesystem::file_size(folder.File()); }

    AuditFolder folder;
};

TEST_F(AuditLogTest, AnotherImplementationOfSqliteReadsIt) {
    AuditRow row = OpeningBy("reception");
    row.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1795185612345));
    row.operation = "whitelist-add";
    row.lock = -7;
    row.card = "04A1B2C3";
    AuditLog log(folder.Settings());
    log.Add(1, row);
    log.Finish(1, "nack", 8, std::chrono::milliseconds(301), "no route");
    ASSERT_TRUE(AddAndWait(log, 0, RowOf("mux", row.time)));
    const char* const script =
        "import sqlite3, sys\n"
        "connection = sqlite3.connect(sys.argv[1])\n"
        "for row in connection.execute('SELECT * FROM audit ORDER BY id'): print(row)\n"
        "print(connection.execute('PRAGMA integrity_check').fetchall())\n";
    const Testing::Ending ending = Testing::RunToEnd({"python3", "-c", script, folder.File()});
    EXPECT_EQ(
        ending.output,
        "(1, 1795185612345, 'request', 'reception', '127.0.0.1', 'whitelist-add', 1, -7, '*B2C3', 'nack', 8, 301, "
        "'no route')\n"
        "(2, 1795185612345, 'mux', '', '', '', None, None, '', '', 0, 0, '')\n"
        "[('ok',)]\n")
        << ending.error;
}

TEST_F(AuditLogTest, ARowIsOnDiskWhenItSaysSo) {
    AuditLog log(folder.Settings());
    for (RequestNumber number = 1; number <= 3; ++number) {
        const int before = DiskSyncCount();
        ASSERT_TRUE(AddAndWait(log, number, OpeningBy("reception")));
        EXPECT_GT(DiskSyncCount(), before);
        EXPECT_EQ(folder.Rows().size(), number);
    }
}

TEST_F(AuditLogTest, RowsThatComeDuringACommitShareTheNext) {
    AuditLog log(folder.Settings());
    std::promise<void> allAreThere;
    std::future<void> waiting = allAreThere.get_future();
    log.Add(1, OpeningBy("reception"), [&](bool) { waiting.wait(); });
    for (RequestNumber number = 2; number < 100; ++number) {
        log.Add(number, OpeningBy("reception"));
    }
    const int before = DiskSyncCount();
    allAreThere.set_value();
    ASSERT_TRUE(AddAndWait(log, 100, OpeningBy("gate")));
    EXPECT_LE(DiskSyncCount() - before, 5);
    EXPECT_EQ(folder.Rows().size(), 100U);
}

TEST_F(AuditLogTest, WritesNoPinAndOfACardItsLastDigits) {
    AuditRow event;
    event.kind = "event";
    event.gateway = 1;
    event.lock = 5;
    event.operation = "pin";
    event.card = "31415926";
    {
        AuditLog log(folder.Settings());
        log.Add(0, event);
        event.operation = "card";
        event.card = "04A1B2C3";
        log.Add(0, event);
        event.card = "C0DE";
        log.Add(0, event);
        ASSERT_TRUE(AddAndWait(log, 0, OpeningBy("reception")));
        EXPECT_THAT(folder.Rows(),
                    ElementsAre("event,,,pin,1,5,,,0,0,", "event,,,card,1,5,*B2C3,,0,0,", "event,,,card,1,5,*DE,,0,0,",
                                "request,reception,127.0.0.1,open,1,5,,,0,0,"));
        EXPECT_THAT(folder.Bytes(), AllOf(Not(HasSubstr("3141")), Not(HasSubstr("04A1"))));
    }
    EXPECT_THAT(folder.Bytes(), AllOf(Not(HasSubstr("3141")), Not(HasSubstr("04A1"))));
}

TEST_F(AuditLogTest, WritesWholeCardsIfTheSettingsSaySo) {
    AuditSettings settings = folder.Settings();
    AuditRow row;
    row.kind = "event";
    row.card = "04A1B2C3";
    AuditLog log(settings);
    settings.wholeCards = true;
    log.SetRetention(settings);
    ASSERT_TRUE(AddAndWait(log, 0, row));
    row.operation = "pin";
    ASSERT_TRUE(AddAndWait(log, 0, row));
    EXPECT_THAT(folder.Rows(), ElementsAre("event,,,,,,04A1B2C3,,0,0,", "event,,,pin,,,,,0,0,"));
}

TEST_F(AuditLogTest, CompletesARowLongAfterItWasWritten) {
    AuditLog log(folder.Settings());
    AuditRow row = OpeningBy("reception");
    row.remark = "at the door";
    ASSERT_TRUE(AddAndWait(log, 1, row));
    ASSERT_TRUE(AddAndWait(log, 2, OpeningBy("gate")));
    log.Finish(1, "ack", 0, std::chrono::milliseconds(250));
    ASSERT_TRUE(AddAndWait(log, 0, RowOf("proxy")));
    EXPECT_THAT(folder.Rows(), ElementsAre("request,reception,127.0.0.1,open,1,5,,ack,0,250,at the door",
                                           "request,gate,127.0.0.1,open,1,5,,,0,0,", "proxy,,,,,,,,0,0,"));
}

TEST_F(AuditLogTest, TheEndOfARequestThatAnEarlierProcessLeftIsUnknown) {
    {
        AuditLog log(folder.Settings());
        log.Add(1, OpeningBy("reception"));
        log.Add(2, OpeningBy("gate"));
        log.Finish(2, "ack", 0, std::chrono::milliseconds(250));
        log.Add(0, RowOf("event"));
    }
    const AuditLog log(folder.Settings());
    EXPECT_THAT(folder.Rows(), ElementsAre("request,reception,127.0.0.1,open,1,5,,unknown,0,0,",
                                           "request,gate,127.0.0.1,open,1,5,,ack,0,250,", "event,,,,,,,,0,0,"));
}

TEST_F(AuditLogTest, HasAllThatItReportedWhenTheProcessIsKilled) {
    for (int round = 0; round < 3; ++round) {
        const AuditFolder ofRound;
        const auto writeUntilKilled = [&ofRound] {
            AuditLog log(ofRound.Settings());
            for (RequestNumber number = 1;; ++number) {
                AuditRow row = OpeningBy("reception");
                row.remark = "number " + std::to_string(number);
                if (AddAndWait(log, number, row)) {
                    std::printf("number %d\n", static_cast<int>(number));
                    std::fflush(stdout);
                }
            }
        };
        // The child has the same buffer.
        std::fflush(stdout);
        Testing::Process process(writeUntilKilled);
        ASSERT_TRUE(process.WaitForOutput("number 50\n"));
        process.Signal(SIGKILL);
        process.WaitForExit();
        const AuditLog log(ofRound.Settings());
        const std::vector<std::string> rows = ofRound.Rows();
        const std::vector<std::string> reported = process.Lines();
        ASSERT_GE(rows.size(), reported.size());
        for (std::size_t row = 0; row < reported.size(); ++row) {
            EXPECT_EQ(rows[row], "request,reception,127.0.0.1,open,1,5,,unknown,0,0," + reported[row]);
        }
    }
}

std::string ReasonNotToOpen(const AuditSettings& settings) {
    try {
        const AuditLog log(settings);
        return "opened";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST_F(AuditLogTest, RefusesAFileThatIsNotAnAudit) {
    AuditSettings settings = folder.Settings();
    settings.file = folder.Folder().Write("text", std::string(5000, 'x'));
    EXPECT_EQ(ReasonNotToOpen(settings), settings.file + ": file is not a database");
    settings.file = (folder.Folder().Path() / "other").string();
    const char* const script = "import sqlite3, sys\nsqlite3.connect(sys.argv[1]).execute('CREATE TABLE t (a)')\n";
    Testing::RunToEnd({"python3", "-c", script, settings.file});
    EXPECT_EQ(ReasonNotToOpen(settings), settings.file + ": is not an audit file");
    settings.file = (folder.Folder().Path() / "missing" / "audit").string();
    EXPECT_EQ(ReasonNotToOpen(settings), settings.file + ": No such file or directory");
}

TEST_F(AuditLogTest, RefusesAFileThatAnotherProxyWrites) {
    const AuditLog log(folder.Settings());
    EXPECT_EQ(ReasonNotToOpen(folder.Settings()), folder.File() + ": is in use by another process");
}

TEST_F(AuditLogTest, OthersCannotReadIt) {
    const AuditLog log(folder.Settings());
    for (const auto& entry : std::filesystem::directory_iterator(folder.Folder().Path())) {
        const auto others = std::filesystem::perms::others_all;
        EXPECT_EQ(entry.status().permissions() & others, std::filesystem::perms::none) << entry.path();
    }
}

TEST_F(AuditLogTest, RemovesWhatIsTooOldAndGivesItsSpaceBack) {
    AuditLog log(folder.Settings());
    const auto now = std::chrono::system_clock::now();
    Flood(log, 20000, now - std::chrono::hours(48));
    ASSERT_TRUE(AddAndWait(log, 0, RowOf("proxy", now - std::chrono::hours(23))));
    ASSERT_GT(folder.Bytes().size(), 6 * kMebibyteOfFile);
    AuditSettings settings = folder.Settings();
    settings.days = 1;
    log.SetRetention(settings);
    EXPECT_TRUE(Testing::WaitUntil([this] { return FileSize() <= 2 * kMebibyteOfFile; }, std::chrono::seconds(60)));
    EXPECT_THAT(folder.Rows(), ElementsAre("proxy,,,,,,,,0,0,"));
}

TEST_F(AuditLogTest, ARowThatAWrongClockDatedKeepsItsTurn) {
    AuditSettings settings = folder.Settings();
    AuditLog log(settings);
    const auto now = std::chrono::system_clock::now();
    const std::chrono::hours day(24);
    for (const auto& [kind, time] : {std::pair("old", now - 2 * day),
                                     {"ahead", now + 1000 * day},
                                     {"old", now - 2 * day},
                                     {"young", now},
                                     {"back", now - 9000 * day}}) {
        ASSERT_TRUE(AddAndWait(log, 0, RowOf(kind, time)));
    }
    settings.days = 1;
    log.SetRetention(settings);
    EXPECT_TRUE(Testing::WaitUntil([this] { return folder.Rows().size() == 2; }));
    ASSERT_TRUE(AddAndWait(log, 0, RowOf("next")));
    ASSERT_TRUE(AddAndWait(log, 0, RowOf("last")));
    EXPECT_THAT(folder.Rows(),
                ElementsAre("back,,,,,,,,0,0,", "young,,,,,,,,0,0,", "next,,,,,,,,0,0,", "last,,,,,,,,0,0,"));
}

TEST_F(AuditLogTest, AClockThatWasSetRemovesNothing) {
    std::atomic<std::chrono::seconds> ahead{std::chrono::seconds(0)};
    AuditLimits limits;
    limits.clock = [&ahead] { return std::chrono::system_clock::now() + ahead.load(); };
    const auto addTwo = [&] {
        AuditLog log(folder.Settings(), limits);
        // The second comes when the first was written and what is too old was removed.
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(AddAndWait(log, 0, RowOf("row", limits.clock())));
        }
    };
    {
        AuditLog log(folder.Settings(), limits);
        ASSERT_TRUE(AddAndWait(log, 0, RowOf("before", limits.clock())));
        ahead = std::chrono::hours(24 * 1000);
        ASSERT_TRUE(AddAndWait(log, 0, RowOf("after", limits.clock())));
    }
    addTwo();
    EXPECT_THAT(folder.Rows(), ElementsAre(HasSubstr("before"), HasSubstr("after"),
                                           HasSubstr("clock-doubted,,,,,0,0,the clock moved by 86"), HasSubstr("row"),
                                           HasSubstr("row")));
    limits.clockDoubt = std::chrono::seconds(0);
    addTwo();
    EXPECT_THAT(folder.Rows(), Not(testing::Contains(HasSubstr("before"))));
}

TEST_F(AuditLogTest, AClockThatWasSetWhileNoProxyRanRemovesNothing) {
    const auto longAgo = std::chrono::system_clock::now() - std::chrono::hours(24 * 1000);
    AuditLimits limits;
    limits.clock = [&longAgo] { return longAgo; };
    ASSERT_TRUE(AddAndWait(*std::make_unique<AuditLog>(folder.Settings(), limits), 0, RowOf("before", longAgo)));
    AuditLog log(folder.Settings());
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(AddAndWait(log, 0, RowOf("row")));
    }
    EXPECT_THAT(folder.Rows(), ElementsAre(HasSubstr("before"), HasSubstr("seconds ahead of the newest row"),
                                           HasSubstr("row"), HasSubstr("row")));
}

TEST_F(AuditLogTest, KnowsTheNewestTimeThatAnEarlierProcessWrote) {
    const auto now = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    EXPECT_FALSE(AuditLog(folder.Settings()).NewestTimeAtStart());
    {
        AuditLog log(folder.Settings());
        for (const int hours : {-1, 23, -2, 25}) {
            ASSERT_TRUE(AddAndWait(log, 0, RowOf("row", now + std::chrono::hours(hours))));
        }
        EXPECT_FALSE(log.NewestTimeAtStart());
    }
    EXPECT_TRUE(AuditLog(folder.Settings()).NewestTimeAtStart() == now + std::chrono::hours(23));
}

TEST_F(AuditLogTest, RowsAboutDoorsStayLongest) {
    AuditSettings settings = folder.Settings();
    settings.mebibytes = 2;
    AuditLog log(settings);
    AuditRow row = OpeningBy("reception");
    row.result = "ack";
    ASSERT_TRUE(AddAndWait(log, 0, row));
    row.remark = std::string(300, 'r');
    for (int number = 1; number <= 20000; ++number) {
        row.lock = number;
        // Not fresh, not signed, or only asked.
        row.operation = number % 3 == 2 ? "status" : "open";
        row.errorCode = number % 3 == 2 ? 0 : number % 3 - 8;
        number % 1000 == 0 ? static_cast<void>(AddAndWait(log, 0, row)) : log.Add(0, row);
    }
    EXPECT_TRUE(Testing::WaitUntil([this] { return FileSize() <= 2 * kMebibyteOfFile; }, std::chrono::seconds(60)));
    const std::vector<std::string> rows = folder.Rows();
    EXPECT_THAT(rows.front(), HasSubstr("open,1,5"));
    EXPECT_THAT(rows.back(), HasSubstr("status,1,20000"));
    EXPECT_GT(rows.size(), 900U);
}

TEST_F(AuditLogTest, UpdatesTheIndexOfAnOlderVersion) {
    const auto index = [](const Database& database) {
        Statement statement = database.Prepare("SELECT sql FROM sqlite_schema WHERE name = 'auditOthers'");
        return statement.Step() ? statement.Text(0) : "";
    };
    ASSERT_TRUE(AddAndWait(*std::make_unique<AuditLog>(folder.Settings()), 0, RowOf("row")));
    const Database database(folder.File(), Database::Access::kReadWrite);
    const std::string wanted = index(database);
    EXPECT_THAT(wanted, HasSubstr("-8"));
    database.Execute("DROP INDEX auditOthers");
    database.Execute("CREATE INDEX auditOthers ON audit (id) WHERE kind <> 'request'");
    ASSERT_TRUE(AddAndWait(*std::make_unique<AuditLog>(folder.Settings()), 0, RowOf("row")));
    EXPECT_EQ(index(database), wanted);
}

TEST_F(AuditLogTest, RemovesTheOldestRowsWhenTheFileIsTooLarge) {
    AuditSettings settings = folder.Settings();
    settings.mebibytes = 2;
    AuditLog log(settings);
    Flood(log, 20000, std::chrono::system_clock::now());
    EXPECT_TRUE(Testing::WaitUntil(
        [this] {
            const std::vector<std::string> rows = folder.Rows();
            return rows.size() > 1000 && rows.size() < 7000 && FileSize() <= 2 * kMebibyteOfFile;
        },
        std::chrono::seconds(60)))
        << FileSize();
    EXPECT_THAT(folder.Rows().back(), HasSubstr("open,1,20000"));
}

TEST_F(AuditLogTest, MakesTheFileSmallerWhenItsReadersHaveGone) {
    AuditSettings settings = folder.Settings();
    AuditLog log(settings);
    Flood(log, 20000, std::chrono::system_clock::now());
    ASSERT_TRUE(Testing::WaitUntil([this] { return FileSize() > 4 * kMebibyteOfFile; }));
    {
        const Database reader(folder.File(), Database::Access::kReadOnly);
        reader.Execute("BEGIN");
        ASSERT_EQ(reader.Number("SELECT count(*) FROM audit"), 20000);
        settings.mebibytes = 2;
        log.SetRetention(settings);
        const Database other(folder.File(), Database::Access::kReadOnly);
        ASSERT_TRUE(
            Testing::WaitUntil([&] { return other.Number("PRAGMA page_count") <= 512; }, std::chrono::seconds(60)));
    }
    EXPECT_TRUE(Testing::WaitUntil([this] { return FileSize() <= 2 * kMebibyteOfFile; }, std::chrono::seconds(30)))
        << FileSize();
}

}  // namespace
}  // namespace MuxProxy
