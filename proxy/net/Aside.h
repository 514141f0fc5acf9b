#pragma once

#include <boost/asio/io_context.hpp>
#include <deque>
#include <functional>
#include <thread>

namespace MuxProxy {

// Does what may wait for the disk on a thread of its own, one after the other, so that the network loop does not. For
// the network loop.
class Aside {
  public:
    // The loop outlives it.
    explicit Aside(boost::asio::io_context& loop) : loop_(loop) {}
    // Waits for what is under way; what was to follow is left out, but for what Finish() did. The loop runs no more.
    ~Aside();
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;

    // `work` runs on that thread; it must not throw, and what it captures must outlive this object. `done` is called
    // from the loop afterwards, and never copied to that thread. If no thread can be started, `work` is done at once,
    // in the place of waiting for ever.
    void Do(std::function<void()> work, std::function<void()> done = {});

    // Waits for what is under way and does what was to follow, without calling `done`. The loop runs no more.
    void Finish();

  private:
    struct Work {
        std::function<void()> work;
        std::function<void()> done;
    };

    void Start();
    void Ended();

    boost::asio::io_context& loop_;
    // What is under way, and what waits for it.
    std::deque<Work> works_;
    std::thread thread_;
};

}  // namespace MuxProxy
