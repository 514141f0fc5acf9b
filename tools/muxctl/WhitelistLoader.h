#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "tools/client/Client.h"
#include "tools/muxctl/LoadJournal.h"
#include "tools/muxctl/LoadPlan.h"

namespace Muxctl {

// Sends the steps of a plan: to each gateway the next when the last is answered, to all gateways at the same time.
//
// A step without an answer is sent again, since a single request may meet a question of the Mux and go unanswered, and
// none of the steps does harm twice. After three times the gateway counts as silent. Refers to its arguments. For one
// thread.
class WhitelistLoader {
  public:
    WhitelistLoader(MuxClient::Client& client, LoadPlan& plan, LoadJournal& journal, std::chrono::milliseconds timeout);

    // Returns when no step is to do. Calls `whileWaiting` often. Throws as MuxClient::Client and the journal do; the
    // plan then says how far it came.
    void Run(const std::function<void()>& whileWaiting);

    // Steps that are not to do any more.
    std::size_t DoneCount() const;

  private:
    using Steps = std::vector<LoadStep*>;

    struct Queue {
        Steps steps;
        std::size_t next = 0;
        int tries = 0;
    };

    void SendNext(Queue& queue);
    void Take(Queue& queue, const std::optional<MuxClient::Message>& answer);
    void TakeSilence(Queue& queue, const std::string& reason);
    void TakeRefusal(Queue& queue, const MuxClient::Refusal& refusal);
    void Succeed(LoadStep& step, LoadStep::State state);

    MuxClient::Client& client_;
    LoadPlan& plan_;
    LoadJournal& journal_;
    std::chrono::milliseconds timeout_;
    std::map<std::int32_t, Queue> queues_;
    std::size_t waiting_ = 0;
};

}  // namespace Muxctl
