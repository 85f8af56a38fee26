// Unpacking: damage is never taken for content.
#include "files/unpacker.h"
#include "packed_bytes.h"

#include <vorhost/error.h>

#include <gtest/gtest.h>

namespace vor::test {
namespace {

constexpr const char *suffixes[] = {".gz", ".bz2", ".xz", ".zst", ".zip"};

// Text that packs to something with parts of every kind.
std::string content() {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += std::to_string(i * i % 1013) + ",some text\n";
    }
    return text;
}

// What the unpacker makes of bytes, in pieces of a size that divides nothing; "ERROR: " and the sentence when it
// throws.
std::string unpack_all(const std::string &bytes, size_t piece_bytes = 1013) {
    const auto read = [&bytes](uint64_t position, std::span<char> buffer) {
        return position < bytes.size() ? bytes.copy(buffer.data(), buffer.size(), position) : 0;
    };
    try {
        const auto unpacker = unpack(compression_of_bytes(bytes), {"file", read, bytes.size()});
        std::string all, piece(piece_bytes, '\0');
        while (const size_t got = unpacker->read(piece))
            all.append(piece, 0, got);
        return all;
    } catch (const ConversionError &error) {
        EXPECT_EQ(error.failure(), Failure::conversion);
        return std::string("ERROR: ") + error.what();
    }
}

TEST(Unpacker, WholeContent) {
    std::string large; // more than a block
    while (large.size() < 700'000) {
        large += content() + std::to_string(large.size() * 2654435761 % 999983);
    }
    for (const std::string suffix : suffixes) {
        SCOPED_TRACE(suffix);
        EXPECT_EQ(unpack_all(packed(suffix, {{"a", large}})), large);
        EXPECT_EQ(unpack_all(packed(suffix, {{"a", "x"}}), 1), "x");
        EXPECT_EQ(unpack_all(packed(suffix, {{"a", ""}})), "");
        if (suffix != ".zip") {
            EXPECT_EQ(unpack_all(packed(suffix, {{"", "one "}}) + packed(suffix, {{"", "after another"}})),
                      "one after another");
        }
    }
}

TEST(Unpacker, FilesThatAreCutShort) {
    for (const std::string suffix : suffixes) {
        const std::string whole = packed(suffix, {{"a.csv", content()}});
        for (size_t bytes = compression_mark_bytes; bytes < whole.size(); ++bytes) {
            EXPECT_TRUE(unpack_all(whole.substr(0, bytes)).starts_with("ERROR: file: ")) << suffix << ' ' << bytes;
        }
    }
}

// A byte that does not count (a time, a name) may change. The writer of .zst puts no check sum in.
TEST(Unpacker, FilesWithAChangedByte) {
    for (const std::string suffix : {".gz", ".xz", ".zip"}) {
        const std::string whole = packed(suffix, {{"a.csv", content()}});
        size_t refused = 0;
        for (size_t at = compression_mark_bytes; at < whole.size(); ++at) {
            std::string changed = whole;
            changed[at] = static_cast<char>(changed[at] ^ 0x10);
            const std::string result = unpack_all(changed);
            refused += result.starts_with("ERROR: file");
            EXPECT_TRUE(result.starts_with("ERROR: file") || result == content()) << suffix << ' ' << at;
        }
        EXPECT_GT(refused, whole.size() / 2) << suffix;
    }
}

TEST(Unpacker, SentencesAboutTheFile) {
    const std::string gzip = packed(".gz", {{"", "content"}});
    std::string wrong_sum = gzip;
    ++wrong_sum[gzip.size() - 8];
    const struct {
        std::string bytes;
        const char *part;
    } cases[] = {
        {gzip.substr(0, gzip.size() - 3), "damaged or cut short near byte "},
        {wrong_sum, "incorrect data check"},
        {gzip + "rest", "incorrect header check"},
        {gzip + std::string(3, '\0') + "rest", "bytes stand behind the end"},
        {packed(".zip", {{"a.dta", "1"}, {"b.dta", "2"}}), "2 files (a.dta, b.dta)"},
        {packed(".zip", {{"1", ""}, {"2", ""}, {"3", ""}, {"4", ""}, {"5", ""}, {"6", ""}}), "(1, 2, 3, 4, 5, ...)"},
        {packed(".zip", {{"folder/", ""}}), "without a file in it"},
        {packed(".zip", {}), "without a file in it"},
        {packed(".zip", {{"a", "1"}}).substr(0, 60), "list of files at its end is missing"},
    };
    for (const auto &one : cases) {
        const std::string result = unpack_all(one.bytes);
        EXPECT_TRUE(result.starts_with("ERROR: file") && result.find(one.part) != std::string::npos) << result;
    }
    EXPECT_EQ(unpack_all(gzip + std::string(1000, '\0')), "content") << "padding is no damage";
    EXPECT_EQ(unpack_all(packed(".zip", {{"d/", ""}, {"d/a.dta", "1"}, {"__MACOSX/d/._a.dta", "2"}})), "1");
}

} // namespace
} // namespace vor::test
