#pragma once

#include <memory>
#include <string>

namespace Documents {

// One of the JSON Schemas of docs/schema/.
//
// Immutable: any thread may check texts at any time. Independent of the daemon's own JSON code, whose assertions end
// the process for much of what is to be refused here.
class JsonSchema {
  public:
    // Reads docs/schema/NAME.schema.json. Throws std::runtime_error when there is no such file or it is no JSON.
    explicit JsonSchema(const std::string& name);
    ~JsonSchema();

    // Where the text breaks which rule; empty when it keeps all of them.
    std::string ViolationIn(const std::string& text) const;

    // The schemas, each read once.
    static const JsonSchema& Configuration();
    static const JsonSchema& Request();
    static const JsonSchema& Answer();
    static const JsonSchema& Event();
    static const JsonSchema& Simulator();
    static const JsonSchema& MqttCommand();
    static const JsonSchema& MqttSignedCommand();
    static const JsonSchema& MqttReply();
    static const JsonSchema& MqttEvent();
    static const JsonSchema& MqttResult();
    static const JsonSchema& MqttState();

  private:
    class Rules;
    std::unique_ptr<const Rules> rules_;
};

}  // namespace Documents
