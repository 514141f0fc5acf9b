#include "proxy/audit/AuditReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "proxy/audit/AuditCommand.h"
#include "proxy/audit/AuditLog.h"
#include "tests/proxy/AuditKit.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Process.h"

namespace MuxProxy {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

// 2026-11-20 14:40:12.345 in UTC.
const std::chrono::system_clock::time_point kAfternoon{std::chrono::milliseconds(1795185612345)};

struct AuditReaderTest : testing::Test {
    void Write(const std::vector<AuditRow>& rows) const {
        AuditLog log(folder.Settings());
        RequestNumber number = 0;
        for (const AuditRow& row : rows) {
            log.Add(++number, row);
        }
    }

    // An opening at the gate's lock, an event a minute later, and a request under way.
    void WriteSomeRows() const {
        AuditRow opening = OpeningBy("reception");
        opening.time = kAfternoon;
        opening.result = "nack";
        opening.errorCode = 8;
        opening.elapsed = std::chrono::milliseconds(301);
        opening.remark = "no route";
        AuditRow event;
        event.time = kAfternoon + std::chrono::minutes(1);
        event.kind = "event";
        event.operation = "card";
        event.gateway = 2;
        event.lock = 65535;
        event.card = "04A1B2C3";
        AuditRow left;
        left.kind = "connection";
        left.operation = "left";
        left.client = "gate, \"south\"";
        left.address = "::1";
        left.time = kAfternoon + std::chrono::minutes(2);
        Write({opening, event, left});
    }

    std::string Output(AuditQuery query = {}) const {
        query.file = folder.File();
        query.isUtc = true;
        std::ostringstream output;
        EXPECT_EQ(RunAudit(query, output), 0);
        return output.str();
    }

    // Prints the audit as the command line asks for.
    std::string OutputOf(std::vector<std::string> words) const {
        CLI::App app;
        const AuditCommand command = AddAuditCommand(app, [this] { return folder.File(); });
        // The library takes them last first.
        std::reverse(words.begin(), words.end());
        words.emplace_back("audit");
        app.parse(words);
        EXPECT_TRUE(command.app->parsed());
        std::ostringstream output;
        EXPECT_EQ(command.run(output), 0);
        return output.str();
    }

    AuditFolder folder;
};

TEST_F(AuditReaderTest, PrintsAnAlignedTable) {
    WriteSomeRows();
    EXPECT_EQ(
        Output(),
        "TIME                 KIND        CLIENT         ADDRESS    OPERATION  GATEWAY  LOCK   CARD   RESULT  MS   "
        "REMARK\n"
        "2026-11-20 14:40:12  request     reception      127.0.0.1  open       1        5             nack 8  301  "
        "no route\n"
        "2026-11-20 14:41:12  event                                 card       2        65535  *B2C3\n"
        "2026-11-20 14:42:12  connection  gate, \"south\"  ::1        left\n");
}

TEST_F(AuditReaderTest, SaysWhichRequestsAreUnderWay) {
    AuditLog log(folder.Settings());
    ASSERT_TRUE(AddAndWait(log, 1, OpeningBy("reception")));
    EXPECT_THAT(Output(), HasSubstr("open       1        5           under way\n"));
}

TEST_F(AuditReaderTest, PrintsJsonLines) {
    WriteSomeRows();
    AuditQuery query;
    query.format = AuditFormat::kJson;
    EXPECT_EQ(
        Output(query),
        R"({"id":1,"time":"2026-11-20T14:40:12.345Z","kind":"request","client":"reception","address":"127.0.0.1",)"
        R"("operation":"open","gateway":1,"lock":5,"card":"","result":"nack","errorCode":8,"milliseconds":301,)"
        R"("remark":"no route"})"
        "\n"
        R"({"id":2,"time":"2026-11-20T14:41:12.345Z","kind":"event","client":"","address":"","operation":"card",)"
        R"("gateway":2,"lock":65535,"card":"*B2C3","result":"","errorCode":0,"milliseconds":0,"remark":""})"
        "\n"
        R"({"id":3,"time":"2026-11-20T14:42:12.345Z","kind":"connection","client":"gate, \"south\"",)"
        R"("address":"::1","operation":"left","gateway":null,"lock":null,"card":"","result":"","errorCode":0,)"
        R"("milliseconds":0,"remark":""})"
        "\n");
}

TEST_F(AuditReaderTest, PrintsCsvThatAnotherImplementationReads) {
    WriteSomeRows();
    AuditQuery query;
    query.format = AuditFormat::kCsv;
    const std::string output = Output(query);
    EXPECT_THAT(output, StartsWith("id,time,kind,client,address,operation,gateway,lock,card,result,errorCode,"
                                   "milliseconds,remark\r\n1,2026-11-20T14:40:12.345Z,request,reception,"));
    Testing::ProcessSetup setup;
    setup.input = output;
    const char* const script =
        "import csv, io, sys\n"
        "text = io.TextIOWrapper(sys.stdin.buffer, newline='')\n"
        "for row in csv.DictReader(text, strict=True): print(row['id'], row['client'], row['remark'], len(row))\n";
    EXPECT_EQ(Testing::RunToEnd({"python3", "-c", script}, setup).output,
              "1 reception no route 13\n2   13\n3 gate, \"south\"  13\n");
}

TEST_F(AuditReaderTest, KeepsBytesFromTheTerminalThatAreNotText) {
    AuditRow row = OpeningBy("re\x1B[2Jception\xFF");
    row.remark = std::string("two\nlines\0", 10);
    Write({row});
    for (const AuditFormat format : {AuditFormat::kTable, AuditFormat::kJson, AuditFormat::kCsv}) {
        AuditQuery query;
        query.format = format;
        EXPECT_THAT(Output(query), AllOf(HasSubstr("re?[2Jception\xEF\xBF\xBD"), HasSubstr("two?lines?")));
    }
}

struct Selection {
    std::vector<std::string> words;
    // Identifiers of the rows.
    std::vector<std::string> ids;
};

TEST_F(AuditReaderTest, SelectsRows) {
    WriteSomeRows();
    const std::vector<Selection> selections = {
        {{}, {"1", "2", "3"}},
        {{"--lock", "5"}, {"1"}},
        {{"--lock", "-5"}, {}},
        {{"--gateway", "2"}, {"2"}},
        {{"--client", "gate, \"south\""}, {"3"}},
        {{"--kind", "event"}, {"2"}},
        {{"--result", "nack"}, {"1"}},
        {{"--result", ""}, {"2", "3"}},
        {{"--client", "reception", "--kind", "event"}, {}},
        {{"--limit", "2"}, {"2", "3"}},
        {{"--limit", "1", "--gateway", "1"}, {"1"}},
        {{"--limit", "0"}, {"1", "2", "3"}},
        {{"--since", "2026-11-20 14:41"}, {"2", "3"}},
        {{"--since", "2026-11-20 14:41:13"}, {"3"}},
        {{"--until", "2026-11-20 14:42"}, {"1", "2"}},
        {{"--since", "2026-11-20", "--until", "2026-11-21"}, {"1", "2", "3"}},
        {{"--since", "2026-11-20", "--limit", "1"}, {"3"}},
        {{"--until", "2026-11-20"}, {}},
    };
    for (const Selection& selection : selections) {
        std::vector<std::string> words = selection.words;
        words.insert(words.end(), {"--csv", "--utc"});
        std::istringstream lines(OutputOf(words));
        std::vector<std::string> ids;
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line)) {
            ids.push_back(line.substr(0, line.find(',')));
        }
        EXPECT_EQ(ids, selection.ids) << testing::PrintToString(selection.words);
    }
}

std::string ReasonNotToPrint(const std::vector<std::string>& words) {
    CLI::App app;
    const AuditCommand command = AddAuditCommand(app, [] { return std::string(); });
    std::vector<const char*> arguments = {"mux-proxy", "audit"};
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    try {
        app.parse(static_cast<int>(arguments.size()), arguments.data());
        return "";
    } catch (const CLI::ParseError& error) {
        return error.what();
    }
}

TEST_F(AuditReaderTest, RefusesWrongOptions) {
    EXPECT_EQ(ReasonNotToPrint({"--lock", "010"}), "--lock: must be a decimal integer (no leading zeros), not 010");
    EXPECT_EQ(ReasonNotToPrint({"--lock", "2147483648"}),
              "--lock: must be a decimal integer (no leading zeros), not 2147483648");
    EXPECT_EQ(ReasonNotToPrint({"--limit", "-1"}), "--limit: must be a decimal integer (no leading zeros), not -1");
    EXPECT_EQ(ReasonNotToPrint({"--since", "tomorrow"}),
              "--since: must be a time such as 2026-11-20, \"2026-11-20 14:30\", 14:30, today, yesterday, now or "
              "\"2 hours ago\", not tomorrow");
    EXPECT_EQ(ReasonNotToPrint({"--json", "--csv"}), "--json excludes --csv");
}

TEST_F(AuditReaderTest, PrintsManyRowsInTheOrderOfTheirTimes) {
    AuditRow row = OpeningBy("reception");
    std::vector<AuditRow> rows;
    for (int second = 0; second < 2500; ++second) {
        row.time = kAfternoon + std::chrono::seconds(second % 2 == 0 ? second / 2 : 3000 - second / 2);
        rows.push_back(row);
    }
    Write(rows);
    AuditQuery query;
    query.format = AuditFormat::kCsv;
    std::istringstream lines(Output(query));
    std::vector<std::string> times;
    for (std::string line; std::getline(lines, line);) {
        times.push_back(line.substr(line.find(',') + 1, 24));
    }
    ASSERT_EQ(times.size(), 2501U);
    EXPECT_TRUE(std::is_sorted(times.begin() + 1, times.end()));
    EXPECT_THAT(folder.Rows(), SizeIs(2500));
}

TEST_F(AuditReaderTest, ReadsAFileThatNobodyWritesInAFolderThatItMayNotChange) {
    WriteSomeRows();
    EXPECT_FALSE(std::filesystem::exists(folder.File() + "-wal"));
    const auto readAsAnother = [this] {
        std::filesystem::permissions(folder.File(), std::filesystem::perms(0444));
        std::filesystem::permissions(folder.Folder().Path(), std::filesystem::perms(0555));
        constexpr uid_t kNobody = 65534;
        if (geteuid() == 0 && setuid(kNobody) != 0) {
            std::abort();
        }
        std::printf("%s", Output().c_str());
    };
    const Testing::ChildResult result = Testing::RunInChild(folder.Folder().Path(), readAsAnother);
    std::filesystem::permissions(folder.Folder().Path(), std::filesystem::perms(0755));
    EXPECT_EQ(result.exitStatus, Testing::kBodyReturned);
    EXPECT_THAT(result.output, HasSubstr(Output()));
}

std::string ReasonNotToRead(const std::string& file) {
    AuditQuery query;
    query.file = file;
    std::ostringstream output;
    try {
        RunAudit(query, output);
        return output.str();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

TEST_F(AuditReaderTest, SaysWhyItCannotRead) {
    EXPECT_EQ(ReasonNotToRead(folder.File()), folder.File() + ": No such file or directory");
    const std::string text = folder.Folder().Write("text", std::string(5000, 'x'));
    EXPECT_EQ(ReasonNotToRead(text), text + ": file is not a database");
    EXPECT_FALSE(std::filesystem::exists(folder.File()));
}

TEST_F(AuditReaderTest, SaysWhenTheOutputCannotBeWritten) {
    WriteSomeRows();
    AuditQuery query;
    query.file = folder.File();
    std::ostream output(nullptr);
    EXPECT_THROW(RunAudit(query, output), std::runtime_error);
}

}  // namespace
}  // namespace MuxProxy
