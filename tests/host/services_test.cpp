// The services without a module: log and messages; numbers in collating and shortened form, pools.
#include "memory_host.h"
#include "service_calls.h"
#include "services/service_table.h"

#include <vor/imglue.h>
#include <vorhost/missing.h>

#include <array>
#include <bit>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace vor::test {
namespace {

class Messages : public testing::Test {
  protected:
    // Formats as the module's messages are formatted, through an argument list.
    std::string format_list(int32_t limit, std::string_view pattern, ...) {
        std::string text(0x8000, '#');
        va_list arguments;
        va_start(arguments, pattern);
        const int32_t length =
            calls.xpslstv(nullptr, text.data(), limit, pattern.data(), static_cast<int32_t>(pattern.size()), arguments);
        va_end(arguments);
        EXPECT_EQ('#', text[static_cast<size_t>(length)]) << "written behind the length";
        text.resize(static_cast<size_t>(length));
        return text;
    }

    template <class... Values>
    std::string format(const char *pattern, Values... values) {
        char text[400];
        std::memset(text, '#', sizeof text);
        const int32_t length = calls.xpsstr(text, sizeof text - 1, pattern, values...);
        EXPECT_EQ('#', text[length]);
        return {text, static_cast<size_t>(length)};
    }

    MemoryHost host;
    ServiceCalls calls{host->control_block()};
};

TEST_F(Messages, ConversionsAreTheUsualOnesAndTheHostsOwn) {
    const char open_ended[] = {'a', 'b', 'c'}; // not terminated
    EXPECT_EQ("-3 4294967295 -9223372036854775808", format("%i %u %lld", -3, UINT_MAX, LLONG_MIN));
    EXPECT_EQ("   42|42   |", format("%*d|%*d|", 5, 42, -5, 42));
    EXPECT_EQ("ff FF 0x1f 17", format("%x %X %#x %o", 255, 255, 31, 15));
    EXPECT_EQ("x|text|  text|text  |te", format("%c|%s|%6s|%-6s|%.2s", 'x', "text", "text", "text", "text"));
    EXPECT_EQ("ab|abc", format("%.*s|%*s", 2, open_ended, 3, open_ended));
    EXPECT_EQ("100%|%1z|%3z|%q|%", format("100%%|%1z|%3z|%q|%"));
    EXPECT_EQ("%3zdone 7", format("%3zdone %d", 7));
}

TEST_F(Messages, NotesAreLoggedAndTheRestIsKeptOfTheFailure) {
    calls.xpslog("%3zThe import data set has %lld observations and %d variables.", 3LL, 2);
    calls.xpslog("%1zToo many variables for the output file");
    calls.xpslog("Requested Input File Is Invalid");
    calls.xpslog("%1zThe header ends at byte %d.  ", 12);
    calls.xpslog("Requested Input File Is Invalid");
    calls.xpslog("");
    EXPECT_EQ("NOTE: The import data set has 3 observations and 2 variables.\n", host.log.text());
    EXPECT_EQ("Too many variables for the output file; Requested Input File Is Invalid; The header ends at byte 12.",
              host->take_failure().text);
    EXPECT_EQ("", host->take_failure().text);
}

TEST_F(Messages, LinesAreUtf8WithoutControlCharacters) {
    const char *const cases[][3] = {{"utf-8", "caf\xC3\xA9\x1B[2J\n", "NOTE: caf\xC3\xA9?[2J?"},
                                    {"utf-8", "caf\xE9", "NOTE: caf\xC3\xA9"}, // not UTF-8
                                    {"shift-jis", "\x83\x65", "NOTE: \xE3\x83\x86"},
                                    {"latin1", "caf\xE9", "NOTE: caf\xC3\xA9"},
                                    {"latin1", "caf\xC3\xA9", "NOTE: caf\xC3\xA9"}}; // a name of the file
    for (const auto &[session, line, logged] : cases) {
        MemoryHost other(HostOptions{.session_encoding = session});
        ServiceCalls(other->control_block()).xpslog("%3z%s", line);
        ASSERT_EQ(1U, other.log.lines.size());
        EXPECT_EQ(logged, other.log.lines[0]);
    }
}

TEST_F(Messages, CatalogMessagesHaveTheirWordsAndTheirPlace) {
    calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_UNKNOWN_ENCODING, 5, "klingon");
    calls.xpmlog(MESSAGE_GROUP_PARSER, MESSAGE_NO_PARSE_ROUTINE, 3, "abc");
    EXPECT_EQ("The encoding kling is not known; The statement parser has no routine abc.", host->take_failure().text);
    calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_STATEMENT_OPTION, 8, "INFORMAT");
    calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_LABEL_CUT, 3, "a{}b");
    calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_READ);
    calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_WRITTEN, 12);
    EXPECT_EQ("", host->take_failure().text) << "the conversion goes on";
    ASSERT_EQ(4U, host.log.lines.size());
    EXPECT_NE(std::string::npos, host.log.lines[0].find("INFORMAT"));
    EXPECT_NE(std::string::npos, host.log.lines[1].find("\"a{}\""));
    EXPECT_NE(std::string::npos, host.log.lines[3].find("12 bytes"));
    calls.xpmlog(1, 2);
    EXPECT_NE("", host->take_failure().text) << "a message without a text is not lost";
}

TEST_F(Messages, AFaultOfManyObservationsIsSaidOncePerVariableAndCounted) {
    static POOL *pool = nullptr;
    pool = host->control_block()->pool;
    host->use_module([](IMGLUE **object) {
        *object = static_cast<IMGLUE *>(pool->allocate(pool, sizeof(IMGLUE), POOL_ZEROED));
        return 0;
    });
    IMGLUE *object = host->new_object();
    for (int observation = 1; observation <= 3; ++observation)
        for (const char *variable : {"name", "at obs 5"}) {
            const std::string text = std::string(variable) + " at obs " + std::to_string(observation);
            calls.xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_READ, static_cast<int>(text.size()), text.c_str());
        }
    EXPECT_EQ(2U, host.log.lines.size()) << host.log.text();
    EXPECT_TRUE(host.log.contains("name at obs 1 "));
    host->delete_object(object);
    EXPECT_EQ(4U, host.log.lines.size()) << host.log.text();
    EXPECT_TRUE(host.log.contains("3 texts of name "));
    EXPECT_EQ("", host.left_over());
}

TEST_F(Messages, ReturnCodesAreNotesWithTheirSubstitution) {
    calls.wrmksub(2, "The numeric value of 1 is duplicated and more", 36, "x", 1);
    calls.xprrlog(0, static_cast<int32_t>(0x80000805));
    calls.xprrlog(0, HOST_NO_MEMORY);
    calls.xprrlog(0, 0x1234);
    calls.xprrlog(0, 0);
    EXPECT_EQ("NOTE: The numeric value of 1 is duplicated.\nNOTE: There is not enough memory.\n"
              "NOTE: The operation failed with code 0x1234.\n",
              host.log.text());
}

TEST_F(Messages, TheTaskEndsThroughTheOperationWithWhatWasSaid) {
    calls.xpslog("%1zThe statement parser has no routine abc");
    try {
        calls.xexit(HOST_LOGGED, 0);
        FAIL() << "came back";
    } catch (const TaskExit &exit) {
        EXPECT_EQ(HOST_LOGGED, exit.code());
        EXPECT_STREQ("The statement parser has no routine abc.", exit.what());
    }
    EXPECT_THROW(calls.xexit(HOST_TASK_NO_MEMORY, 0), ConversionError);
}

} // namespace
} // namespace vor::test

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
