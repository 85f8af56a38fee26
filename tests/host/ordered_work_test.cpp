// Pieces of work: all of them, in order, on the right thread, and none behind a failure.
#include "files/ordered_work.h"

#include <atomic>
#include <gtest/gtest.h>
#include <stdexcept>

namespace vor::test {
namespace {

constexpr int pieces = 300;

struct Outcome {
    std::thread::id submitter = std::this_thread::get_id();
    std::vector<int> delivered;
    std::atomic<int> alive = 0;
    int most_alive = 0;
};

enum class Fault { none, in_work, in_delivery };

class TestPiece : public OrderedWork::Piece {
  public:
    TestPiece(Outcome &outcome, int number, Fault fault) : outcome_(outcome), number_(number), fault_(fault) {
        outcome_.most_alive = std::max(outcome_.most_alive, ++outcome_.alive);
    }
    ~TestPiece() override { --outcome_.alive; }

    void work() override {
        for (int turns = number_ % 7; turns > 0; --turns) { // so that they overtake each other
            std::this_thread::yield();
        }
        square_ = number_ * number_;
        fail_if(Fault::in_work);
    }
    void deliver() override {
        EXPECT_EQ(std::this_thread::get_id(), outcome_.submitter);
        EXPECT_EQ(square_, number_ * number_) << "delivered before it was worked on";
        fail_if(Fault::in_delivery);
        outcome_.delivered.push_back(number_);
    }

  private:
    void fail_if(Fault here) const {
        if (fault_ == here) {
            throw std::runtime_error(std::to_string(number_));
        }
    }

    Outcome &outcome_;
    int number_;
    Fault fault_;
    int square_ = -1;
};

TEST(OrderedWork, EveryThreadAndBound) {
    const struct {
        Fault fault;
        int at;
        bool finished;
    } cases[] = {
        {Fault::none, 0, true},      {Fault::none, 0, false},         {Fault::in_work, 0, true},
        {Fault::in_work, 150, true}, {Fault::in_delivery, 150, true}, {Fault::in_work, pieces - 1, true},
    };
    for (const size_t threads : {1, 2, 5}) {
        for (const size_t bound : {1, 2, 20}) {
            for (const auto &one : cases) {
                SCOPED_TRACE(testing::Message() << threads << " threads, " << bound << " in flight, fault "
                                                << static_cast<int>(one.fault) << " at " << one.at);
                Outcome outcome;
                std::string failure, again;
                {
                    OrderedWork work(threads, bound);
                    try {
                        for (int i = 0; i < pieces; ++i) {
                            work.submit(std::make_unique<TestPiece>(outcome, i, i == one.at ? one.fault : Fault::none));
                        }
                        if (one.finished) {
                            work.finish();
                        }
                    } catch (const std::runtime_error &error) {
                        failure = error.what();
                    }
                    try {
                        if (one.finished) {
                            work.finish();
                        }
                    } catch (const std::runtime_error &error) {
                        again = error.what();
                    }
                }
                EXPECT_EQ(failure, one.fault == Fault::none ? "" : std::to_string(one.at));
                EXPECT_EQ(again, failure);
                EXPECT_EQ(outcome.alive, 0);
                EXPECT_LE(static_cast<size_t>(outcome.most_alive), bound + 1) << "with the one that is submitted";
                const auto count = static_cast<int>(outcome.delivered.size());
                for (int i = 0; i < count; ++i) {
                    ASSERT_EQ(outcome.delivered[static_cast<size_t>(i)], i);
                }
                if (one.fault != Fault::none) {
                    EXPECT_EQ(count, one.at);
                } else if (one.finished) {
                    EXPECT_EQ(count, pieces);
                } else {
                    EXPECT_GE(count, pieces - static_cast<int>(bound));
                }
            }
        }
    }
}

} // namespace
} // namespace vor::test
