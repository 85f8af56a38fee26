// A source that is read on a thread of its own, while what it has delivered is worked on.
#pragma once

#include <vorhost/batch.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <thread>

namespace vor {

class ReadAhead : public BatchSource {
  public:
    // The source must stay in its place, and nobody else may use it before this is gone. most_rows: of every batch,
    // whatever is asked for. A failure of the source comes in its place among the batches.
    ReadAhead(BatchSource &source, size_t most_rows) : source_(source), most_rows_(most_rows) {}
    ~ReadAhead() override { stop(); }
    ReadAhead(const ReadAhead &) = delete;
    ReadAhead &operator=(const ReadAhead &) = delete;

    const DataSet &description() const override { return source_.description(); }
    bool next(Batch &batch, size_t most_rows) override;
    bool rewind() override;

  private:
    static constexpr size_t most_waiting = 1;

    void start();
    void stop();
    void read();

    BatchSource &source_;
    const size_t most_rows_;
    std::thread reader_;

    std::mutex mutex_; // of everything below
    std::condition_variable changed_;
    std::deque<Batch> waiting_; // in order
    std::deque<Batch> free_;    // whose memory is used again
    std::exception_ptr failure_;
    bool at_end_ = false;
    bool stopping_ = false;
};

} // namespace vor
