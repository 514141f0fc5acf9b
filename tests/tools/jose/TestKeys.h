#pragma once

#include <string>

// Keys for tests: that of RFC 7515, appendix A.3.
namespace Jose::Testing {

constexpr const char* kPublicNumbers = R"("kty":"EC","crv":"P-256","x":"f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU",)"
                                       R"("y":"x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0")";

constexpr const char* kPrivateNumber = R"("d":"jpsQnnGQmL-YBIffH1136cspYG6-0iY7X1fCE9-E9LI")";

inline std::string PublicJwk(const std::string& kid = "reception") {
    return std::string("{") + kPublicNumbers + R"(,"kid":")" + kid + "\"}";
}

inline std::string PrivateJwk(const std::string& kid = "reception") {
    return std::string("{") + kPublicNumbers + "," + kPrivateNumber + R"(,"kid":")" + kid + "\"}";
}

inline std::string SetOf(const std::string& keys) {
    return R"({"keys":[)" + keys + "]}";
}

}  // namespace Jose::Testing
