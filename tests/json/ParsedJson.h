#pragma once

#include <gtest/gtest.h>

#include <string>

#include "json/RapidJson.h"

namespace Testing {

// The document that `text` says, read by the JSON library alone.
inline rapidjson::Document ParsedJson(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    EXPECT_FALSE(document.HasParseError()) << text;
    return document;
}

}  // namespace Testing
