#include "tests/tools/muxctl/FakeMux.h"

#include <gtest/gtest.h>

namespace Muxctl {
namespace {

constexpr std::size_t kHeaderSize = 6;

std::size_t IdStart(const std::string& request) {
    const std::string mark = R"("MessageID":")";
    const std::size_t found = request.find(mark);
    return found == std::string::npos ? request.size() : found + mark.size();
}

}  // namespace

std::string FakeMux::ReceiveText() {
    const Testing::LoopbackSocket::Bytes header = client_.Receive(kHeaderSize);
    if (header.size() < kHeaderSize) {
        return "(nothing)";
    }
    EXPECT_EQ(std::string(header.begin() + 2, header.end()), "MUXM");
    const std::size_t length = header.at(0) + 256U * header.at(1);
    const Testing::LoopbackSocket::Bytes text = client_.Receive(length - kHeaderSize);
    return {text.begin(), text.end()};
}

void FakeMux::Answer(const std::string& request, int code, const std::string& data) {
    Send(R"({"Timestamp":1700000000,"MessageID":")" + IdIn(request) + R"(","MessageCode":)" + std::to_string(code) +
         R"(,"Data":)" + data + "}");
}

std::string FakeMux::AnswerNext(int code, const std::string& data) {
    std::string request = ReceiveText();
    Answer(request, code, data);
    return request;
}

std::vector<std::string> FakeMux::AnswerAll() {
    std::vector<std::string> requests;
    for (std::string request = ReceiveText(); request != "(nothing)"; request = ReceiveText()) {
        Answer(request, 0, kAckData);
        requests.push_back(request);
    }
    return requests;
}

std::string IdIn(const std::string& request) {
    const std::size_t start = IdStart(request);
    const std::size_t end = request.find('"', start);
    return end == std::string::npos ? "" : request.substr(start, end - start);
}

std::string BehindTheIdIn(const std::string& request) {
    const std::size_t start = IdStart(request) + IdIn(request).size() + 2;
    return start < request.size() ? request.substr(start) : "";
}

}  // namespace Muxctl
