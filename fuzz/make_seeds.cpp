// Writes the seeds of the fuzz targets: make_seeds DIRECTORY makes a folder for each target in DIRECTORY; "import" has
// one small file for each release and byte order with every feature of the release.
#include <vorhost/conversion.h>
#include <vorhost/tables.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory_host.h>
#include <packed_bytes.h>
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

std::string bytes_of(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What text_fuzzer reads: how it is meant, a schema where there is one, the text.
void write_texts(const std::filesystem::path &folder) {
    HostResources host;
    host.files.put("input.dta", build(sample(118, ByteOrder::little)));
    vor::ImportSession::Options options;
    options.contract = vor::Contract::extended;
    vor::ImportSession session(host.options(), options, "/memory/input.dta");
    const vor::Schema schema{session.description(), {}, false};
    const std::filesystem::path made = folder / "made.csv";
    vor::import_rows(session, *vor::delimited_sink(made, {}));
    const std::string text = bytes_of(made);
    std::filesystem::remove(made);
    write(folder / "plain", '\0' + text);
    write(folder / "schema", '\x10' + vor::schema_json(schema) + '\x1E' + text);
    for (const char *suffix : {".gz", ".bz2", ".xz", ".zst", ".zip"})
        write(folder / ("packed" + std::string(suffix)), '\0' + packed(suffix, {{"a.csv", text}}));
    write(folder / "kinds", "\b" // semicolons
                            "date;moment;time;mark;odd;\"quo\"\"ted\"\n2020-01-31;2020-01-31T10:00:00.5;23:59;.a;007;"
                            "\"x\n\"\n1960-01-01;2000-02-29 00:00;-1:00;NA;1e400;base64:AAE=\n");
    write(folder / "wide", std::string("\3a\0,\0b\0\n\0001\0,\0\x26\x26\n\0", 15)); // UTF-16
}

// What library_fuzzer runs.
void write_sql(const std::filesystem::path &folder) {
    constexpr const char *changes[] = {
        "UPDATE vor_variables SET length = 99999, type = 'character' WHERE position = 2;",
        "UPDATE vor_variables SET stored_type = 'str9', stata_format = '%td', label_table = 'x', column_name = 'a';",
        "DELETE FROM t WHERE vor_row = 2; INSERT INTO t DEFAULT VALUES; UPDATE vor_missing SET mark = '.q';",
        "ALTER TABLE t ADD COLUMN more; UPDATE t SET more = x'00FF'; ALTER TABLE t RENAME TO u;",
        "CREATE VIEW v AS SELECT 1 AS a, 'x' || char(0) AS b UNION SELECT NULL, 9007199254740993; DROP TABLE t;",
        "UPDATE vor_ranges SET low = 'b', high = NULL, low_mark = '.z'; UPDATE vor_labels SET label = NULL;",
        "UPDATE vor_exact SET bits = -1; UPDATE vor_characteristics SET owner = '_dta', name = 'note1';",
        "UPDATE vor_library SET version = 1; UPDATE vor_datasets SET catalog = '', own_catalog = 0, table_name = 'v';"};
    int number = 0;
    for (const char *sql : changes)
        write(folder / std::to_string(++number), sql);
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::cerr << "usage: make_seeds DIRECTORY\n";
        return 2;
    }
    const std::filesystem::path folder = arguments[1];
    for (const char *name : {"import", "statements", "texts", "sql"})
        std::filesystem::create_directories(folder / name);
    for (const int release : all_releases())
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big})
            write(folder / "import" / (std::to_string(release) + (order == ByteOrder::big ? "be" : "le")),
                  build(sample(release, order)));
    write(folder / "statements" / "fmtlib", "FMTLIB=LIB.CATALOG;");
    write(folder / "statements" / "parentheses", "fmtlib = work ( ) ;");
    write(folder / "statements" / "quoted", "FMTLIB='my lib'n.x;");
    write_texts(folder / "texts");
    write_sql(folder / "sql");
    return 0;
}
