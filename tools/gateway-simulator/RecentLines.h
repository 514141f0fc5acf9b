#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "tools/gateway-simulator/GatewayStatus.h"
#include "tools/gateway-simulator/LineOutput.h"

namespace Simulator {

// Keeps the latest lines for a screen that shows them when it is drawn.
//
// Any thread may call anything.
class RecentLines : public LineOutput {
  public:
    // Takes how many lines to keep.
    explicit RecentLines(std::size_t kept) : kept_(kept) {}

    void Write(const std::string& text) override;
    // Lines of keep-alive frames: only the latest request and its answer are kept, whatever else happens.
    LineOutput& KeepAlives() { return keepAlives_; }
    void Clear();

    // Oldest first.
    std::vector<RecentLine> Lines() const;

  private:
    class KeepAliveOutput : public LineOutput {
      public:
        explicit KeepAliveOutput(RecentLines& owner) : owner_(owner) {}
        void Write(const std::string& text) override { owner_.AddKeepAlive(text); }

      private:
        RecentLines& owner_;
    };

    void AddKeepAlive(const std::string& text);

    std::size_t kept_;
    KeepAliveOutput keepAlives_{*this};
    mutable std::mutex mutex_;
    std::deque<RecentLine> lines_;
};

}  // namespace Simulator
