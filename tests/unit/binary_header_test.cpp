// The header of the binary releases and the chain of expansion fields.
#include "driver_file.h"
#include "imstata_header.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

StataFile small_file() {
    StataFile file{.release = 115, .data_label = "label"};
    file.variables = {{.name = "a", .type = Type::byte}};
    file.rows = {{1}};
    return file;
}

TEST(BinaryHeader, OtherReleasesAndShortFilesAreRefused) {
    const std::string whole = build(small_file());
    for (const int release : {102, 106, 107, 109, 116, 118}) {
        DriverFile opened(static_cast<char>(release) + whole.substr(1));
        headerrec header{};
        EXPECT_EQ(parse_binary_header(&opened.in, &header), ERROR_INPUT_INVALID);
        EXPECT_EQ(opened.message(),
                  "For Stata, Release flags of 103 to 115 are supported.  You had -> " + std::to_string(release));
    }
    for (const auto &[size, missing_part] : {std::pair{0U, "10 bytes of the header at byte 0, found 0."},
                                             {9U, "10 bytes of the header at byte 0, found 9."},
                                             {90U, "81 bytes of the data label at byte 10, found 80."},
                                             {108U, "18 bytes of the time stamp at byte 91, found 17."}}) {
        DriverFile opened(whole.substr(0, size));
        headerrec header{};
        EXPECT_EQ(parse_binary_header(&opened.in, &header), ERROR_READ);
        EXPECT_EQ(opened.message(), std::string("%1zThe Stata file is too short: expected ") + missing_part);
    }
}

TEST(BinaryHeader, DamagedExpansionFields) {
    StataFile file = small_file();
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
        dsnrecord state{}; // what the routines before this one leave
        state.layout = find_release(115);
        state.byte_order = LEAST_SIGNIFICANT_FIRST;
        state.file_size = std::ssize(opened.bytes);
        opened.in.indsn = &state;
        opened.file.move(field);
        EXPECT_EQ(skip_binary_expansion_records(&opened.in), row.status) << row.what;
        EXPECT_TRUE(opened.says(row.message)) << row.what << ": " << opened.message();
    }
}

} // namespace
} // namespace vor::test
