// Small files that stand for large ones: each is refused, or read, at the cost of a small file.
#include "command_test.h"
#include "packed_bytes.h"

#include <filesystem>
#include <functional>
#include <malloc.h>
#include <regex>
#include <sys/resource.h>

namespace vor::test {
namespace {

// Of memory, beyond what the command takes for any file.
#ifdef __SANITIZE_ADDRESS__ // keeps freed memory apart for a while
constexpr int64_t most_bytes = int64_t{512} << 20;
#else
constexpr int64_t most_bytes = int64_t{64} << 20;
#endif

std::string repeated(std::string_view text, size_t times) {
    std::string all;
    all.reserve(text.size() * times);
    for (size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

// A header line of names and a row of ones.
std::string table_of(size_t columns, const std::function<std::string(size_t)> &name) {
    std::string names;
    for (size_t i = 0; i < columns; ++i)
        names += (i == 0 ? "" : ",") + name(i);
    return names + "\n" + repeated("1,", columns - 1) + "1\n";
}

// A name of 16 bits, none of which may stand in a Stata file.
std::string unusable_name(size_t number) {
    std::string name = "a";
    for (int bit = 0; bit < 16; ++bit)
        name += (number >> bit & 1) != 0 ? '+' : '-';
    return name;
}

std::string labelled_file(size_t bytes) {
    return build({.release = 118,
                  .variables = {{.name = "x", .type = Type::byte, .value_label = "t"}},
                  .rows = {{1}},
                  .value_labels = {{"t", {{1, std::string(bytes, 'a')}}}}});
}

std::string remarked_file(size_t bytes) {
    return build({.release = 118,
                  .variables = {{.name = "x"}},
                  .characteristics = {{"_dta", "note1", std::string(bytes, 'a')}}});
}

std::string long_file(size_t rows) {
    return build(
        {.release = 118, .variables = {{.name = "x", .type = str(2000)}}, .rows = std::vector<Row>(rows, Row{""})});
}

// Variables with one table of labels.
std::string shared_labels_file(size_t variables, int labels) {
    StataFile file{.release = 118, .rows = {Row(variables, Cell(1))}, .value_labels = {{"t", {}}}};
    for (size_t i = 0; i < variables; ++i)
        file.variables.push_back({.name = "v" + std::to_string(i), .type = Type::byte, .value_label = "t"});
    for (int i = 0; i < labels; ++i)
        file.value_labels[0].entries.push_back({i, std::to_string(i)});
    return build(file);
}

struct SmallFile {
    const char *what;
    const char *name;
    std::string suffix; // of the compression, or empty
    std::function<std::string()> content;
    const char *line;
    const char *error = nullptr; // a part of the ERROR line; null: the run goes well
};

const SmallFile small_files[] = {
    {"commas", "f.csv", ".zst", [] { return repeated(",", 8 << 20); }, "export f.csv o.dta",
     "more than 131072 columns"},
    {"a row of commas", "f.csv", "", [] { return "a,b\n" + repeated(",", 8 << 20); }, "export f.csv o.dta",
     "row 1 (line 2): found more, expected 2 fields"},
    {"quoted fields", "f.csv", ".zst", [] { return "a,b\n" + repeated("\"\",", 5 << 20); }, "export f.csv o.dta",
     "row 1 (line 2): found more, expected 2 fields"},
    {"a line without end", "f.csv", ".zst", [] { return repeated("a", 32 << 20); }, "export f.csv o.dta",
     "--no-unpack-limit"},
    {"a schema of brackets", "f.json", ".xz", [] { return repeated("[", 8 << 20); },
     "export a.csv o.dta --schema f.json", "--no-unpack-limit"},
    {"a plain schema of brackets", "f.json", "", [] { return repeated("[", 8 << 20); },
     "export a.csv o.dta --schema f.json", "brackets"},
    {"a deep member", "f.json", ".zst", [] { return "{\"x\":" + repeated("{\"x\":", 100'000); },
     "export a.csv o.dta --schema f.json", "brackets"},
    {"labels", "f.dta", ".zst", [] { return labelled_file(16 << 20); }, "describe f.dta", "--no-unpack-limit"},
    {"labels into a library", "f.dta", ".bz2", [] { return labelled_file(2 << 20); }, "import f.dta o.db",
     "--no-unpack-limit"},
    {"a note", "f.dta", ".xz", [] { return remarked_file(32 << 20); }, "describe --json f.dta", "--no-unpack-limit"},
    {"observations", "f.dta", ".zst", [] { return long_file(10'000); }, "describe f.dta", "--no-unpack-limit"},
    {"names that clean to one", "f.csv", "", [] { return table_of(10'000, unusable_name); }, "export f.csv o.dta"},
    {"names with one beginning", "f.csv", "",
     [] { return table_of(10'000, [](size_t i) { return std::string(32, 'x') + std::to_string(i); }); },
     "export f.csv o.dta --contract base"},
    {"a long name twice", "f.csv", "", [] { return table_of(2, [](size_t) { return std::string(100'000, 'a'); }); },
     "export f.csv o.dta", "\xE2\x80\xA6"},
    {"labels that all variables share", "f.csv", "", [] { return ""; }, "export shared.db:t o.dta --contract base"},
    {"regular rows", "f.csv", ".zst", [] { return "a,b\n" + repeated("1,2\n", 1 << 20); }, "export f.csv o.dta"},
    {"many observations, with leave", "f.dta", ".zst", [] { return long_file(10'000); },
     "head f.dta --no-unpack-limit"},
};

std::string bytes_of(const SmallFile &one) {
    return one.suffix.empty() ? one.content() : packed(one.suffix, {{"", one.content()}});
}

TEST_F(CommandTest, SmallFilesCostLittle) {
    scratch.write("a.csv", "a\n1\n");
    scratch.write("shared.dta", shared_labels_file(1000, 1000));
    output_of("import shared.dta shared.db:t");
    for (const SmallFile &one : small_files) {
        SCOPED_TRACE(one.what);
        scratch.write(one.name, bytes_of(one));
        malloc_trim(0); // the command begins as this process, whose memory would hide what it takes
        const Words names = scratch.names();
        const int64_t usual = run("describe visits.dta").peak_bytes;
        const CommandResult result = run(one.line);
        EXPECT_EQ(result.status, one.error ? 1 : 0) << result.err.substr(0, 1000);
        EXPECT_NE(result.err.find(one.error ? one.error : ""), std::string::npos) << result.err.substr(0, 1000);
        EXPECT_EQ(scratch.names() == names, one.error || !result.out.empty());
        EXPECT_LT(result.peak_bytes - usual, most_bytes);
        EXPECT_LT(result.err.size(), one.error ? 1000U : 4U << 20);
        std::filesystem::remove(scratch.path("o.dta"));
    }
}

// A disk without room for what a compressed file holds, of which only the beginning and the end are looked at.
TEST_F(CommandTest, DescribesWithoutUnpackingToDisk) {
    StataFile file{
        .release = 118,
        .variables = {{.name = "x", .type = Type::byte, .value_label = "last"}, {.name = "text", .type = str(2000)}}};
    for (int i = 0; i < 10'000; ++i)
        file.rows.push_back({i % 100, std::string(50, static_cast<char>('a' + i % 26))});
    file.value_labels = {{"last", {{1, "one"}}}};
    scratch.write("p.dta", build(file));
    scratch.write("z.dta", packed(".zst", {{"", build(file)}}));
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    for (const std::string line : {"describe --json", "describe", "head --labels text", "head --rows 9000:9002"}) {
        const bool at_start = line != "head --rows 9000:9002";
        const rlimit small{.rlim_cur = at_start ? 100 << 10 : old.rlim_cur, .rlim_max = old.rlim_max};
        const CommandResult plain = run(line + " p.dta");
        setrlimit(RLIMIT_FSIZE, &small);
        const CommandResult unpacked = run(line + " z.dta --no-unpack-limit");
        setrlimit(RLIMIT_FSIZE, &old);
        EXPECT_EQ(unpacked.status, 0) << unpacked.err;
        EXPECT_EQ(std::regex_replace(unpacked.out, std::regex("z[.]dta"), "p.dta"), plain.out) << line;
    }
}

} // namespace
} // namespace vor::test
