#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "proxy/audit/AuditReader.h"
#include "proxy/net/Aside.h"
#include "proxy/web/WebExchange.h"

namespace MuxProxy {

// The audit on the page: pages of rows, newest first, and the same as CSV. For the network loop; the file is read on a
// thread beside it.
class WebAudit {
  public:
    static constexpr std::uint64_t kMostOfPage = 500;
    static constexpr std::uint64_t kMostOfDownload = 50000;

    // Further ones are refused while so many wait for the disk.
    static constexpr std::size_t kMostReading = 8;

    // The aside outlives it.
    WebAudit(std::string file, Aside& disk);

    // GET of "/api/audit" and "/api/audit.csv".
    void Show(const WebExchangePointer& exchange);
    void Download(const WebExchangePointer& exchange);

  private:
    // Reads beside the loop, and answers with what `read` returns, or that it cannot be read.
    void Read(const WebExchangePointer& exchange, std::function<HttpResponse()> read);

    const std::string file_;
    Aside& disk_;
    std::size_t reading_ = 0;
};

}  // namespace MuxProxy
