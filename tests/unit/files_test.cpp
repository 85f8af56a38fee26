#include "driver_records.h"
#include "imglue_files.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

std::string numbered_bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<char>(i % 251);
    return bytes;
}

TEST(Read, AsksForAtMostOnePieceAtATime) {
    struct {
        std::int64_t asked;
        std::size_t in_file;
        std::int64_t read;
        std::vector<std::int64_t> requests;
    } const cases[] = {
        {150000, 200000, 150000, {64000, 64000, 22000}},
        {150000, 64000, 64000, {64000, 64000}},
        {150000, 100000, 100000, {64000, 64000}},
        {128000, 128000, 128000, {64000, 64000}},
        {1, 0, 0, {1}},
        {0, 10, 0, {}},
        {-5, 10, 0, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.asked);
        std::string contents = numbered_bytes(row.in_file);
        ScriptedFile file(contents);
        std::string read(150000, 'x');
        EXPECT_EQ(mivex_read(&file, read.data(), row.asked), row.read);
        EXPECT_EQ(file.requests, row.requests);
        const auto length = static_cast<std::size_t>(row.read);
        EXPECT_EQ(read.substr(0, length), contents.substr(0, length));
        EXPECT_EQ(read.find_first_not_of('x', length), std::string::npos) << "wrote behind what it read";
    }
}

TEST(Read, StatusDecides) {
    struct {
        std::int32_t status;
        std::uint32_t flags;
        std::int64_t result;
    } const cases[] = {
        {17, 0, ERROR_READ}, {17, 1, ERROR_READ}, {0x801, 0, ERROR_READ}, {0x801, 2, ERROR_READ}, {0x801, 1, 100000},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.status);
        std::string contents = numbered_bytes(100000);
        ScriptedFile file(contents);
        file.transfers_left = 1;
        file.failure = row.status;
        std::string read(100000, 'x');
        EXPECT_EQ(mivex_read_opt(&file, read.data(), 100000, row.flags), row.result);
    }
}

TEST(Read, RefusesAHostThatDeliversMoreThanWasAsked) {
    std::string contents = "12345678";
    ScriptedFile file(contents);
    file.own_stream.read = [](WX_STREAM *, const char **data, std::int64_t *delivered, std::int64_t requested, char *) {
        *data = "12345678";
        *delivered = requested + 4;
        return 0;
    };
    char read[4];
    EXPECT_EQ(mivex_read(&file, read, 4), ERROR_READ);
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
        {64000, -1, 64000, 64000, 1},
        {150000, 1, ERROR_WRITE, 64000, 2},
        {0, -1, 0, 0, 0},
        {-7, -1, -7, 0, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.length);
        std::string contents;
        ScriptedFile file(contents);
        file.transfers_left = row.failing_piece;
        const std::string source = numbered_bytes(150000);
        EXPECT_EQ(mivex_write(&file, source.data(), row.length), row.result);
        EXPECT_EQ(contents, source.substr(0, row.written));
        EXPECT_EQ(file.requests.size(), row.pieces);
    }
}

TEST(Transfer, AnAlternateServesInPlaceOfTheStream) {
    std::string contents = "stream";
    ScriptedFile file(contents);
    WX_ALTERNATE_IO alternate{
        .read =
            [](WX_FILE *, const char **data, std::int64_t *delivered, std::int64_t requested, char *carriage_control) {
                *data = "alternate";
                *delivered = requested;
                return *carriage_control == ' ' ? 0 : 17;
            },
        .write =
            [](WX_FILE *handle, const char *data, std::int64_t length, std::int32_t mode) {
                static_cast<ScriptedFile *>(handle)->path.assign(data, static_cast<std::size_t>(length));
                return mode == WX_WRITE_MODE ? 0 : 17;
            }};
    file.alternate = &alternate;
    char read[9] = {};
    EXPECT_EQ(mivex_read(&file, read, 9), 9);
    EXPECT_EQ(std::string(read, 9), "alternate");
    EXPECT_EQ(mivex_write(&file, "written", 7), 7);
    EXPECT_EQ(file.path, "written");
    EXPECT_EQ(contents, "stream");
}

TEST(Seek, CountsFromZero) {
    struct {
        double position;
        std::int32_t whence;
        double result;
        std::size_t at;
    } const cases[] = {{0, 0, 0, 0},  {5, 0, 5, 5},     {-2, 1, 2, 2}, {3, 1, 7, 7},     {0, 2, 10, 10},
                       {-4, 2, 6, 6}, {-5, 1, -4.0, 4}, {8, 7, 7, 7},  {-11, 2, -4.0, 4}};
    ScriptedHost host;
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.position << " whence " << row.whence);
        std::string contents = "0123456789";
        ScriptedFile file(contents);
        file.at = 4;
        EXPECT_EQ(mivex_lseek_double(&file, row.position, row.whence), row.result);
        EXPECT_EQ(file.at, row.at);
        file.at = 4;
        EXPECT_EQ(mivex_lseek(&file, static_cast<std::int64_t>(row.position), row.whence),
                  static_cast<std::int64_t>(row.result));
    }
}

TEST(Seek, EveryStepOfTheHostMayFail) {
    std::string contents = "0123456789";
    for (const char *failing : {"xxflush f", "xxrinfo f"}) {
        ScriptedHost host;
        ScriptedFile file(contents, "f");
        host.failing[failing] = 17;
        EXPECT_EQ(mivex_lseek_double(&file, 0, 2), -4.0) << failing;
        EXPECT_EQ(mivex_lseek_double(&file, 0, 0), 0) << failing;
    }
    ScriptedHost host;
    ScriptedFile file(contents);
    file.note = [](WX_FILE *, void *) { return 17; };
    EXPECT_EQ(mivex_lseek(&file, 0, 1), ERROR_SEEK);
    file.byte_to_position = [](WX_FILE *, double, void *) { return 17; };
    EXPECT_EQ(mivex_lseek(&file, 0, 0), ERROR_SEEK);
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
    ScriptedHost host;
    for (const auto &row : cases) {
        SCOPED_TRACE(row.contents);
        std::string contents = row.contents;
        ScriptedFile file(contents);
        std::vector<std::string> lines;
        char line[80];
        while (mivex_hgets(line, row.size, &file) != nullptr && lines.size() < 5)
            lines.emplace_back(line);
        EXPECT_EQ(lines, row.lines);
        EXPECT_EQ(line[0], '\0') << "the end of the file leaves an empty text";
    }
}

TEST(Lines, AByteAfterALoneCarriageReturnIsNotLost) {
    ScriptedHost host;
    std::string contents = "ab\rcd";
    ScriptedFile file(contents);
    char line[80];
    mivex_hgets(line, 80, &file);
    EXPECT_EQ(file.at, 3u);
}

TEST(Lines, NoRoomIsLeftAlone) {
    std::string contents = "ab";
    ScriptedFile file(contents);
    char line[] = "xy";
    EXPECT_EQ(mivex_hgets(line, 1, &file), line);
    EXPECT_STREQ(line, "");
    line[0] = 'x';
    mivex_hgets(line, 0, &file);
    EXPECT_STREQ(line, "xy");
    EXPECT_EQ(file.at, 0u);
}

TEST(CopyFile, ReadsTheSourceToItsEnd) {
    struct {
        std::size_t length;
        int failing_write; // number of the write that fails
        std::int32_t result;
        std::size_t copied;
    } const cases[] = {{150000, -1, 1, 150000}, {0, -1, 0, 0}, {1, -1, 1, 1}, {150000, 1, 1, 86000}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.length);
        std::string source = numbered_bytes(row.length);
        std::string target;
        ScriptedFile from(source);
        ScriptedFile to(target);
        to.transfers_left = row.failing_write;
        EXPECT_EQ(mivex_copy_file(&from, &to), row.result);
        EXPECT_EQ(target.size(), row.copied);
        EXPECT_EQ(from.at, source.size());
    }
}

TEST(OpenRequest, ByDirection) {
    struct {
        std::int32_t direction;
        std::int32_t openmode;
        std::int32_t recfm;
    } const cases[] = {{1, 0x1021, 0x42}, {0, 0x10A8, 0x42}, {2, 0x82, 2}};
    for (const auto &row : cases) {
        WX_OPENPARM request;
        std::memset(&request, 0xEE, sizeof request);
        setup_xxopenparm(row.direction, &request, 64000);
        EXPECT_EQ(request.openmode, row.openmode);
        EXPECT_EQ(request.recfm, row.recfm);
        EXPECT_EQ(request.datalen, 64000);
        EXPECT_EQ(request.hostptr, nullptr);
        EXPECT_EQ(request.filetype + request.encoding_default + request.encoding_override, 0);
    }
}

} // namespace
} // namespace vor::test
