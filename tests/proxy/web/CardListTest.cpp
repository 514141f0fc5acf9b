#include "proxy/web/CardList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TemporaryFolder.h"

namespace MuxProxy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using SystemTime = std::chrono::system_clock::time_point;

CardEntry EntryOf(std::int32_t gateway, std::int32_t lock, const std::string& card,
                  const std::string& label = "Anna's badge") {
    CardEntry entry;
    entry.lock = {gateway, lock};
    entry.card = card;
    entry.label = label;
    entry.client = "anna";
    entry.time = SystemTime(std::chrono::milliseconds(1700000000123));
    return entry;
}

// "1/5 04A1 Anna's badge".
std::string TextOf(const CardEntry& entry) {
    return std::to_string(entry.lock.gateway) + '/' + std::to_string(entry.lock.lock) + ' ' + entry.card + ' ' +
           entry.label;
}

class CardListTest : public testing::Test {
  protected:
    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const CardEntry& entry : list_->List()) {
            texts.push_back(TextOf(entry));
        }
        return texts;
    }

    void Reopen() {
        list_.reset();
        list_.emplace(file_);
    }

    // Why the list cannot be opened.
    std::string FaultOfOpening() {
        try {
            const CardList list(file_);
        } catch (const AuditFileError& error) {
            return error.what();
        }
        return "";
    }

    Testing::TemporaryFolder folder_;
    const std::string file_ = (folder_.Path() / "audit.sqlite.cards").string();
    std::optional<CardList> list_{file_};
};

TEST_F(CardListTest, KeepsWhatWasEntered) {
    const std::int64_t number = list_->Add(EntryOf(-7, 70000, "04A1B2"));
    Reopen();
    const std::vector<CardEntry> entries = list_->List();
    ASSERT_EQ(entries.size(), 1U);
    const CardEntry& entry = entries.front();
    EXPECT_EQ(entry.entry, number);
    EXPECT_EQ(TextOf(entry), "-7/70000 04A1B2 Anna's badge");
    EXPECT_EQ(entry.client, "anna");
    EXPECT_EQ(entry.time, SystemTime(std::chrono::milliseconds(1700000000123)));
    EXPECT_EQ(TextOf(list_->CardOf(number).value()), TextOf(entry));
    EXPECT_FALSE(list_->CardOf(number + 1));
}

TEST_F(CardListTest, ListsByGatewayAndLock) {
    list_->Add(EntryOf(2, 1, "01"));
    list_->Add(EntryOf(1, 5, "02"));
    list_->Add(EntryOf(1, 5, "01"));
    list_->Add(EntryOf(1, 4, "01"));
    EXPECT_THAT(Texts(), ElementsAre("1/4 01 Anna's badge", "1/5 02 Anna's badge", "1/5 01 Anna's badge",
                                     "2/1 01 Anna's badge"));
}

TEST_F(CardListTest, ACardThatIsThereGetsWhatIsNew) {
    const std::int64_t number = list_->Add(EntryOf(1, 5, "01"));
    list_->Add(EntryOf(1, 6, "01"));
    CardEntry again = EntryOf(1, 5, "01", "Otto's badge");
    again.client = "otto";
    again.time += std::chrono::seconds(1);
    EXPECT_EQ(list_->Add(again), number);
    EXPECT_THAT(Texts(), ElementsAre("1/5 01 Otto's badge", "1/6 01 Anna's badge"));
    const CardEntry entry = list_->CardOf(number).value();
    EXPECT_EQ(entry.client, "otto");
    EXPECT_EQ(entry.time, again.time);
}

TEST_F(CardListTest, RemovesACardOfOneLock) {
    list_->Add(EntryOf(1, 5, "01"));
    list_->Add(EntryOf(1, 6, "01"));
    list_->Add(EntryOf(2, 5, "01"));
    list_->Add(EntryOf(1, 5, "02"));
    EXPECT_TRUE(list_->Remove({1, 5}, "01"));
    EXPECT_FALSE(list_->Remove({1, 5}, "01"));
    EXPECT_THAT(Texts(), ElementsAre("1/5 02 Anna's badge", "1/6 01 Anna's badge", "2/5 01 Anna's badge"));
}

TEST_F(CardListTest, ClearsOneLock) {
    list_->Add(EntryOf(1, 5, "01"));
    list_->Add(EntryOf(1, 5, "02"));
    list_->Add(EntryOf(1, 6, "01"));
    list_->Add(EntryOf(2, 5, "01"));
    list_->Clear({1, 5});
    EXPECT_THAT(Texts(), ElementsAre("1/6 01 Anna's badge", "2/5 01 Anna's badge"));
}

TEST_F(CardListTest, ANumberNeverMeansAnotherCard) {
    const std::int64_t first = list_->Add(EntryOf(1, 5, "01"));
    list_->Clear({1, 5});
    Reopen();
    EXPECT_GT(list_->Add(EntryOf(1, 5, "02")), first);
    EXPECT_FALSE(list_->CardOf(first));
}

TEST_F(CardListTest, TakesTextsAsTheyAre) {
    list_->Add(EntryOf(1, 5, "01", "'); DROP TABLE cards; --"));
    list_->Add(EntryOf(1, 5, "02", "Schlüssel \"7\""));
    EXPECT_THAT(Texts(), ElementsAre("1/5 01 '); DROP TABLE cards; --", "1/5 02 Schlüssel \"7\""));
}

TEST_F(CardListTest, IsForOwnerAndGroup) {
    struct stat status {};
    ASSERT_EQ(stat(file_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0137U, 0U);
    EXPECT_EQ(status.st_mode & 0600U, 0600U);
}

TEST_F(CardListTest, IsForOneProcess) {
    EXPECT_EQ(FaultOfOpening(), file_ + ": is in use by another process");
}

TEST_F(CardListTest, RefusesOtherFiles) {
    list_.reset();
    {
        const Database database(file_, Database::Access::kReadWrite);
        database.Execute("PRAGMA user_version = 2");
    }
    EXPECT_EQ(FaultOfOpening(), file_ + ": has version 2 of the table, not 1");
    {
        const Database database(file_, Database::Access::kReadWrite);
        database.Execute("PRAGMA application_id = 1299543105");
    }
    EXPECT_EQ(FaultOfOpening(), file_ + ": is not a list of cards");
    std::ofstream(file_) << std::string(5000, 'x');
    EXPECT_EQ(FaultOfOpening(), file_ + ": file is not a database");
}

TEST_F(CardListTest, SaysThatItWasMoved) {
    std::filesystem::rename(file_, file_ + ".old");
    try {
        list_->Add(EntryOf(1, 5, "01"));
        ADD_FAILURE() << "no error";
    } catch (const AuditFileError& error) {
        EXPECT_EQ(error.what(), file_ + ": was moved or removed");
    }
    Reopen();
    EXPECT_THAT(Texts(), IsEmpty());
}

TEST_F(CardListTest, TakesTenThousandCards) {
    list_.reset();
    {
        const Database database(file_, Database::Access::kReadWrite);
        database.Execute(
            "WITH RECURSIVE numbers (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM numbers WHERE n < 9999)"
            "INSERT INTO cards (gateway, lock, card, label, client, time) SELECT 1, 6, n, '', '', 0 FROM numbers");
    }
    list_.emplace(file_);
    EXPECT_GT(list_->Add(EntryOf(1, 5, "01")), 9999);
    EXPECT_GT(list_->Add(EntryOf(1, 5, "01", "again")), 9999);
    try {
        list_->Add(EntryOf(1, 5, "02"));
        ADD_FAILURE() << "no error";
    } catch (const AuditFileError& error) {
        EXPECT_THAT(error.what(), HasSubstr(": is full: it has 10000 cards"));
    }
    EXPECT_TRUE(list_->Remove({1, 5}, "01"));
    EXPECT_GT(list_->Add(EntryOf(1, 5, "02")), 9999);
}

}  // namespace
}  // namespace MuxProxy
