// Files through the services, as the module uses them: logical names, streams over the host's buffer, failures.

#include "memory_host.h"
#include "service_calls.h"

#include <vor/control_block.h>
#include <vor/services.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>

namespace vor::test {
namespace {

constexpr int64_t LARGEST_REQUEST = 64000;

// Drives the file services of a host as the module does.
class Files : public testing::Test {
  protected:
    std::string assign(const std::string &path, const char *device = nullptr, int32_t expected = 0) {
        std::string name(8, ' ');
        EXPECT_EQ(expected,
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
    const std::string bytes = numbered_bytes(700'001); // more than two windows of the buffer
    host.files.put("in", bytes);
    for (const size_t piece : {1U, 2U, 3U, 7U, 64000U, 0U}) {
        if (piece == 1 || piece == 2)
            host.files.put("in", bytes.substr(0, 300'000));
        host.files.deliver_pieces_of(piece);
        WX_FILE *file = open(assign("in"), WX_OPEN_INPUT);
        ASSERT_NE(nullptr, file);
        std::string all;
        for (std::string part = read(file, LARGEST_REQUEST); !part.empty(); part = read(file, LARGEST_REQUEST)) {
            ASSERT_TRUE(part.size() == LARGEST_REQUEST || all.size() + part.size() == host.files.get("in").size());
            all += part;
        }
        EXPECT_EQ(host.files.get("in"), all) << "pieces of " << piece;
        EXPECT_EQ("", read(file, 1));
        EXPECT_EQ(0, calls.xxclose(file));
        host.files.put("in", bytes);
    }
    EXPECT_EQ("", host.left_over());
}

} // namespace
} // namespace vor::test
