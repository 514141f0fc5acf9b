#include "proxy/net/Turns.h"

#include <boost/asio/post.hpp>
#include <utility>

namespace MuxProxy {

void Turns::Ask(std::function<void()> step) {
    steps_.push_back(std::move(step));
    if (steps_.size() == 1) {
        CallNextFromLoop();
    }
}

// What is posted comes behind everything that is ready by then. The step stays in front while it runs, so that one that
// asks again does not start a second series.
void Turns::CallNextFromLoop() {
    boost::asio::post(loop_, [this] {
        steps_.front()();
        steps_.pop_front();
        if (!steps_.empty()) {
            CallNextFromLoop();
        }
    });
}

}  // namespace MuxProxy
