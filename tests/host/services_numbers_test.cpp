// Numbers in collating and shortened form, options, and pools.

#include "memory_host.h"
#include "service_calls.h"

#include <vorhost/missing.h>

#include <array>
#include <bit>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace vor::test {
namespace {

using namespace std::string_literals;

class ServiceNumbers : public testing::Test {
  protected:
    std::array<uint8_t, 8> collating(double value) {
        std::array<uint8_t, 8> bytes;
        calls.wzcsdbl(&value, bytes.data());
        return bytes;
    }

    MemoryHost host;
    ServiceCalls calls{host->control_block()};
};

uint64_t bits(double value) {
    return std::bit_cast<uint64_t>(value);
}

TEST_F(ServiceNumbers, CollatingFormsSortAsTheNumbersDo) {
    using Limits = std::numeric_limits<double>;
    std::vector<double> ascending = {missing_value('_'), missing_value('.')};
    for (char letter = 'A'; letter <= 'Z'; ++letter)
        ascending.push_back(missing_value(letter));
    constexpr double values[] = {
        0.0,   Limits::denorm_min(), Limits::min(),     0.5, 1.0, 1.0 + Limits::epsilon(), 255.0, 256.0,
        1e300, Limits::max(),        Limits::infinity()};
    for (size_t at = std::size(values) - 1; at > 0; --at)
        ascending.push_back(-values[at]);
    for (const double value : values)
        ascending.push_back(value);
    for (size_t at = 0; at < ascending.size(); ++at) {
        EXPECT_TRUE(at == 0 || collating(ascending[at - 1]) < collating(ascending[at])) << at;
        double back = 0;
        calls.wzrsdbl(collating(ascending[at]).data(), &back);
        EXPECT_EQ(bits(ascending[at]), bits(back)) << at;
    }
    EXPECT_EQ(collating(0.0), collating(-0.0));
    EXPECT_EQ((std::array<uint8_t, 8>{0xBF, 0xF0}), collating(1.0)) << "pinned: what a catalog may hold";
    EXPECT_EQ((std::array<uint8_t, 8>{0x40, 0x0F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}), collating(-1.0));
}

TEST_F(ServiceNumbers, ShortenedNumbersKeepTheirMostSignificantBytes) {
    const struct {
        std::vector<uint8_t> stored;
        uint64_t expected;
    } cases[] = {
        {{0x00, 0xF0, 0x3F}, bits(1.0)},
        {{0x12, 0x34, 0x56, 0x40}, 0x4056341200000000},
        {{1, 2, 3, 4, 5, 6, 7, 8}, 0x0807060504030201},
        {{0xFE, 0xFF, 0xFF}, bits(missing_value('.'))},
        {{0x00}, bits(missing_value('.'))}, // no number is stored in one byte
    };
    for (const auto &[stored, expected] : cases) {
        double value = 0;
        calls.wzrftrc(reinterpret_cast<const char *>(stored.data()), static_cast<int32_t>(stored.size()), &value);
        EXPECT_EQ(expected, bits(value)) << stored.size();
    }
}

TEST_F(ServiceNumbers, PoolsRefuseAndCountBlocks) {
    POOL *task = calls.gcb->pool;
    EXPECT_EQ(nullptr, task->allocate(task, -1, POOL_ZEROED));
    EXPECT_EQ(nullptr, task->allocate(task, int64_t{1} << 62, POOL_ZEROED));
    void *empty = task->allocate(task, 0, POOL_ZEROED);
    auto *block = static_cast<char *>(task->allocate(task, 1000, POOL_GRAMMAR));
    ASSERT_TRUE(empty != nullptr && block != nullptr);
    EXPECT_EQ(std::string(1000, '\0'), std::string(block, 1000));
    EXPECT_EQ(0U, reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t));
    POOL *scratch = calls.xmpoolc(1024);
    scratch->allocate(scratch, 10, POOL_ZEROED);
    scratch->free(scratch, scratch->allocate(scratch, 10, POOL_ZEROED), 0, POOL_FREE);
    EXPECT_EQ(4U, host->blocks_in_use()) << "two, the pool, and its one";
    calls.xmpoold(scratch);
    for (void *each : {static_cast<void *>(block), empty, static_cast<void *>(nullptr)})
        task->free(task, each, 0, POOL_FREE);
    EXPECT_EQ("", host.left_over());
    EXPECT_EQ(0, host.memory.blocks());
}

} // namespace
} // namespace vor::test
