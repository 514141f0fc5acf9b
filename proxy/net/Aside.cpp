#include "proxy/net/Aside.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "proxy/audit/SilentThread.h"

namespace MuxProxy {

Aside::~Aside() {
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Aside::Do(std::function<void()> work, std::function<void()> done) {
    works_.push_back({std::move(work), std::move(done)});
    if (works_.size() == 1) {
        Start();
    }
}

void Aside::Start() {
    if (thread_.joinable()) {
        thread_.join();
    }
    thread_ = StartSilentThread([this, work = works_.front().work] {
        work();
        boost::asio::post(loop_, [this] {
            const std::function<void()> done = std::move(works_.front().done);
            works_.pop_front();
            if (!works_.empty()) {
                Start();
            }
            if (done) {
                done();
            }
        });
    });
}

}  // namespace MuxProxy
