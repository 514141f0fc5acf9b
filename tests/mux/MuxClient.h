#pragma once

#include <string>

#include "tests/mux/JsonTimestamp.h"
#include "tests/support/TestClient.h"

namespace Testing {

// A client whose received texts have their time taken out.
class MuxClient : public TestClient {
  public:
    using TestClient::TestClient;

    std::string Receive() { return WithoutTimestamp(TestClient::Receive()); }
};

}  // namespace Testing
