#include "proxy/web/WebFiles.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <set>
#include <string_view>

namespace MuxProxy {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPaths[] = {"/", "/page.js", "/page.css", "/icon.svg"};
// Method deflate, no flags, and a time of 0, so that the same files give the same bytes.
constexpr std::string_view kGzipHead = "\x1f\x8b\x08\x00\x00\x00\x00\x00"sv;

TEST(WebFiles, EachFileIsFoundByItsPathAndCompressed) {
    for (const std::string_view path : kPaths) {
        const WebFile* const file = FindWebFile(path);
        ASSERT_NE(file, nullptr) << path;
        EXPECT_EQ(file->path, path);
        EXPECT_EQ(file->gzip.substr(0, kGzipHead.size()), kGzipHead) << path;
    }
}

TEST(WebFiles, TheirTypesAreWhatABrowserNeedsThatTrustsNothingElse) {
    EXPECT_EQ(FindWebFile("/")->type, "text/html; charset=utf-8");
    EXPECT_EQ(FindWebFile("/page.js")->type, "text/javascript; charset=utf-8");
    EXPECT_EQ(FindWebFile("/page.css")->type, "text/css; charset=utf-8");
    EXPECT_EQ(FindWebFile("/icon.svg")->type, "image/svg+xml");
}

TEST(WebFiles, OtherPathsAreNotFound) {
    for (const std::string_view path : {"", "page.js", "/page.js/", "/PAGE.JS", "/..", "//", "/index.html"}) {
        EXPECT_EQ(FindWebFile(path), nullptr) << path;
    }
}

TEST(WebFiles, TagsAreQuotedAndDiffer) {
    std::set<std::string_view> tags;
    for (const std::string_view path : kPaths) {
        const std::string_view tag = FindWebFile(path)->etag;
        EXPECT_EQ(tag.size(), 34U) << path;
        EXPECT_EQ(tag.front(), '"') << path;
        EXPECT_EQ(tag.back(), '"') << path;
        tags.insert(tag);
    }
    EXPECT_EQ(tags.size(), 4U);
}

TEST(WebFiles, TheWholePageHasAtMost60KiloBytes) {
    std::size_t sum = 0;
    for (const std::string_view path : kPaths) {
        sum += FindWebFile(path)->gzip.size();
    }
    EXPECT_LE(sum, 60'000U);
}

}  // namespace
}  // namespace MuxProxy
