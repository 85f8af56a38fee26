// Every write of an import into a library fails once: the library is as it was each time.
#include "collected_import.h"
#include "stata_file_builder.h"

#include <vorhost/library.h>

#include <filesystem>
#include <gtest/gtest.h>
#include <sqlite3.h>

namespace vor::test {
namespace {

// The disk that SQLite sees: writes, storing, cutting and removing fail from a chosen one on.
struct FailingDisk {
    int code = SQLITE_FULL;
    bool lasting = false;
    int failing = 0; // the number of the operation that fails, from 1; 0: none
    int done = 0;

    int result() {
        ++done;
        return failing != 0 && (done == failing || (lasting && done > failing)) ? code : SQLITE_OK;
    }
};
FailingDisk disk;

sqlite3_vfs *machine_disk;
sqlite3_io_methods machine_methods;

int write(sqlite3_file *file, const void *bytes, int count, sqlite3_int64 offset) {
    const int code = disk.result();
    return code ? code : machine_methods.xWrite(file, bytes, count, offset);
}
int truncate(sqlite3_file *file, sqlite3_int64 bytes) {
    const int code = disk.result();
    return code ? code : machine_methods.xTruncate(file, bytes);
}
int sync(sqlite3_file *, int) {
    return disk.result(); // no machine stops here
}
int remove(sqlite3_vfs *, const char *name, int store) {
    const int code = disk.result();
    return code ? code : machine_disk->xDelete(machine_disk, name, store);
}

int open(sqlite3_vfs *, const char *name, sqlite3_file *file, int flags, int *given) {
    const int code = machine_disk->xOpen(machine_disk, name, file, flags, given);
    if (file->pMethods == nullptr)
        return code;
    static sqlite3_io_methods locked_methods, others_methods; // of files with locks, and without
    sqlite3_io_methods &methods = (flags & SQLITE_OPEN_MAIN_DB) != 0 ? locked_methods : others_methods;
    methods = machine_methods = *file->pMethods; // which write alike
    methods.xWrite = write;
    methods.xTruncate = truncate;
    methods.xSync = sync;
    file->pMethods = &methods;
    return code;
}

// Makes the disk the one that every connection of this program uses.
void put_disk_in_front() {
    machine_disk = sqlite3_vfs_find(nullptr);
    static sqlite3_vfs failing = *machine_disk;
    failing.zName = "failing";
    failing.xOpen = open;
    failing.xDelete = remove;
    ASSERT_EQ(sqlite3_vfs_register(&failing, 1), SQLITE_OK);
}

// Labels, notes and rows, all of them more than SQLite keeps in memory at the sizes below.
std::string labelled_file(int rows) {
    StataFile file{.release = 118};
    file.variables = {{.name = "n", .type = Type::int16, .value_label = "t"},
                      {.name = "m", .type = Type::byte, .value_label = "u"},
                      {.name = "text", .type = str(60)}};
    for (int i = 0; i < rows; ++i)
        file.rows.push_back({i, missing('c'), std::string(60, static_cast<char>('a' + i % 26))});
    for (const char *name : {"t", "u"}) {
        LabelTable &table = file.value_labels.emplace_back(LabelTable{name, {}});
        for (int i = 0; i < rows; ++i)
            table.entries.push_back({i, "label " + std::to_string(rows * i)});
    }
    file.characteristics = {{"_dta", "note1", std::string(3000, 'x')}};
    return build(file);
}

void import(const std::string &file, const std::string &path, Contract contract) {
    const bool own_labels = contract == Contract::extended;
    const auto library = Library::open(path, Library::Access::write);
    Libraries libraries;
    libraries.assign("DEST", library);
    HostOptions host;
    host.catalogs = &libraries;
    ImportSession::Options options;
    options.contract = contract;
    options.formats = own_labels ? FormatPlace{} : FormatPlace{"DEST", "FORMATS"};
    const auto sink = library->dataset_sink("t", own_labels ? std::nullopt : std::optional<std::string>("FORMATS"));
    ImportSession session(host, options, file);
    import_rows(session, *sink);
}

// What another client finds, with the names of whatever stands beside the library afterwards.
std::string contents(const ScratchDirectory &scratch, const std::string &path) {
    std::string found;
    if (std::filesystem::exists(path)) {
        sqlite3 *client = nullptr;
        sqlite3_open(path.c_str(), &client);
        for (const char *query :
             {"PRAGMA integrity_check", "SELECT * FROM t", "SELECT * FROM t_labelled", "SELECT * FROM vor_datasets",
              "SELECT * FROM vor_variables", "SELECT * FROM vor_characteristics", "SELECT count(*) FROM vor_missing",
              "SELECT * FROM vor_formats", "SELECT * FROM vor_ranges", "SELECT * FROM vor_labels",
              "SELECT name, sql FROM sqlite_master", "PRAGMA foreign_key_check"}) {
            const auto append = [](void *text, int columns, char **values, char **) {
                for (int i = 0; i < columns; ++i)
                    *static_cast<std::string *>(text) += std::string(values[i] ? values[i] : "NULL") + "|";
                return 0;
            };
            found += std::to_string(sqlite3_exec(client, query, append, &found, nullptr)) + "\n";
        }
        sqlite3_close(client);
    }
    for (const std::string &name : scratch.names())
        found += scratch.path(name) == path + "-journal" ? "" : name + " "; // one that undoes nothing may stay
    return found;
}

struct FaultCase {
    Contract contract;
    bool old_library; // else there is none
    int code;
    bool lasting;
};
const FaultCase fault_cases[] = {
    {Contract::extended, true, SQLITE_FULL, false}, {Contract::extended, true, SQLITE_IOERR_WRITE, true},
    {Contract::base, true, SQLITE_FULL, true},      {Contract::base, true, SQLITE_IOERR_FSYNC, false},
    {Contract::extended, false, SQLITE_FULL, true},
};

// A library that SQLite works on with little memory, so that much is written before the end; one small data set is in
// it.
void make_old_library(const std::string &path, const std::string &file, Contract contract) {
    sqlite3 *client = nullptr;
    sqlite3_open(path.c_str(), &client);
    sqlite3_exec(client, "PRAGMA page_size = 1024; PRAGMA default_cache_size = 10", nullptr, nullptr, nullptr);
    sqlite3_close(client);
    import(file, path, contract);
}

// Nothing thrown: false. Only the machine may fail.
bool fails(const std::string &file, const std::string &path, Contract contract) {
    try {
        import(file, path, contract);
        return false;
    } catch (const ConversionError &error) {
        EXPECT_EQ(error.failure(), Failure::machine) << error.what();
        return true;
    }
}

TEST(LibraryFaults, EveryWriteOfAnImport) {
    put_disk_in_front();
    for (const FaultCase &one : fault_cases) {
        const ScratchDirectory scratch, kept;
        const std::string old_file = kept.write("old.dta", labelled_file(5));
        const std::string new_file = kept.write("new.dta", labelled_file(80));
        const std::string path = scratch.path("o.db"), old_library = kept.path("old.db");
        if (one.old_library)
            make_old_library(old_library, old_file, one.contract);
        bool failed = true;
        int steps = 0;
        while (failed && ++steps < 1000) {
            std::filesystem::remove(path);
            if (one.old_library)
                std::filesystem::copy_file(old_library, path);
            const std::string before = contents(scratch, path);
            disk = {.code = one.code, .lasting = one.lasting, .failing = steps};
            failed = fails(new_file, path, one.contract);
            disk = {};
            const std::string after = contents(scratch, path);
            ASSERT_EQ(after == before, failed) << "operation " << steps << "\n" << after.substr(0, 400);
        }
        EXPECT_FALSE(failed);
        EXPECT_GT(steps, one.old_library ? 100 : 20) << "too little was written";
    }
}

} // namespace
} // namespace vor::test
