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

TEST(Transfer, AnAlternateServesInPlaceOfTheStream) {
    static std::string written;
    OpenFile open("stream");
    WX_ALTERNATE_IO alternate{
        .read =
            [](WX_FILE *, const char **data, std::int64_t *delivered, std::int64_t requested, char *) {
                *data = "alternate";
                *delivered = requested > 9 ? requested + 4 : requested; // more than was asked
                return 0;
            },
        .write =
            [](WX_FILE *, const char *data, std::int64_t length, std::int32_t) {
                written.assign(data, static_cast<std::size_t>(length));
                return 0;
            }};
    open.handle->alternate = &alternate;
    char read[10] = {};
    EXPECT_EQ(mivex_read(open.handle, read, 9), 9);
    EXPECT_STREQ(read, "alternate");
    EXPECT_EQ(mivex_read(open.handle, read, 10), ERROR_READ);
    EXPECT_EQ(mivex_write(open.handle, "written", 7), 7);
    EXPECT_EQ(written, "written");
    EXPECT_EQ(open.contents(), "stream");
}

TEST(Copy, ReadsToTheEndWhateverTheTargetSays) {
    const std::string source = numbered_bytes(150000);
    struct {
        int failing_write;
        std::string copied;
    } const cases[] = {{-1, source.substr(100)}, {1, source.substr(100, 64000) + source.substr(128100)}};
    for (const auto &row : cases) {
        OpenFile from(source);
        WatchedFile to{"copy", WX_OPEN_OUTPUT};
        from.file.move(100);
        to.transfers_left = row.failing_write;
        EXPECT_EQ(mivex_copy_file(from.handle, to.handle), 1);
        EXPECT_EQ(mivex_copy_file(from.handle, to.handle), 0) << "nothing is left";
        xxflush(to.handle);
        EXPECT_TRUE(from.host.files.get("copy") == row.copied);
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

TEST(Seek, EveryStepOfTheHostMayFail) {
    OpenFile open("0123456789");
    open.host.replace(xxflush, [](SERVICE_ID, WX_FILE *) { return 17; });
    EXPECT_EQ(mivex_lseek_double(open.handle, 0, 2), -4.0);
    EXPECT_EQ(mivex_lseek_double(open.handle, 0, 0), 0);
    open.handle->note = [](WX_FILE *, void *) { return 17; };
    EXPECT_EQ(mivex_lseek(open.handle, 0, 1), ERROR_SEEK);
    open.handle->byte_to_position = [](WX_FILE *, double, void *) { return 17; };
    EXPECT_EQ(mivex_lseek(open.handle, 0, 0), ERROR_SEEK);

    OpenFile of_unknown_size("0123456789");
    of_unknown_size.host.replace(xxrinfo, [](SERVICE_ID, WX_FILE *, const char *, FILE_CONTEXT *, std::int32_t,
                                             std::int32_t, WX_INFOPARM *) { return 17; });
    EXPECT_EQ(mivex_lseek(of_unknown_size.handle, 0, 2), ERROR_SEEK);
}

TEST(Lines, EndAtAnyLineEnd) {
    struct {
        std::string contents;
        std::int32_t size;
        std::vector<std::string> lines;
    } const cases[] = {
        {"ab\r\ncd", 80, {"ab\n", "cd"}},     {"ab\rcd", 80, {"ab\n", "cd"}},
        {"ab\ncd\n", 80, {"ab\n", "cd\n"}},   {"ab\r", 80, {"ab\n"}},
        {"\r\r\n\n", 80, {"\n", "\n", "\n"}}, {"abcde\n", 4, {"abc", "de\n"}},
        {"abc\n", 4, {"abc", "\n"}},          {"", 80, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.contents);
        OpenFile open(row.contents);
        std::vector<std::string> lines;
        char line[80];
        while (mivex_hgets(line, row.size, open.handle) != nullptr && lines.size() < 5)
            lines.emplace_back(line);
        EXPECT_EQ(lines, row.lines);
        EXPECT_EQ(line[0], '\0') << "the end of the file leaves an empty text";
    }
    OpenFile open("ab");
    char line[] = "xy";
    mivex_hgets(line, 0, open.handle);
    EXPECT_STREQ(line, "xy");
    mivex_hgets(line, 1, open.handle);
    EXPECT_STREQ(line, "");
}

} // namespace
} // namespace vor::test
