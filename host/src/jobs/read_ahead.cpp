#include "jobs/read_ahead.h"

#include <vorhost/conversion.h>

#include <csignal>
#include <utility>

namespace vor {

// Signals are the business of the program's own threads.
void ReadAhead::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    reader_ = std::thread([this] { read(); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void ReadAhead::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (reader_.joinable())
        reader_.join();
}

void ReadAhead::read() {
    for (;;) {
        Batch batch;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return stopping_ || waiting_.size() < most_waiting; });
            if (stopping_)
                return;
            if (!free_.empty()) {
                batch = std::move(free_.back());
                free_.pop_back();
            }
        }
        bool more = false;
        std::exception_ptr failure;
        try {
            more = source_.next(batch, most_rows_);
        } catch (...) {
            failure = std::current_exception();
        }
        const std::lock_guard lock(mutex_);
        if (more)
            waiting_.push_back(std::move(batch));
        at_end_ = !more;
        failure_ = failure;
        changed_.notify_all();
        if (!more)
            return;
    }
}

bool ReadAhead::next(Batch &batch, size_t /*most_rows*/) {
    if (!reader_.joinable())
        start();
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !waiting_.empty() || at_end_; });
    if (waiting_.empty()) {
        if (failure_)
            std::rethrow_exception(failure_);
        batch.start(description().variables, batch.first_row);
        return false;
    }
    std::swap(batch, waiting_.front());
    free_.push_back(std::move(waiting_.front()));
    waiting_.pop_front();
    changed_.notify_all();
    return true;
}

bool ReadAhead::rewind() {
    stop();
    reader_ = {};
    waiting_.clear();
    failure_ = nullptr;
    at_end_ = stopping_ = false;
    return source_.rewind();
}

std::unique_ptr<BatchSource> read_ahead(BatchSource &source, size_t most_rows) {
    return std::make_unique<ReadAhead>(source, most_rows);
}

} // namespace vor
