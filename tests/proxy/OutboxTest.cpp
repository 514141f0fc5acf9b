// Messages that wait for the broker in the audit's file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <cstdio>

#include "proxy/audit/AuditLog.h"
#include "proxy/audit/Database.h"
#include "tests/proxy/AuditKit.h"
#include "tests/proxy/HostCalls.h"
#include "tests/support/Process.h"
#include "tests/support/WaitUntil.h"

namespace MuxProxy {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

OutboxMessage MessageOf(const std::string& payload) {
    OutboxMessage message;
    message.topic = "reply";
    message.payload = payload;
    return message;
}

// For events and requests, as the proxy does.
std::optional<OutboxMessage> MessageForRow(const AuditRow& row) {
    if (row.kind != "event" && row.kind != "request") {
        return std::nullopt;
    }
    OutboxMessage message;
    message.time = row.time;
    message.topic = row.kind;
    message.payload = row.client + ' ' + row.result + row.remark;
    return message;
}

struct OutboxTest : testing::Test {
    OutboxTest() { hooks.makeMessage = &MessageForRow; }

    std::unique_ptr<AuditLog> Open(const AuditSettings& settings) const {
        return std::make_unique<AuditLog>(settings, limits, hooks);
    }
    std::unique_ptr<AuditLog> Open() const { return Open(folder.Settings()); }

    static OutboxMessages Read(AuditLog& log, std::int64_t after = 0, std::size_t count = 1000000) {
        const auto promise = std::make_shared<std::promise<OutboxMessages>>();
        std::future<OutboxMessages> messages = promise->get_future();
        log.ReadMessages(after, count, [promise](OutboxMessages read) { promise->set_value(std::move(read)); });
        return messages.get();
    }

    static std::vector<std::string> Payloads(const OutboxMessages& messages) {
        std::vector<std::string> payloads;
        for (const OutboxMessage& message : messages) {
            payloads.push_back(message.payload);
        }
        return payloads;
    }

    std::int64_t CountInFile() const {
        return Database(folder.File(), Database::Access::kReadOnly).Number("SELECT count(*) FROM outbox");
    }

    AuditLimits limits;
    AuditHooks hooks;
    AuditFolder folder;
};

TEST_F(OutboxTest, AnotherImplementationOfSqliteReadsIt) {
    const auto log = Open();
    AuditRow row = OpeningBy("reception");
    row.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1795185612345));
    row.result = "ack";
    ASSERT_TRUE(AddAndWait(*log, 0, row));
    OutboxMessage reply = MessageOf("done");
    reply.time = row.time;
    reply.correlationData = std::string("\0\xFF", 2);
    log->Post(reply);
    ASSERT_THAT(Read(*log), SizeIs(2));
    const char* const script =
        "import sqlite3, sys\n"
        "connection = sqlite3.connect(sys.argv[1])\n"
        "for row in connection.execute('SELECT * FROM outbox ORDER BY number'): print(row)\n"
        "print(connection.execute('PRAGMA user_version').fetchall(), connection.execute('PRAGMA integrity_check')"
        ".fetchall())\n";
    const Testing::Ending ending = Testing::RunToEnd({"python3", "-c", script, folder.File()});
    EXPECT_EQ(ending.output,
              "(1, 1795185612345, 'request', 'reception ack', b'')\n"
              "(2, 1795185612345, 'reply', 'done', b'\\x00\\xff')\n"
              "[(1,)] [('ok',)]\n")
        << ending.error;
}

TEST_F(OutboxTest, ReadsMessagesInOrder) {
    const auto log = Open();
    for (const char* const payload : {"a", "b", "c", "d"}) {
        log->Post(MessageOf(payload));
    }
    EXPECT_THAT(Payloads(Read(*log, 0, 3)), ElementsAre("a", "b", "c"));
    const OutboxMessages last = Read(*log, Read(*log, 0, 2).back().number);
    EXPECT_THAT(Payloads(last), ElementsAre("c", "d"));
    EXPECT_THAT(Read(*log, last.back().number), IsEmpty());
}

TEST_F(OutboxTest, GivesBackWhatItGot) {
    const auto log = Open();
    OutboxMessage message = MessageOf("payload \xC3\xA4");
    message.time = std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    message.correlationData = std::string("a\0\xFE", 3);
    log->Post(message);
    const OutboxMessage read = Read(*log).at(0);
    EXPECT_EQ(read.topic, "reply");
    EXPECT_EQ(read.payload, message.payload);
    EXPECT_EQ(read.correlationData, message.correlationData);
    EXPECT_EQ(read.time, message.time);
}

TEST_F(OutboxTest, HasAMessageForEachRowOnceItIsComplete) {
    const auto log = Open();
    ASSERT_TRUE(AddAndWait(*log, 1, OpeningBy("reception")));
    ASSERT_TRUE(AddAndWait(*log, 0, RowOf("event")));
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre(" "));
    log->Finish(1, "nack", 8, std::chrono::milliseconds(301), ", no route");
    ASSERT_TRUE(AddAndWait(*log, 0, RowOf("mux")));
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre(" ", "reception nack, no route"));
}

TEST_F(OutboxTest, AFileWithoutOneGetsItWithoutChangingItsVersion) {
    ASSERT_TRUE(AddAndWait(*std::make_unique<AuditLog>(folder.Settings()), 0, RowOf("before")));
    const auto tables = [this] {
        const Database database(folder.File(), Database::Access::kReadOnly);
        return database.Number("SELECT count(*) FROM sqlite_schema WHERE type = 'table'");
    };
    EXPECT_EQ(tables(), 1);
    {
        const auto log = Open();
        log->Post(MessageOf("a"));
        EXPECT_THAT(Payloads(Read(*log)), ElementsAre("a"));
    }
    EXPECT_GT(tables(), 1);
    const AuditLog without(folder.Settings());
    EXPECT_THAT(folder.Rows(), ElementsAre(HasSubstr("before")));
}

TEST_F(OutboxTest, AMessageKeepsItsIdAndNoOtherGetsIt) {
    std::string id;
    std::int64_t number = 0;
    {
        const auto log = Open();
        log->Post(MessageOf("first"));
        const OutboxMessage message = Read(*log).at(0);
        id = message.id;
        number = message.number;
        EXPECT_THAT(id, MatchesRegex("[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}-1"));
    }
    {
        const auto log = Open();
        EXPECT_EQ(Read(*log).at(0).id, id);
        log->RemoveMessages(number);
    }
    EXPECT_EQ(CountInFile(), 0);
    const auto log = Open();
    log->Post(MessageOf("second"));
    EXPECT_EQ(Read(*log).at(0).id, id.substr(0, id.size() - 1) + "2");
}

TEST_F(OutboxTest, RemovesWhatTheBrokerHas) {
    const auto log = Open();
    for (const char* const payload : {"a", "b", "c"}) {
        log->Post(MessageOf(payload));
    }
    log->RemoveMessages(Read(*log).at(1).number);
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre("c"));
    EXPECT_TRUE(Testing::WaitUntil([&] { return CountInFile() == 1 && log->WaitingMessages() == 1; }));
}

TEST_F(OutboxTest, ARemovalGoesWithTheNextCommit) {
    const auto log = Open();
    log->Post(MessageOf("a"));
    const std::int64_t number = Read(*log).at(0).number;
    const int before = DiskSyncCount();
    log->RemoveMessages(number);
    ASSERT_TRUE(AddAndWait(*log, 0, RowOf("proxy")));
    EXPECT_EQ(CountInFile(), 0);
    EXPECT_LE(DiskSyncCount() - before, 2);
}

TEST_F(OutboxTest, SaysThatThereAreNewMessagesWhenTheyAreInTheFile) {
    std::atomic<std::int64_t> inFile{0};
    hooks.messagesAdded = [&] { inFile = CountInFile(); };
    const auto log = Open();
    ASSERT_TRUE(AddAndWait(*log, 0, RowOf("mux")));
    log->Post(MessageOf("a"));
    EXPECT_TRUE(Testing::WaitUntil([&] { return inFile == 1; }));
}

TEST_F(OutboxTest, DropsTheOldestMessagesBeyondItsBound) {
    hooks.mostMessages = 600;
    {
        const auto log = Open();
        for (int number = 1; number <= 1700; ++number) {
            log->Post(MessageOf(std::to_string(number)));
        }
        ASSERT_TRUE(Testing::WaitUntil([&] { return log->DroppedMessages() == 1100; }));
        EXPECT_THAT(Payloads(Read(*log)), AllOf(SizeIs(600), Contains("1101"), Contains("1700")));
        EXPECT_EQ(log->WaitingMessages(), 600U);
        const std::string isReported = "messages for the broker dropped";
        EXPECT_TRUE(Testing::WaitUntil([&] { return !folder.Rows().empty(); }));
        log->Post(MessageOf("one more"));
        ASSERT_TRUE(Testing::WaitUntil([&] { return log->DroppedMessages() == 1101; }));
        ASSERT_TRUE(AddAndWait(*log, 0, RowOf("mux")));
        EXPECT_THAT(folder.Rows(), ElementsAre(HasSubstr(isReported), HasSubstr("mux"))) << "one a minute";
    }
    EXPECT_THAT(folder.Rows().back(), HasSubstr("messages-dropped"));
}

TEST_F(OutboxTest, DropsMessagesThatWaitTooLong) {
    const auto log = Open();
    const auto now = std::chrono::system_clock::now();
    for (const int hours : {24 * 8, 24 * 8, 24 * 6, 24 * 8, 0}) {
        OutboxMessage message = MessageOf(std::to_string(hours));
        message.time = now - std::chrono::hours(hours);
        log->Post(message);
    }
    EXPECT_TRUE(Testing::WaitUntil([&] { return log->DroppedMessages() == 2; }));
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre("144", "192", "0")) << "none overtakes another";
}

TEST_F(OutboxTest, KeepsMessagesForEver) {
    hooks.messageTime = std::chrono::hours(24) * 200000;
    const auto log = Open();
    OutboxMessage message = MessageOf("a");
    message.time -= std::chrono::hours(24 * 3000);
    log->Post(message);
    ASSERT_THAT(Read(*log), SizeIs(1));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(AddAndWait(*log, 0, RowOf("mux")));
    }
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre("a"));
}

TEST_F(OutboxTest, AClockThatWasSetDropsNothing) {
    std::atomic<std::chrono::seconds> ahead{std::chrono::seconds(0)};
    limits.clock = [&ahead] { return std::chrono::system_clock::now() + ahead.load(); };
    const auto log = Open();
    log->Post(MessageOf("before"));
    ASSERT_THAT(Read(*log), SizeIs(1));
    ahead = std::chrono::hours(24 * 1000);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(AddAndWait(*log, 0, RowOf("mux", limits.clock())));
    }
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre("before"));
}

TEST_F(OutboxTest, WhatWaitsForTheBrokerCostsNoRowAboutDoors) {
    AuditSettings settings = folder.Settings();
    settings.mebibytes = 2;
    limits.mostPosts = 5000;
    const auto log = Open(settings);
    AuditRow row = OpeningBy("reception");
    row.kind = "connection";
    ASSERT_TRUE(AddAndWait(*log, 0, row));
    for (int number = 0; number < 5000; ++number) {
        log->Post(MessageOf(std::string(1000, 'm')));
    }
    const std::int64_t last = Read(*log).back().number;
    // A removal of rows would come before the answer.
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(AddAndWait(*log, 0, row));
    }
    EXPECT_THAT(folder.Rows(), SizeIs(4));
    log->RemoveMessages(last);
    EXPECT_TRUE(Testing::WaitUntil([this] { return std::filesystem::file_size(folder.File()) <= 2 * kMebibyteOfFile; },
                                   std::chrono::seconds(30)));
    EXPECT_THAT(folder.Rows(), SizeIs(4));
}

TEST_F(OutboxTest, OnABrokenDiskMessagesWaitWithTheirRows) {
    limits = {10, std::chrono::milliseconds(100)};
    limits.mostPosts = 3;
    std::atomic<int> completedRows{0};
    hooks.rowCompleted = [&](const AuditRow& row) { completedRows += row.kind == "event" ? 1 : 0; };
    const auto log = Open();
    {
        const BrokenDisk broken(BrokenDisk::Fault::kError);
        for (int i = 0; i < 2; ++i) {
            EXPECT_FALSE(AddAndWait(*log, 0, RowOf("event")));
        }
        for (const char* const payload : {"a", "b", "c", "d"}) {
            log->Post(MessageOf(payload));
        }
        EXPECT_EQ(log->DroppedMessages(), 1U);
        EXPECT_TRUE(Testing::WaitUntil([&] { return completedRows == 2; })) << "also while the disk fails";
    }
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre(" ", " ", "a", "b", "c"));
    log->Post(MessageOf("e"));
    EXPECT_THAT(Payloads(Read(*log)), Contains("e"));
}

TEST_F(OutboxTest, CountsTheMessagesOfRowsThatAreDropped) {
    limits = {3, std::chrono::milliseconds(100)};
    const auto log = Open();
    const BrokenDisk broken(BrokenDisk::Fault::kError);
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(AddAndWait(*log, 0, RowOf("event")));
    }
    EXPECT_FALSE(AddAndWait(*log, 0, RowOf("mux")));
    EXPECT_EQ(log->DroppedMessages(), 3U) << "beside the two events and the fault that wait";
}

TEST_F(OutboxTest, CountsTheMessagesOfRowsThatComeWhileTheDiskHangs) {
    limits.mostWaiting = 10;
    const auto log = Open();
    std::atomic<std::size_t> written{0};
    std::atomic<std::size_t> refused{0};
    {
        const BrokenDisk broken(BrokenDisk::Fault::kHanging);
        for (RequestNumber number = 1; number <= 50; ++number) {
            const auto count = [&](bool isWritten) { ++(isWritten ? written : refused); };
            if (number % 2 == 0) {
                log->Add(0, RowOf("event"), count);
            } else {
                log->Add(number, OpeningBy("reception"), count);
                log->Finish(number, "ack", 0, std::chrono::milliseconds(3));
            }
        }
    }
    ASSERT_TRUE(Testing::WaitUntil([&] { return written + refused == 50; }));
    EXPECT_GE(refused, 25U);
    EXPECT_EQ(log->DroppedMessages(), refused);
}

TEST_F(OutboxTest, InAnotherFileMessagesGetOtherIds) {
    limits.betweenTrials = std::chrono::milliseconds(100);
    const auto log = Open();
    log->Post(MessageOf("first"));
    const OutboxMessage first = Read(*log).at(0);
    log->RemoveMessages(first.number);
    std::filesystem::rename(folder.File(), folder.File() + ".old");
    log->Post(MessageOf("second"));
    const OutboxMessage second = Read(*log).at(0);
    EXPECT_EQ(second.payload, "second");
    EXPECT_GT(second.number, first.number) << "whoever reads goes on behind the last number";
    EXPECT_NE(second.id.substr(0, 36), first.id.substr(0, 36));
}

TEST_F(OutboxTest, WhatWaitedInAFileThatComesBackIsReadBehindTheRest) {
    limits.betweenTrials = std::chrono::milliseconds(100);
    std::atomic<int> announced{0};
    hooks.messagesAdded = [&] { ++announced; };
    OutboxMessages old;
    OutboxMessages last;
    {
        const auto log = Open();
        log->Post(MessageOf("old 1"));
        log->Post(MessageOf("old 2"));
        old = Read(*log);
        std::filesystem::rename(folder.File(), folder.File() + ".old");
        log->Post(MessageOf("other"));
        const std::int64_t removed = Read(*log, old.back().number).at(0).number;
        log->RemoveMessages(removed);
        ASSERT_TRUE(Testing::WaitUntil([this] { return CountInFile() == 0; }));
        const int before = announced;
        std::filesystem::rename(folder.File() + ".old", folder.File());
        ASSERT_FALSE(AddAndWait(*log, 0, RowOf("mux")));
        EXPECT_TRUE(Testing::WaitUntil([&] { return announced > before; }));
        last = Read(*log, removed);
        ASSERT_THAT(Payloads(last), ElementsAre("old 1", "old 2"));
        EXPECT_NE(last.front().id.substr(0, 36), old.front().id.substr(0, 36)) << "a copy may have used them";
        log->RemoveMessages(last.back().number);
    }
    const auto log = Open();
    log->Post(MessageOf("next"));
    EXPECT_GT(Read(*log).at(0).number, last.back().number);
}

TEST_F(OutboxTest, HasTheMessageOfEachRowWhenTheProcessIsKilled) {
    const auto writeUntilKilled = [this] {
        const auto log = Open();
        for (RequestNumber number = 1;; ++number) {
            log->Add(number, OpeningBy("reception"));
            log->Finish(number, "ack", 0, std::chrono::milliseconds(3), std::to_string(number));
            if (AddAndWait(*log, 0, RowOf("mux"))) {
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
    const auto log = Open();
    const OutboxMessages messages = Read(*log);
    ASSERT_GE(messages.size(), 50U);
    AuditQuery completed;
    completed.result = "ack";
    EXPECT_EQ(folder.Rows(completed).size(), messages.size());
    for (std::size_t i = 0; i < messages.size(); ++i) {
        EXPECT_EQ(messages[i].payload, "reception ack" + std::to_string(i + 1));
    }
}

TEST_F(OutboxTest, ARequestThatAnEarlierProcessLeftHasAMessage) {
    ASSERT_TRUE(AddAndWait(*Open(), 1, OpeningBy("reception")));
    const auto log = Open();
    EXPECT_THAT(Payloads(Read(*log)), ElementsAre("reception unknown"));
}

TEST_F(OutboxTest, CountsTheRowsOfTheFile) {
    hooks = {};
    hooks.countsRows = true;
    AuditSettings settings = folder.Settings();
    const auto countIs = [](const AuditLog& log, std::uint64_t count) {
        return Testing::WaitUntil([&] { return log.RowCount() == count; }, std::chrono::seconds(30));
    };
    const auto addMany = [](AuditLog& log, std::chrono::system_clock::time_point time) {
        for (int number = 1; number <= 12000; ++number) {
            if (number % 1000 == 0) {
                ASSERT_TRUE(AddAndWait(log, 0, RowOf("mux", time)));
            } else {
                log.Add(0, RowOf("mux", time));
            }
        }
    };
    {
        const auto log = Open();
        EXPECT_TRUE(countIs(*log, 0));
        addMany(*log, std::chrono::system_clock::now() - std::chrono::hours(48));
        EXPECT_TRUE(countIs(*log, 12000));
    }
    const auto log = Open();
    EXPECT_TRUE(countIs(*log, 12000)) << "of an earlier process";
    ASSERT_TRUE(AddAndWait(*log, 1, OpeningBy("reception")));
    log->Finish(1, "ack", 0, std::chrono::milliseconds(3));
    EXPECT_TRUE(countIs(*log, 12001)) << "a completed row is one";
    EXPECT_GT(log->FileBytes(), 500000U);
    settings.days = 1;
    log->SetRetention(settings);
    EXPECT_TRUE(countIs(*log, 1));
    EXPECT_EQ(folder.Rows().size(), 1U);
}

}  // namespace
}  // namespace MuxProxy
