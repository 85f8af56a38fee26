// Arbitrary SQL changes a library of one data set before its data sets, tables and views are read.
#include "export_of.h"

#include <vorhost/library.h>

#include <sqlite3.h>
#include <whole_file.h>

namespace {

constexpr int most_steps = 1000; // times a thousand, of what the SQL and the reading of each data set may do

// A library of what a Stata file can say, as bytes.
std::string sound_library() {
    vor::test::HostResources host;
    vor::test::StataFile file = vor::test::whole_file(118, vor::test::ByteOrder::little, 3);
    vor::test::add_tagged_variables(file);
    host.files.put("input.dta", vor::test::build(file));
    const std::string path = vor::fuzz::input_file("-sound.db", "");
    {
        const auto library = vor::Library::open(path, vor::Library::Access::write);
        const auto sink = library->dataset_sink("t");
        vor::ImportSession::Options options;
        options.contract = vor::Contract::extended;
        vor::ImportSession session(host.options(), options, "/memory/input.dta");
        vor::import_rows(session, *sink);
    }
    std::ifstream made(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(made), {}};
}

void change(const std::string &path, const std::string &sql) {
    sqlite3 *client = nullptr;
    sqlite3_open(path.c_str(), &client);
    int steps = 0;
    sqlite3_limit(client, SQLITE_LIMIT_LENGTH, 1 << 20);
    sqlite3_limit(client, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_progress_handler(
        client, 1000, [](void *done) { return ++*static_cast<int *>(done) > most_steps ? 1 : 0; }, &steps);
    sqlite3_exec(client, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    sqlite3_exec(client, sql.c_str(), nullptr, nullptr, nullptr);
    sqlite3_close(client);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::string sound = sound_library();
    const std::string path = vor::fuzz::input_file(".db", sound);
    for (const char *beside : {"-journal", "-wal", "-shm"})
        unlink((path + beside).c_str());
    change(path, std::string(reinterpret_cast<const char *>(data), size));
    try {
        const auto library = vor::Library::open(path, vor::Library::Access::read);
        for (const std::string &catalog : library->catalog_names())
            for (const std::string &name : library->format_names(catalog)) {
                vor::UserFormat format;
                library->read_format(catalog, name, format);
            }
        for (const std::string &name : library->dataset_names())
            vor::fuzz::export_of([&](vor::Log &) { return library->dataset_source(name); });
    } catch (const vor::ConversionError &) {
    }
    return 0;
}
