#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace ledgerfern {

/// Runs one piece of work at a time, in the order in which they came, each on the thread that brings it.
class SerialQueue {
public:
    explicit SerialQueue(std::string label) : label_(std::move(label)) {}
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    /// Waits for its turn, runs `work` and returns its value; an exception passes through. Work that calls it
    /// on the queue that it runs on would wait for itself, which is a fault.
    template <class Work>
    decltype(auto) sync(Work&& work) {
        const Turn turn(*this);
        return std::forward<Work>(work)();
    }

    /// How many pieces of work wait for their turn at this moment.
    std::uint64_t waitingCount() const;

private:
    struct Turn {
        explicit Turn(SerialQueue& owner) : queue(owner) { queue.begin(); }
        ~Turn() { queue.end(); }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        SerialQueue& queue;
    };

    void begin();
    void end();

    const std::string label_;
    mutable std::mutex mutex_;
    std::condition_variable turnEnded_;
    std::uint64_t nextTicket_ = 0;  // guarded by mutex_, as are the two below
    std::uint64_t served_ = 0;      // the ticket whose turn it is
    std::thread::id owner_;         // the thread whose work runs, if any
};

}  // namespace ledgerfern
