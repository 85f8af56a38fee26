// The header of the binary releases and the chain of expansion fields.
#include "driver_file.h"
#include "imstata_binary_header.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

StataFile small_file(int release, ByteOrder order = ByteOrder::little) {
    StataFile file{.release = release, .order = order, .data_label = "label"};
    file.variables = {{.name = "a", .type = Type::byte}, {.name = "b", .type = Type::int16}, {.name = "c"}};
    file.rows.assign(10, {1, 2, 3});
    return file;
}

// What set_up leaves for the routines behind the header.
void describe(DriverFile &opened, int release, ByteOrder order) {
    static dsnrecord state;
    state = {};
    state.release = release;
    state.layout = find_release(release);
    state.byte_order = order == ByteOrder::big ? MOST_SIGNIFICANT_FIRST : LEAST_SIGNIFICANT_FIRST;
    state.file_size = static_cast<std::int64_t>(opened.bytes.size());
    opened.in.indsn = &state;
}

TEST(BinaryHeader, OtherReleasesAndShortFilesAreRefused) {
    const std::string whole = build(small_file(115));
    const struct {
        int release;
        std::size_t size;
        std::int32_t status;
        std::string message;
    } rows[] = {
        {102, 500, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 102"},
        {106, 500, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 106"},
        {107, 10, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 107"},
        {109, 500, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 109"},
        {116, 500, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 116"},
        {118, 500, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> 118"},
        {115, 0, ERROR_READ, "%1zThe Stata file is too short: expected 10 bytes of the header at byte 0, found 0."},
        {115, 9, ERROR_READ, "%1zThe Stata file is too short: expected 10 bytes of the header at byte 0, found 9."},
        {115, 90, ERROR_READ,
         "%1zThe Stata file is too short: expected 81 bytes of the data label at byte 10, found 80."},
        {115, 108, ERROR_READ,
         "%1zThe Stata file is too short: expected 18 bytes of the time stamp at byte 91, found 17."},
    };
    for (const auto &row : rows) {
        std::string bytes = whole.substr(0, row.size);
        if (!bytes.empty())
            bytes[0] = static_cast<char>(row.release);
        DriverFile opened(bytes);
        headerrec header{};
        EXPECT_EQ(parse_binary_header(&opened.in, &header), row.status) << row.message;
        EXPECT_EQ(opened.message(), row.message);
    }
}

TEST(BinaryHeader, DamagedExpansionFields) {
    StataFile file = small_file(115);
    file.expansion_fields = {{1, "abc"}};
    Offsets offsets;
    const std::string whole = build(file, &offsets);
    const std::size_t field = offsets.at("characteristics");
    const struct {
        const char *what;
        std::uint64_t length;
        std::size_t size; // the file is cut there
        std::int32_t status;
        const char *message; // a part of it
    } rows[] = {
        {"longer than the file", 0xFFFFFFFF, whole.size(), ERROR_INPUT_INVALID, "has a length of 4294967295 bytes"},
        {"to the last byte", whole.size() - field - 5, whole.size(), ERROR_READ,
         "expected 5 bytes of an expansion field"},
        {"a byte longer", whole.size() - field - 4, whole.size(), ERROR_INPUT_INVALID, "the file holds"},
        {"cut inside a head", 3, field + 4, ERROR_READ, "found 4."},
        {"cut between fields", 3, field + 8, ERROR_READ, "found 0."},
    };
    for (const auto &row : rows) {
        std::string bytes = whole;
        patch_number(bytes, field + 1, row.length, 4, ByteOrder::little);
        DriverFile opened(bytes.substr(0, row.size));
        describe(opened, 115, ByteOrder::little);
        opened.file.move(field);
        EXPECT_EQ(skip_binary_expansion_records(&opened.in), row.status) << row.what;
        EXPECT_NE(opened.message().find(row.message), std::string::npos) << row.what << ": " << opened.message();
    }
}

} // namespace
} // namespace vor::test
