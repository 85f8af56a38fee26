// A library as one SQLite file. Knows when the file is made, when it appears under its name, and which transaction is
// open; what its tables hold is in the other files of this folder.
#pragma once

#include "files/output_file.h"
#include "library/database.h"

#include <vorhost/library.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vor {

class LibraryFile;

// What is written until commit, or nothing of it. Within another scope it is a part of that one.
class WriteScope : public Transaction {
  public:
    // ConversionError when the library cannot be written or another program has locked it.
    explicit WriteScope(std::shared_ptr<LibraryFile> library);
    ~WriteScope() override;
    WriteScope(const WriteScope &) = delete;
    WriteScope &operator=(const WriteScope &) = delete;

    // The statements of sinks and sources on a library that is only now put in its place must be gone.
    void commit() override;

  private:
    std::shared_ptr<LibraryFile> library_;
    std::optional<InterruptibleWork> work_; // of a library that is already in its place
    std::string savepoint_;                 // empty: the outermost scope
    bool done_ = false;
};

class LibraryFile : public Library, public std::enable_shared_from_this<LibraryFile> {
  public:
    LibraryFile(const std::string &path, Access access);
    ~LibraryFile() override;

    const std::string &path() const override { return path_; }
    std::vector<std::string> dataset_names() const override;
    bool has_dataset(const std::string &name) const override;
    DataSet describe(const std::string &dataset, const Notes &notes) override;
    std::unique_ptr<BatchSink> dataset_sink(const std::string &dataset, const std::optional<std::string> &catalog,
                                            Tables others) override;
    std::unique_ptr<BatchSource> dataset_source(const std::string &dataset, const Notes &notes,
                                                const Notes &warnings) override;
    std::string catalog_of(const std::string &dataset) const override;
    std::unique_ptr<Transaction> transaction() override;
    std::vector<std::string> catalog_names() const override;
    std::vector<std::string> format_names(const std::string &catalog) const override;
    bool read_format(const std::string &catalog, const std::string &name, UserFormat &format) const override;
    void write_format(const std::string &catalog, const UserFormat &format) override;

    Database &database() const { return *database_; }

  private:
    friend class WriteScope;

    void open_new();
    void put_in_place();
    void take_from(const std::string &made);

    std::string path_;
    Access access_;
    std::unique_ptr<PendingFile> pending_; // a new file that is not yet in its place; else null
    std::unique_ptr<Database> database_;
    int scopes_ = 0;
};

} // namespace vor
