// The examples of the books and the schemas say the same.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/docs/support/Book.h"
#include "tests/docs/support/JsonSchema.h"

namespace {

using Documents::Book;
using Documents::Example;
using Documents::JsonSchema;

enum class Verdict { kFits, kIsRefused };

struct SchemaRow {
    const char* book;
    const char* kind;
    const char* schema;
    Verdict verdict;
    // Examples of the other verdict.
    std::vector<std::string> exceptions;
};

const std::vector<SchemaRow> kRows = {
    {"client-protocol.md", "request", "request", Verdict::kFits, {"cut-duration", "unknown-code", "no-card"}},
    {"client-protocol.md", "answer", "answer", Verdict::kFits, {}},
    {"client-protocol.md", "event", "event", Verdict::kFits, {}},
    {"client-protocol.md", "silent", "request", Verdict::kIsRefused, {}},
    {"client-protocol.md", "fatal", "request", Verdict::kIsRefused, {}},
    {"configuration.md", "configuration", "configuration", Verdict::kFits, {}},
    {"configuration.md", "odd-configuration", "configuration", Verdict::kIsRefused, {}},
    {"configuration.md", "fatal-configuration", "configuration", Verdict::kIsRefused, {}},
    // One file for both the Mux and the simulator.
    {"configuration.md", "configuration", "simulator", Verdict::kFits, {}},
    {"simulator.md", "simulator", "simulator", Verdict::kFits, {}},
    {"fleet.md", "command", "mqtt-command", Verdict::kFits, {}},
    {"fleet.md", "signed-command", "mqtt-command", Verdict::kFits, {}},
    {"fleet.md", "signed-command", "mqtt-signed-command", Verdict::kFits, {}},
    {"fleet.md", "command", "mqtt-signed-command", Verdict::kIsRefused, {}},
    {"fleet.md", "reply", "mqtt-reply", Verdict::kFits, {}},
    {"fleet.md", "event", "mqtt-event", Verdict::kFits, {}},
    {"fleet.md", "result", "mqtt-result", Verdict::kFits, {}},
    {"fleet.md", "state", "mqtt-state", Verdict::kFits, {}},
    {"simulator.md", "bad-simulator", "simulator", Verdict::kIsRefused, {}},
};

void ExpectVerdict(const SchemaRow& row, const Example& example) {
    const bool isException = std::count(row.exceptions.begin(), row.exceptions.end(), example.name) != 0;
    const bool expectedToFit = (row.verdict == Verdict::kFits) != isException;
    const std::string violation = JsonSchema::Named(row.schema).ViolationIn(example.text);
    EXPECT_EQ(violation.empty(), expectedToFit) << example.kind << " " << example.name << ": " << violation;
}

TEST(SchemasAndBooks, JudgeEveryExampleAlike) {
    for (const SchemaRow& row : kRows) {
        const std::vector<Example> examples = Book(row.book).OfKind(row.kind);
        EXPECT_FALSE(examples.empty()) << row.book << " " << row.kind;
        for (const Example& example : examples) {
            ExpectVerdict(row, example);
        }
    }
}

}  // namespace
