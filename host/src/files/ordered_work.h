// Work on other threads, delivered in order.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vor {

// A queue of pieces of work. The thread that made it submits them, finishes and destroys it; that thread delivers them,
// too, and helps where it would have to wait. Other threads come when there is work for them.
class OrderedWork {
  public:
    class Piece {
      public:
        virtual ~Piece() = default;
        virtual void work() = 0;    // on any thread, at the same time as that of other pieces
        virtual void deliver() = 0; // after work, in the order of submission
    };

    // threads: at work at once, with the one that submits, but no more than the machine has cores; 1: each piece is
    // worked on and delivered as it is submitted.
    // most_in_flight: pieces that are submitted and not delivered, at least 1; bounds the memory that they hold.
    OrderedWork(size_t threads, size_t most_in_flight);

    // Waits for the pieces that are being worked on; what was not delivered goes.
    ~OrderedWork();
    OrderedWork(const OrderedWork &) = delete;
    OrderedWork &operator=(const OrderedWork &) = delete;

    // Takes a piece and delivers those that are ready. What work or deliver threw passes through in its place in the
    // order; nothing later is delivered, and every further call throws it again.
    void submit(std::unique_ptr<Piece> piece);

    // Delivers all pieces. Throws as submit does.
    void finish();

  private:
    struct Entry {
        std::unique_ptr<Piece> piece;
        std::exception_ptr failure; // what work threw
        bool done = false;          // worked on
    };
    using Lock = std::unique_lock<std::mutex>;

    void start_worker();
    void serve();
    void work_on_next(Lock &lock);
    void advance(Lock &lock);
    void deliver_first(Lock &lock);

    size_t most_workers_;
    size_t most_in_flight_;
    std::exception_ptr failure_; // what submit or finish threw
    std::vector<std::thread> workers_;

    std::mutex mutex_; // of everything below
    std::condition_variable submitted_;
    std::condition_variable worked_;
    std::deque<Entry> entries_; // in order: some that a thread has taken, then `waiting_` that none has
    size_t waiting_ = 0;
    size_t idle_ = 0; // workers without work
    bool ending_ = false;
};

} // namespace vor
