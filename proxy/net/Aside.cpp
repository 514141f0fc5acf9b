#include "proxy/net/Aside.h"

#include <boost/asio/post.hpp>
#include <system_error>
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
    const auto end = [this] { boost::asio::post(loop_, [this] { Ended(); }); };
    try {
        thread_ = StartSilentThread([work = works_.front().work, end] {
            work();
            end();
        });
    } catch (const std::system_error&) {
        works_.front().work();
        end();
    }
}

void Aside::Ended() {
    const std::function<void()> done = std::move(works_.front().done);
    works_.pop_front();
    if (!works_.empty()) {
        Start();
    }
    if (done) {
        done();
    }
}

void Aside::Finish() {
    if (thread_.joinable()) {
        thread_.join();
    }
    for (bool isFirst = true; !works_.empty(); isFirst = false) {
        if (!isFirst) {
            works_.front().work();
        }
        works_.pop_front();
    }
}

}  // namespace MuxProxy
