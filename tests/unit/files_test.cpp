#include "driver_records.h"
#include "imglue_files.h"
#include "module_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

std::string numbered_bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

// A file of the host in memory, opened for both directions with its contents already in it.
struct OpenFile {
    explicit OpenFile(const std::string &contents = {}) {
        mivex_write(file.handle, contents.data(), std::ssize(contents));
        file.move(0);
        file.requests.clear();
    }
    std::string contents() {
        xxflush(file.handle);
        return host.files.get("file");
    }

    ModuleHost host;
    WatchedFile file{"file", WX_OPEN_OUTPUT};
    WX_FILE *handle = file.handle;
};

TEST(Read, AsksForAtMostOnePieceAtATime) {
    struct {
        std::int64_t asked;
        std::size_t in_file;
        std::int64_t read;
        std::vector<std::int64_t> requests;
    } const cases[] = {
        {150000, 200000, 150000, {64000, 64000, 22000}},
        {150000, 64000, 64000, {64000, 64000}},
        {1, 0, 0, {1}},
        {-5, 10, 0, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.asked);
        const std::string contents = numbered_bytes(row.in_file);
        OpenFile open(contents);
        std::string read(150000, 'x');
        EXPECT_EQ(mivex_read(open.handle, read.data(), row.asked), row.read);
        EXPECT_EQ(open.file.requests, row.requests);
        const auto length = static_cast<std::size_t>(row.read);
        EXPECT_TRUE(read == contents.substr(0, length) + std::string(150000 - length, 'x'));
    }
}

TEST(Read, StatusDecides) {
    struct {
        std::int32_t status;
        std::uint32_t flags;
        std::int64_t result;
    } const cases[] = {{17, 1, ERROR_READ}, {0x801, 0, ERROR_READ}, {0x801, 2, ERROR_READ}, {0x801, 1, 100000}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.status);
        OpenFile open(numbered_bytes(100000));
        open.file.transfers_left = 1;
        open.file.failure = row.status;
        std::string read(100000, 'x');
        EXPECT_EQ(mivex_read_opt(open.handle, read.data(), 100000, row.flags), row.result);
    }
}

TEST(Write, InPiecesUntilTheFirstFailure) {
    struct {
        std::int64_t length;
        int failing_piece;
        std::int64_t result;
        std::size_t written;
        std::size_t pieces;
    } const cases[] = {
        {150000, -1, 150000, 150000, 3},
        {150000, 1, ERROR_WRITE, 64000, 2},
        {-7, -1, -7, 0, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.length);
        OpenFile open;
        open.file.transfers_left = row.failing_piece;
        const std::string source = numbered_bytes(150000);
        EXPECT_EQ(mivex_write(open.handle, source.data(), row.length), row.result);
        EXPECT_TRUE(open.contents() == source.substr(0, row.written));
        EXPECT_EQ(open.file.requests.size(), row.pieces);
    }
}

TEST(Seek, CountsFromZero) {
    struct {
        double position;
        std::int32_t whence;
        double result;
        std::size_t at;
    } const cases[] = {{0, 0, 0, 0},  {5, 0, 5, 5},     {-2, 1, 2, 2}, {3, 1, 7, 7},     {0, 2, 10, 10},
                       {-4, 2, 6, 6}, {-5, 1, -4.0, 4}, {8, 7, 7, 7},  {-11, 2, -4.0, 4}};
    OpenFile open("0123456789");
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.position << " whence " << row.whence);
        open.file.move(4);
        EXPECT_EQ(mivex_lseek_double(open.handle, row.position, row.whence), row.result);
        EXPECT_EQ(open.file.at(), row.at);
        open.file.move(4);
        EXPECT_EQ(mivex_lseek(open.handle, static_cast<std::int64_t>(row.position), row.whence),
                  static_cast<std::int64_t>(row.result));
    }
}

} // namespace
} // namespace vor::test
