#include "files/ordered_work.h"

#include <vorhost/files.h>

#include <algorithm>
#include <csignal>
#include <sched.h>
#include <system_error>
#include <utility>

namespace vor {

size_t machine_threads() {
    cpu_set_t cores;
    if (::sched_getaffinity(0, sizeof cores, &cores) == 0)
        return static_cast<size_t>(CPU_COUNT(&cores));
    return std::max(std::thread::hardware_concurrency(), 1U);
}

OrderedWork::OrderedWork(size_t threads, size_t most_in_flight)
    : most_workers_(std::clamp<size_t>(threads, 1, machine_threads()) - 1),
      most_in_flight_(std::max<size_t>(most_in_flight, 1)) {}

OrderedWork::~OrderedWork() {
    {
        const Lock lock(mutex_);
        ending_ = true;
    }
    submitted_.notify_all();
    for (std::thread &worker : workers_)
        worker.join();
}

void OrderedWork::submit(std::unique_ptr<Piece> piece) {
    if (failure_)
        std::rethrow_exception(failure_);
    Lock lock(mutex_);
    while (entries_.size() >= most_in_flight_)
        advance(lock);
    entries_.push_back({std::move(piece), nullptr, false});
    ++waiting_;
    if (most_workers_ == 0)
        work_on_next(lock);
    else if (idle_ >= waiting_)
        submitted_.notify_one();
    else if (workers_.size() < most_workers_)
        start_worker();
    while (!entries_.empty() && entries_.front().done)
        deliver_first(lock);
}

void OrderedWork::finish() {
    if (failure_)
        std::rethrow_exception(failure_);
    Lock lock(mutex_);
    while (!entries_.empty())
        advance(lock);
}

// Signals are the business of the program's own threads. Where the system gives no more threads, there are fewer.
void OrderedWork::start_worker() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        workers_.emplace_back([this] { serve(); });
    } catch (const std::system_error &) {
        most_workers_ = workers_.size();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void OrderedWork::serve() {
    Lock lock(mutex_);
    for (;;) {
        ++idle_;
        submitted_.wait(lock, [this] { return ending_ || waiting_ > 0; });
        --idle_;
        if (ending_)
            return;
        work_on_next(lock);
    }
}

// The first that waits: what is delivered next is worked on first.
void OrderedWork::work_on_next(Lock &lock) {
    Entry &entry = entries_[entries_.size() - waiting_]; // stays in its place until it is done
    --waiting_;
    lock.unlock();
    try {
        entry.piece->work();
    } catch (...) {
        entry.failure = std::current_exception();
    }
    lock.lock();
    entry.done = true;
    worked_.notify_one(); // none but the submitting thread waits for it
}

void OrderedWork::advance(Lock &lock) {
    if (entries_.front().done)
        deliver_first(lock);
    else if (waiting_ > 0)
        work_on_next(lock);
    else
        worked_.wait(lock, [this] { return entries_.front().done; });
}

void OrderedWork::deliver_first(Lock &lock) {
    const Entry first = std::move(entries_.front());
    entries_.pop_front();
    lock.unlock();
    try {
        if (first.failure)
            std::rethrow_exception(first.failure);
        first.piece->deliver();
    } catch (...) {
        failure_ = std::current_exception();
        throw;
    }
    lock.lock();
}

} // namespace vor
