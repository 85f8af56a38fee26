// Writes the seeds of the fuzz targets: make_seeds DIRECTORY makes DIRECTORY/import, one small file for each release
// and byte order with every feature of the release, and DIRECTORY/statements.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <whole_file.h>

namespace {

using namespace vor::test;

StataFile sample(int release, ByteOrder order) {
    StataFile file = whole_file(release, order, 2);
    if (is_tagged(release))
        add_tagged_variables(file);
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
    for (const int release : all_releases())
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big})
            write(folder / "import" / (std::to_string(release) + (order == ByteOrder::big ? "be" : "le")),
                  build(sample(release, order)));
    write(folder / "statements" / "fmtlib", "FMTLIB=LIB.CATALOG;");
    write(folder / "statements" / "parentheses", "fmtlib = work ( ) ;");
    write(folder / "statements" / "quoted", "FMTLIB='my lib'n.x;");
    return 0;
}
