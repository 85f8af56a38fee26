#include "library/library_file.h"

#include "files/hidden_files.h"
#include "files/output_file.h"
#include "library/datasets.h"
#include "library/format_catalogs.h"
#include "library/library_tables.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/library.h>
#include <vorhost/selection.h>

#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <set>
#include <system_error>

namespace vor {

namespace {

constexpr const char *in_memory = ":memory:";

std::string journal_of(const std::string &database) {
    return database + "-journal";
}

} // namespace

WriteScope::WriteScope(std::shared_ptr<LibraryFile> library) : library_(std::move(library)) {
    Database &database = library_->database();
    if (library_->access_ == Library::Access::read || database.read_only())
        throw ConversionError(Failure::machine, library_->path_ + " cannot be written: it is read-only.");
    if (database.in_transaction() && library_->scopes_ > 0) {
        savepoint_ = fmt::format("vor_{}", library_->scopes_);
        database.run("SAVEPOINT " + savepoint_);
    } else {
        database.run("BEGIN IMMEDIATE");
        if (!library_->pending_ && library_->path_ != in_memory)
            work_.emplace();
    }
    ++library_->scopes_;
    make_library_tables(database);
}

// What SQLite has already undone, because the disk was full, is not undone again.
WriteScope::~WriteScope() {
    if (done_)
        return;
    --library_->scopes_;
    try {
        Database &database = library_->database();
        if (database.in_transaction())
            database.run(savepoint_.empty() ? std::string("ROLLBACK")
                                            : fmt::format("ROLLBACK TO {0}; RELEASE {0}", savepoint_));
    } catch (const ConversionError &) {
        // The library is as it was: an open transaction ends with its connection at the latest.
    }
}

void WriteScope::commit() {
    library_->database().run(savepoint_.empty() ? "COMMIT" : "RELEASE " + savepoint_);
    --library_->scopes_;
    work_.reset();
    done_ = true;
    if (savepoint_.empty())
        library_->put_in_place();
}

LibraryFile::LibraryFile(const std::string &path, Access access) : path_(path), access_(access) {
    std::error_code unknown;
    const auto status = std::filesystem::status(path, unknown);
    if (path != in_memory && std::filesystem::is_directory(status))
        throw ConversionError(Failure::machine, path + " is a directory; a SQLite library was expected.");
    const bool missing = path != in_memory && status.type() == std::filesystem::file_type::not_found;
    if (missing && access == Access::read)
        throw ConversionError(Failure::machine, path + " cannot be opened: No such file or directory.");
    if (missing)
        open_new();
    else if (path == in_memory) // SQLite's own name for a temporary file of what does not fit into its memory
        database_ = std::make_unique<Database>("", path, true);
    else
        database_ = std::make_unique<Database>(path, path, false);
}

LibraryFile::~LibraryFile() {
    database_.reset();
    if (pending_)
        remove_hidden(journal_of(pending_->path()));
}

void LibraryFile::open_new() {
    pending_ = std::make_unique<PendingFile>(machine_files(), path_);
    remember_unfinished(journal_of(pending_->path())); // it comes and goes
    try {
        database_ = std::make_unique<Database>(pending_->path(), path_, false);
    } catch (...) {
        forget_unfinished(journal_of(pending_->path()));
        throw;
    }
}

// SQLite finds a file's journal by the name it was opened under, so the file is closed while it is moved.
void LibraryFile::put_in_place() {
    if (!pending_)
        return;
    database_.reset();
    const std::unique_ptr<PendingFile> pending = std::move(pending_);
    forget_unfinished(journal_of(pending->path()));
    bool is_first = false;
    try {
        is_first = pending->put_in_place(Existing::kept);
        database_ = std::make_unique<Database>(path_, path_, false);
    } catch (...) {
        database_ = std::make_unique<Database>(in_memory, path_, true);
        throw;
    }
    if (!is_first)
        take_from(pending->path());
}

// Another program has made the library meanwhile: what was to be a library of its own goes into that one.
void LibraryFile::take_from(const std::string &made) {
    const auto source = std::make_shared<LibraryFile>(made, Access::read);
    WriteScope scope(shared_from_this());
    std::set<std::string> own;
    for (const std::string &name : source->dataset_names()) {
        const StoredDataset dataset = find_dataset(source->database(), name, {});
        const std::unique_ptr<BatchSource> rows = source->dataset_source(name, {}, {});
        const std::unique_ptr<BatchSink> sink =
            dataset_sink(name, dataset.own_catalog ? std::nullopt : std::optional(dataset.catalog), Tables::kept);
        copy_rows(*rows, name, {}, *sink);
        if (dataset.own_catalog)
            own.insert(dataset.catalog);
    }
    for (const std::string &catalog : source->catalog_names())
        for (const UserFormat &format : load_catalog(source->database(), catalog))
            if (!own.contains(catalog))
                store_format(*database_, catalog, format);
    scope.commit();
}

std::vector<std::string> LibraryFile::dataset_names() const {
    return list_datasets(*database_);
}

bool LibraryFile::has_dataset(const std::string &name) const {
    return is_dataset(*database_, name);
}

DataSet LibraryFile::describe(const std::string &dataset, const Notes &notes) {
    return dataset_source(dataset, notes, {})->description();
}

std::unique_ptr<BatchSink> LibraryFile::dataset_sink(const std::string &dataset,
                                                     const std::optional<std::string> &catalog, Tables others) {
    return make_dataset_sink(shared_from_this(), dataset, catalog, others);
}

std::unique_ptr<BatchSource> LibraryFile::dataset_source(const std::string &dataset, const Notes &notes,
                                                         const Notes &warnings) {
    return make_dataset_source(shared_from_this(), dataset, notes, warnings);
}

std::string LibraryFile::catalog_of(const std::string &dataset) const {
    return catalog_of_dataset(*database_, dataset);
}

std::unique_ptr<Transaction> LibraryFile::transaction() {
    return std::make_unique<WriteScope>(shared_from_this());
}

std::vector<std::string> LibraryFile::catalog_names() const {
    return list_catalogs(*database_);
}

std::vector<std::string> LibraryFile::format_names(const std::string &catalog) const {
    return list_formats(*database_, catalog);
}

bool LibraryFile::read_format(const std::string &catalog, const std::string &name, UserFormat &format) const {
    return load_format(*database_, catalog, name, format);
}

void LibraryFile::write_format(const std::string &catalog, const UserFormat &format) {
    WriteScope scope(shared_from_this());
    store_format(*database_, catalog, format);
    scope.commit();
}

std::shared_ptr<Library> Library::open(const std::string &path, Access access) {
    return std::make_shared<LibraryFile>(path, access);
}

namespace {

constexpr const char *work = "work";
constexpr size_t longest_library_name = 8;

} // namespace

struct Libraries::State {
    std::map<std::string, std::shared_ptr<Library>> by_name; // in small letters
};

Libraries::Libraries() : state_(std::make_unique<State>()) {}
Libraries::~Libraries() = default;

void Libraries::assign(const std::string &name, std::shared_ptr<Library> library) {
    if (name.empty() || name.size() > longest_library_name)
        throw ConversionError(Failure::usage,
                              fmt::format("\"{}\" cannot name a library: names have 1 to 8 characters.", name));
    state_->by_name[lower_case(name)] = std::move(library);
}

std::shared_ptr<Library> Libraries::find(const std::string &name) {
    const std::string key = lower_case(name);
    const auto found = state_->by_name.find(key);
    if (found != state_->by_name.end())
        return found->second;
    if (key != work)
        return nullptr;
    return state_->by_name[key] = Library::open(":memory:", Library::Access::write);
}

FormatCatalogs::Written Libraries::write(const std::string &library, const std::string &catalog,
                                         const UserFormat &format, bool keep_existing) {
    const auto target = find(library);
    if (!target)
        throw ConversionError(
            Failure::conversion,
            fmt::format("The format {} cannot be stored: there is no library {}.", format.name, library));
    UserFormat existing;
    if (keep_existing && target->read_format(catalog, format.name, existing))
        return Written::kept_old;
    target->write_format(catalog, format);
    return Written::stored;
}

bool Libraries::read(const std::string &library, const std::string &catalog, const std::string &name,
                     UserFormat &format) {
    const auto source = find(library);
    return source && source->read_format(catalog, name, format);
}

} // namespace vor
