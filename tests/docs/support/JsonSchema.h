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

    // docs/schema/NAME.schema.json, read once.
    static const JsonSchema& Named(const char* name);

  private:
    class Rules;
    std::unique_ptr<const Rules> rules_;
};

}  // namespace Documents
