// SQLite libraries: data sets as tables that any SQLite client can query, with what SQL has no place for beside them in
// tables whose names begin with vor_; user formats in catalogs.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/log.h>
#include <vorhost/user_format.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vor {

// Groups what is written to a library: nothing of it is there before commit, and nothing stays when it is destroyed
// before. One inside another commits with the outer one.
class Transaction {
  public:
    virtual ~Transaction() = default;
    virtual void commit() = 0;
};

// One library. Failures are ConversionErrors that name the file: not a database, locked, read-only, full.
//
// Open a file once in a run and share it: a second one would wait for what the first one has locked. Names of data
// sets, catalogs and formats compare without regard to the case of ASCII letters; formats that differ in nothing else
// are kept apart, and one of exactly the name asked for comes first. Not used from two threads at once.
class Library {
  public:
    enum class Access { read, write };

    // Opens a library file; with write access a missing one is made, which appears under its name with the first
    // commit. The path ":memory:" gives a temporary one.
    static std::shared_ptr<Library> open(const std::string &path, Access access);
    virtual ~Library() = default;

    virtual const std::string &path() const = 0;

    virtual std::vector<std::string> dataset_names() const = 0;
    virtual bool has_dataset(const std::string &name) const = 0;

    // A data set's description, also of a plain table or view that nothing of ours wrote (then types, lengths and ISO
    // dates are found by looking at its values). ConversionError when there is none of that name, or a value that is no
    // number and no text (a BLOB); it names row and column; and when a column of a data set has been renamed or
    // dropped. Notes: integers that a double does not hold exactly, columns of numbers and text, columns that are new
    // in a data set's table. label_tables: all of the data set's own catalog, or those of a shared one that its
    // variables use.
    virtual DataSet describe(const std::string &dataset, const Notes &notes = {}) = 0;

    // Whether a table that no import made gives way to a data set of its name.
    enum class Tables { kept, replaced };

    // A sink that replaces the data set in one transaction, which begins here and also holds the user formats written
    // meanwhile. `catalog` is where the data set's user formats are, shared with others: its label tables are put
    // there, and there the view NAME_labelled looks them up. Empty: they are in no catalog of this library; nothing:
    // in one that the data set has for itself, which goes with it. ConversionError (usage) for a name that cannot be a
    // data set's or belongs to a table that is kept.
    virtual std::unique_ptr<BatchSink> dataset_sink(const std::string &dataset,
                                                    const std::optional<std::string> &catalog = {},
                                                    Tables others = Tables::kept) = 0;

    // A source over the data set's observations in their order, all as they are at this moment. It goes back to the
    // first one. Fails and notes as describe; warnings, at the end of the observations: dates inside the period that
    // their variable counts, integers that a double does not hold.
    virtual std::unique_ptr<BatchSource> dataset_source(const std::string &dataset, const Notes &notes = {},
                                                        const Notes &warnings = {}) = 0;

    // The catalog of a data set's user formats, from the moment when its sink is made; empty when it has none here.
    virtual std::string catalog_of(const std::string &dataset) const = 0;

    // A transaction for what is written without a sink, such as all formats of one import.
    virtual std::unique_ptr<Transaction> transaction() = 0;

    // User formats.
    virtual std::vector<std::string> catalog_names() const = 0;
    virtual std::vector<std::string> format_names(const std::string &catalog) const = 0;
    virtual bool read_format(const std::string &catalog, const std::string &name, UserFormat &format) const = 0;
    virtual void write_format(const std::string &catalog, const UserFormat &format) = 0;
};

// Ends what is being written into libraries: the next statement is a ConversionError, and the transactions are rolled
// back, which leaves no journal. May be called from a signal handler. False when there is nothing to roll back.
bool interrupt_transactions() noexcept;

// The libraries of a run by name (at most 8 characters, letter case does not count): the catalogs that the module
// reads and writes. WORK is a temporary library unless one is assigned.
class Libraries : public FormatCatalogs {
  public:
    Libraries();
    ~Libraries() override;
    void assign(const std::string &name, std::shared_ptr<Library> library);
    std::shared_ptr<Library> find(const std::string &name); // null when there is none; makes WORK on demand
    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override;
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace vor
