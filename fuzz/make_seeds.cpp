// Writes the seeds of the fuzz targets: make_seeds DIRECTORY makes DIRECTORY/import, one small file for each release
// and byte order with every feature of the release, and DIRECTORY/statements.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stata_file_builder.h>
#include <string>

namespace {

using namespace vor::test;

constexpr int releases[] = {103, 104, 105, 108, 110, 111, 112, 113, 114, 115, 117, 118, 119};

StataFile sample(int release, ByteOrder order) {
    StataFile file{.release = release, .order = order, .data_label = "sample"};
    const bool clocks = release >= 117;
    file.variables = {{.name = "b", .type = Type::byte, .format = "%8.0g", .label = "answer", .value_label = "yn"},
                      {.name = "i", .type = Type::int16},
                      {.name = "l", .type = Type::int32, .format = release >= 105 ? "%d" : "%9.0g"},
                      {.name = "f", .type = Type::float32, .format = "%9.2f"},
                      {.name = "d", .type = Type::float64, .format = clocks ? "%tc" : "%9.3e"},
                      {.name = "s", .type = str(5), .format = "%5s"}};
    const Cell none = release >= 113 ? missing('c') : missing();
    file.rows = {{1, 300, 14000, 1.5, 1e12, "abc"}, {missing(), none, missing(), none, missing(), ""}};
    file.value_labels = {{.name = "yn", .entries = {{0, "no"}, {1, "yes"}}}};
    if (release >= 117) {
        file.variables.push_back({.name = "long", .type = Type::strl, .format = "%9s"});
        file.rows[0].emplace_back("a long text");
        file.rows[1].emplace_back(binary("bytes"));
        file.characteristics = {{"_dta", "note1", "a note"}};
    } else if (release >= 105) {
        file.expansion_fields = {{1, "field"}};
    }
    return file;
}

void write(const std::filesystem::path &path, const std::string &bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::cerr << "usage: make_seeds DIRECTORY\n";
        return 2;
    }
    const std::filesystem::path folder = arguments[1];
    std::filesystem::create_directories(folder / "import");
    std::filesystem::create_directories(folder / "statements");
    for (const int release : releases)
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big})
            write(folder / "import" / (std::to_string(release) + (order == ByteOrder::big ? "be" : "le")),
                  build(sample(release, order)));
    write(folder / "statements" / "fmtlib", "FMTLIB=LIB.CATALOG;");
    write(folder / "statements" / "parentheses", "fmtlib = work ( ) ;");
    write(folder / "statements" / "quoted", "FMTLIB='my lib'n.x;");
    return 0;
}
