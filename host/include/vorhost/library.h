// SQLite libraries: data sets as tables that any SQLite client can query, with what SQL has no place for beside them in
// tables whose names begin with vor_; user formats in catalogs.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/rows.h>
#include <vorhost/user_format.h>

#include <memory>
#include <string>
#include <vector>

namespace vor {

// One library. Failures are ConversionErrors that name the file: not a database, locked, read-only, full.
class Library {
  public:
    enum class Access { read, write };

    // Opens a library file; with write access a missing one is made. The path ":memory:" gives a temporary one.
    static std::shared_ptr<Library> open(const std::string &path, Access access);
    virtual ~Library() = default;

    virtual const std::string &path() const = 0;

    virtual std::vector<std::string> dataset_names() const = 0;
    virtual bool has_dataset(const std::string &name) const = 0;

    // A data set's description, also of a plain table that nothing of ours wrote (then types, lengths and ISO dates are
    // found by looking at its values). ConversionError when there is none of that name.
    virtual DataSet describe(const std::string &dataset) = 0;

    // A sink that replaces the data set in one transaction, which also holds the user formats written meanwhile.
    // `catalog` is where the data set's user formats are looked up for the view NAME_labelled.
    virtual std::unique_ptr<RowSink> dataset_sink(const std::string &dataset, const std::string &catalog) = 0;

    // A source over the data set's observations in their order.
    virtual std::unique_ptr<RowSource> dataset_source(const std::string &dataset) = 0;

    // User formats.
    virtual std::vector<std::string> catalog_names() const = 0;
    virtual std::vector<std::string> format_names(const std::string &catalog) const = 0;
    virtual bool read_format(const std::string &catalog, const std::string &name, UserFormat &format) const = 0;
    virtual void write_format(const std::string &catalog, const UserFormat &format) = 0;
};

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
