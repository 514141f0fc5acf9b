// The examples of the books and the schemas say the same.

#include <gtest/gtest.h>

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
    const JsonSchema& (*schema)();
    Verdict verdict;
    // Examples of the other verdict.
    std::vector<std::string> exceptions;
};

const std::vector<SchemaRow> kRows = {
    {"client-protocol.md", "request", JsonSchema::Request, Verdict::kFits, {"cut-duration", "unknown-code", "no-card"}},
    {"client-protocol.md", "answer", JsonSchema::Answer, Verdict::kFits, {}},
    {"client-protocol.md", "event", JsonSchema::Event, Verdict::kFits, {}},
    {"client-protocol.md", "silent", JsonSchema::Request, Verdict::kIsRefused, {}},
    {"client-protocol.md", "fatal", JsonSchema::Request, Verdict::kIsRefused, {}},
    {"configuration.md", "configuration", JsonSchema::Configuration, Verdict::kFits, {}},
    {"configuration.md", "odd-configuration", JsonSchema::Configuration, Verdict::kIsRefused, {}},
    {"configuration.md", "fatal-configuration", JsonSchema::Configuration, Verdict::kIsRefused, {}},
    // One file for both the Mux and the simulator.
    {"configuration.md", "configuration", JsonSchema::Simulator, Verdict::kFits, {}},
    {"simulator.md", "simulator", JsonSchema::Simulator, Verdict::kFits, {}},
    {"fleet.md", "command", JsonSchema::MqttCommand, Verdict::kFits, {}},
    {"fleet.md", "signed-command", JsonSchema::MqttCommand, Verdict::kFits, {}},
    {"fleet.md", "signed-command", JsonSchema::MqttSignedCommand, Verdict::kFits, {}},
    {"fleet.md", "command", JsonSchema::MqttSignedCommand, Verdict::kIsRefused, {}},
    {"fleet.md", "reply", JsonSchema::MqttReply, Verdict::kFits, {}},
    {"fleet.md", "event", JsonSchema::MqttEvent, Verdict::kFits, {}},
    {"fleet.md", "result", JsonSchema::MqttResult, Verdict::kFits, {}},
    {"fleet.md", "state", JsonSchema::MqttState, Verdict::kFits, {}},
    {"simulator.md", "bad-simulator", JsonSchema::Simulator, Verdict::kIsRefused, {}},
};

bool IsException(const SchemaRow& row, const std::string& name) {
    for (const std::string& exception : row.exceptions) {
        if (exception == name) {
            return true;
        }
    }
    return false;
}

void ExpectVerdict(const SchemaRow& row, const Example& example) {
    const bool expectedToFit = (row.verdict == Verdict::kFits) != IsException(row, example.name);
    const std::string violation = row.schema().ViolationIn(example.text);
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
