// Files through the services, as the module uses them: logical names, streams over the host's buffer, failures.

#include "collected_import.h"
#include "service_calls.h"

#include <vor/control_block.h>
#include <vor/services.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vor::test {
namespace {

using namespace std::string_literals;

constexpr int64_t LARGEST_REQUEST = 64000;

// Drives the file services of a host as the module does.
class Files : public testing::Test {
  protected:
    std::string assign(const std::string &path, const char *device = nullptr) {
        std::string name(8, ' ');
        EXPECT_EQ(0,
                  calls.xxrasgn(name.data(), calls.files(), device, path.data(), static_cast<int32_t>(path.size()), 0));
        return name;
    }

    WX_FILE *open(const std::string &name, int32_t mode) {
        WX_FILE *handle = nullptr;
        WX_OPENPARM request{};
        request.openmode = mode;
        request.datalen = LARGEST_REQUEST;
        EXPECT_EQ(0, calls.xxropen(&handle, name.data(), calls.files(), &request)) << host->take_failure().text;
        return handle;
    }

    static std::string read(WX_FILE *handle, int64_t bytes) {
        const char *data = nullptr;
        int64_t delivered = -1;
        char blank = ' ';
        EXPECT_EQ(0, handle->stream->read(handle->stream, &data, &delivered, bytes, &blank));
        return {data, static_cast<size_t>(std::max<int64_t>(delivered, 0))};
    }

    static int32_t write(WX_FILE *handle, const std::string &bytes) {
        return handle->stream->write(handle->stream, bytes.data(), static_cast<int64_t>(bytes.size()), WX_WRITE_MODE);
    }

    static int32_t seek(WX_FILE *handle, int64_t offset) {
        char position[WX_POSITION_BYTES];
        const int32_t code = handle->byte_to_position(handle, static_cast<double>(offset) + 1, position);
        return code != 0 ? code : handle->point(handle, position);
    }

    int64_t place(WX_FILE *handle) {
        char position[WX_POSITION_BYTES];
        double byte_number = 0;
        EXPECT_EQ(0, handle->note(handle, position));
        EXPECT_EQ(0, calls.xxpos2b(handle, &byte_number, position));
        return static_cast<int64_t>(byte_number) - 1;
    }

    // The return code of an opening that must fail.
    int32_t refused_open(const std::string &name) {
        WX_FILE *handle = nullptr;
        WX_OPENPARM request{};
        request.openmode = WX_OPEN_INPUT;
        const int32_t code = calls.xxropen(&handle, name.data(), calls.files(), &request);
        EXPECT_EQ(nullptr, handle);
        return code;
    }

    static std::string read_all(WX_FILE *handle) {
        std::string all;
        for (std::string part = read(handle, LARGEST_REQUEST); !part.empty(); part = read(handle, LARGEST_REQUEST)) {
            EXPECT_EQ(0U, all.size() % LARGEST_REQUEST) << "only the last part is short";
            all += part;
        }
        return all;
    }

    WX_INFOPARM information(WX_FILE *handle) {
        WX_INFOPARM answer{};
        EXPECT_EQ(0, calls.xxrinfo(handle, "        ", calls.files(), WX_INFO_SIZE, 0, &answer));
        return answer;
    }

    MemoryHost host;
    ServiceCalls calls{host->control_block()};
};

std::string numbered_bytes(size_t bytes) {
    std::string text(bytes, '\0');
    for (size_t at = 0; at < bytes; ++at)
        text[at] = static_cast<char>(at * 7 + at / 251);
    return text;
}

TEST_F(Files, ReadsAreWholeWhateverTheFileDeliversAtATime) {
    const std::string bytes = numbered_bytes(700'001); // more than one window
    host.files.put("in", bytes);
    for (const size_t piece : {7U, 0U}) {
        host.files.deliver_pieces_of(piece);
        WX_FILE *file = open(assign("in"), WX_OPEN_INPUT);
        EXPECT_TRUE(read_all(file) == bytes) << "pieces of " << piece;
        EXPECT_EQ(0, calls.xxclose(file));
    }
    EXPECT_EQ("", host.left_over());
}

// Writes in steps, and at the end the file and every read on the way say the same as a plain string.
TEST_F(Files, ReadsSeeWhatWasWrittenAndTheFileGetsAll) {
    const struct {
        const char *what;
        std::vector<std::pair<int64_t, size_t>> writes; // offset, bytes
    } cases[] = {
        {"more than the buffer", {{0, 100}, {100, 900'000}, {900'100, 5}}},
        {"patched in the buffer", {{0, 1000}, {10, 8}, {0, 1}, {990, 1}, {1000, 10}}},
        {"patched after the buffer moved", {{0, 300'000}, {300'000, 300'000}, {12, 8}, {600'000, 9}}},
        {"over the buffer's end", {{0, 262'140}, {262'140, 8}, {262'130, 30}}},
        {"with a hole", {{0, 10}, {500'000, 10}, {20, 5}}},
    };
    for (const auto &[what, writes] : cases) {
        SCOPED_TRACE(what);
        WX_FILE *file = open(assign("out"), WX_OPEN_OUTPUT);
        std::string expected;
        char fill = 'a';
        for (const auto &[offset, bytes] : writes) {
            const std::string text(bytes, fill++);
            ASSERT_EQ(0, seek(file, offset));
            ASSERT_EQ(0, write(file, text));
            EXPECT_EQ(offset + static_cast<int64_t>(bytes), place(file));
            expected.resize(std::max(expected.size(), static_cast<size_t>(offset) + bytes));
            expected.replace(static_cast<size_t>(offset), bytes, text);
            if (writes.size() > 3 && fill % 2 == 0) // a read ends what is held back: some writes come together
                continue;
            const int64_t back = std::max<int64_t>(0, offset - 20);
            ASSERT_EQ(0, seek(file, back));
            EXPECT_EQ(expected.substr(static_cast<size_t>(back), 60'000), read(file, 60'000));
        }
        EXPECT_EQ(static_cast<double>(expected.size()), information(file).filesize);
        EXPECT_EQ(0, calls.xxclose(file));
        EXPECT_TRUE(host.files.get("out") == expected);
    }
}

// The first write fails while the module writes, or the last one, or the end itself.
TEST_F(Files, AWriteThatFailsIsReportedAndStays) {
    const std::pair<Operation, int64_t> cases[] = {{Operation::write, 1}, {Operation::write, 3}, {Operation::close, 1}};
    for (const auto &[operation, nth] : cases) {
        WX_FILE *file = open(assign("out"), WX_OPEN_OUTPUT);
        host.faults.fail(operation, nth);
        int32_t code = 0;
        for (int piece = 0; piece < 10 && code == 0; ++piece)
            code = write(file, std::string(64'000, 'x'));
        EXPECT_EQ(operation == Operation::write && nth == 1, code != 0);
        if (code != 0) {
            EXPECT_NE(0, write(file, std::string(300'000, 'x'))) << "bytes are missing: nothing more may be written";
        }
        EXPECT_NE(0, calls.xxclose(file));
        EXPECT_EQ(std::errc::no_space_on_device, host->take_failure().system_error);
    }
}

TEST_F(Files, AReferenceIsReadFromFrontToBackAndOnce) {
    const auto bytes = std::make_shared<std::string>(numbered_bytes(600'000));
    host.files.deliver_pieces_of(7);
    host->assign_reference("stdin", host.files.sequential(bytes));
    WX_FILE *file = open("stdin   ", WX_OPEN_INPUT);
    EXPECT_TRUE(read_all(file) == *bytes);
    information(file); // is answered
    EXPECT_EQ(0, calls.xxclose(file));
    EXPECT_NE(0, refused_open("stdin   "));
    EXPECT_EQ("The file reference STDIN can be opened only once.", host->take_failure().text);
}

// The disk's own promises: the modes of opening, replacement of a link's target with its permissions, system errors.
TEST(DiskFiles, OpenReplaceAndRemove) {
    const ScratchDirectory scratch;
    const auto disk = disk_files(scratch.path(""));
    const std::string path = scratch.path("file"), link = scratch.path("link");
    const auto put = [&](const std::string &name, OpenMode mode, std::string_view text) {
        std::error_code error;
        const auto file = disk->open(name, mode, error);
        if (!error)
            file->write(0, text, error);
        if (!error)
            file->close(error);
        return error;
    };
    EXPECT_FALSE(put(path, OpenMode::replace, "first text"));
    EXPECT_FALSE(put(path, OpenMode::copy, "second"));
    EXPECT_EQ("second", file_bytes(path));
    EXPECT_EQ(std::errc::is_a_directory, put(scratch.path("."), OpenMode::read, ""));
    EXPECT_EQ(std::errc::no_such_file_or_directory, put(path + "x", OpenMode::read, ""));

    std::filesystem::permissions(path, std::filesystem::perms{06640}); // the first digit is not copied
    std::filesystem::create_symlink("file", link);
    std::error_code error;
    const std::string beside = disk->make_beside(link, error);
    EXPECT_FALSE(put(beside, OpenMode::replace, "third"));
    disk->replace(beside, link, Existing::replaced, error);
    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ("third", file_bytes(path));
    EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status(path).permissions());
    EXPECT_EQ((std::vector<std::string>{"file", "link"}), scratch.names());

    const std::string temporary = disk->make_temporary(error);
    EXPECT_NE(temporary, disk->make_temporary(error));
    disk->remove(temporary, error);
    EXPECT_FALSE(error || disk->exists(temporary));
}

} // namespace
} // namespace vor::test
