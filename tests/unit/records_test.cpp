// The buffer of records: every record once and in order, whatever the buffer holds, and no record that is not whole.
#include "driver_file.h"

#include <gtest/gtest.h>
#include <numeric>

namespace vor::test {
namespace {

// Observations of one number and texts that make the record as long as asked for.
StataFile numbered(int release, std::size_t observations, std::size_t record_length) {
    StataFile file{.release = release};
    file.variables = {{.name = "n", .type = Type::int32}};
    for (std::size_t rest = record_length - 4; rest > 0;) {
        const std::size_t width = std::min<std::size_t>(rest, release < 117 ? 100 : 2045);
        file.variables.push_back({.name = "s" + std::to_string(rest), .type = str(width), .format = "%9s"});
        rest -= width;
    }
    for (std::size_t i = 0; i < observations; ++i) {
        file.rows.emplace_back(1, Cell(i));
        file.rows.back().resize(file.variables.size(), Cell(""));
    }
    return file;
}

std::vector<double> numbers_of(DriverFile &opened, std::int32_t &status) {
    std::vector<double> numbers;
    while (status == 0 && opened.in.infinish == 0) {
        numbers.push_back(std::get<double>(opened.value(opened.variable(0))));
        EXPECT_EQ(opened.in.incurrent + 1, static_cast<std::int64_t>(numbers.size()));
        EXPECT_EQ(opened.in.ineof != 0, opened.in.incurrent + 1 == opened.in.intotal);
        status = opened.procs.getrecord(&opened.in);
    }
    return numbers;
}

TEST(Records, EveryRecordOnceInBothPasses) {
    const struct {
        std::size_t observations;
        std::size_t record_length;
        std::int64_t buffered; // inbuffnum
    } rows[] = {
        {0, 4, 0},     {1, 4, 7998},  {7999, 4, 7998}, {8000, 4, 7998}, {8001, 4, 7998},
        {5, 10000, 1}, {3, 16000, 0}, {2, 16001, 0},   {4, 40000, 0},
    };
    for (const auto &row : rows) {
        DriverFile opened(build(numbered(118, row.observations, row.record_length)));
        ASSERT_EQ(opened.set_up(), 0) << opened.message();
        std::vector<double> expected(row.observations);
        std::iota(expected.begin(), expected.end(), 0.0);
        std::int32_t status = opened.procs.initbuffer(&opened.in);
        EXPECT_EQ(numbers_of(opened, status), expected) << row.record_length;
        EXPECT_EQ(status, 0);
        if (row.observations > 0) {
            EXPECT_EQ(opened.in.inbuffnum, row.buffered);
        }
        EXPECT_EQ(opened.procs.getrecord(&opened.in), 0); // stays finished
        EXPECT_EQ(opened.in.infinish, 1);
        status = opened.procs.re_initbuffer(&opened.in);
        EXPECT_EQ(numbers_of(opened, status), expected) << row.record_length;
        EXPECT_EQ(status, 0);
    }
}

// Only what is to be delivered is read, in requests of about the buffer's size.
TEST(Records, ReadsNoMoreThanItDelivers) {
    DriverFile opened(build(numbered(115, 20000, 4)));
    ASSERT_EQ(opened.set_up(), 0);
    opened.file.requests.clear();
    std::int32_t status = opened.procs.initbuffer(&opened.in);
    numbers_of(opened, status);
    EXPECT_EQ(opened.file.requests, (std::vector<std::int64_t>{32000, 31996, 16004}));
}

TEST(Records, ARecordThatIsNotWholeIsNotDelivered) {
    const struct {
        std::size_t record_length;
        std::size_t observations; // that the header promises
        std::size_t whole;        // that the file holds
        std::size_t rest;         // bytes of the next one
    } rows[] = {
        {4, 3, 0, 0}, {4, 1, 0, 2}, {100, 2, 1, 99}, {4, 9000, 8000, 0}, {4, 9000, 7999, 1}, {20000, 3, 2, 1},
    };
    for (const auto &row : rows) {
        Offsets places;
        const std::string bytes = build(numbered(115, row.observations, row.record_length), &places);
        const std::size_t end = places.at("data") + row.whole * row.record_length;
        DriverFile opened(bytes.substr(0, end + row.rest));
        std::int32_t status = 0;
        EXPECT_EQ(opened.read_all(status).size(), row.whole);
        EXPECT_EQ(status, ERROR_READ);
        EXPECT_EQ(opened.message(), "%1zThe Stata file is too short: expected " + std::to_string(row.record_length) +
                                        " bytes of obs " + std::to_string(row.whole + 1) + " at byte " +
                                        std::to_string(end) + ", found " + std::to_string(row.rest) + ".");
        if (row.whole > 0) { // what is there can be had
            DriverFile limited(opened.bytes);
            limited.in.inobscount = static_cast<std::int64_t>(row.whole);
            EXPECT_EQ(limited.read_all(status).size(), row.whole);
            EXPECT_EQ(status, 0) << limited.message();
        }
    }
}

TEST(Records, Refusals) {
    for (const std::int32_t code : {-1, 0, 17, 1000}) {
        DriverFile unknown(build(numbered(118, 3, 4)));
        ASSERT_EQ(unknown.set_up(), 0);
        unknown.variable(0).innameftype = code;
        EXPECT_EQ(unknown.procs.initbuffer(&unknown.in), ERROR_VARIABLE_TYPE);
        EXPECT_EQ(unknown.message(), "%1zThe variable n has the unknown decoder code " + std::to_string(code) + ".");
    }

    DriverFile unreadable(build(numbered(118, 9000, 4)));
    ASSERT_EQ(unreadable.set_up(), 0);
    ASSERT_EQ(unreadable.procs.initbuffer(&unreadable.in), 0);
    unreadable.file.transfers_left = 0;
    std::int32_t status = 0;
    EXPECT_EQ(numbers_of(unreadable, status).size(), 7999U); // all that was in the buffer but its last record
    EXPECT_EQ(status, ERROR_READ);
    EXPECT_TRUE(unreadable.says("could not be read")) << unreadable.message();
}

} // namespace
} // namespace vor::test
