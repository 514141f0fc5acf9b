#pragma once

#include <string>

namespace SystemTest {

// What runs between the Mux and the others is held against the schemas of docs/schema/, in every test: each text that a
// client gets, each configuration, and each request of a table. Any thread.

// Records a failure unless a text from the Mux is an answer or an event by its schema. What begins no JSON object is
// left to the test that asked for it.
void ExpectAnswerOrEvent(const std::string& received);

// Records a failure unless this is a configuration by its schema.
void ExpectConfiguration(const std::string& text);

// Whether the schema of requests takes the text, and what it has against it.
enum class ByRequestSchema { kFits, kIsRefused };
void ExpectRequest(const std::string& text, ByRequestSchema verdict);

}  // namespace SystemTest
