// The libraries of one run: those of --libname, the data set's own, and where user formats go or come from.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/library.h>
#include <vorhost/tables.h>

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vor::cli {

struct LibraryOptions {
    std::string format_library;              // --fmtlib; empty: the catalog FORMATS beside the data set
    std::vector<std::string> assigned_names; // --libname, each LIBRARY=PATH
};
void add_library_options(CLI::App &command, LibraryOptions &options);

// The name of the data set that is meant when a library is named alone: its only one. ConversionError (usage) when
// there is none or several.
std::string only_dataset(const Library &library);

class RunLibraries {
  public:
    // The library that holds the data set and the name under which it takes part; an empty path when none does.
    struct Data {
        std::string name;
        std::string path;
    };

    // Checks the options before any file is opened: ConversionError (usage) for a text that is no LIBRARY=PATH and for
    // a library of --fmtlib that nothing names.
    RunLibraries(const LibraryOptions &options, const Data &data, Library::Access access);

    // The library of the data set; null when there is none.
    const std::shared_ptr<Library> &data() const { return data_; }

    Libraries &all() { return libraries_; }

    // Where user formats go and come from.
    const FormatPlace &place() const { return place_; }

    // Makes these formats the ones that are found, unless the user chose a place.
    void offer(const std::vector<UserFormat> &formats);

    // The catalog of the data set's own library that holds its formats; empty when they are elsewhere.
    std::string catalog_beside_data();

    // A transaction that the formats written from now on are part of, when they do not go to the data set's library,
    // which has its own; else null.
    std::unique_ptr<Transaction> begin_formats();

    // Finds the user formats of the run's place, each read once. Lives as long as this object.
    FormatLookup lookup();

  private:
    using Assignment = std::pair<std::string, std::string>; // name, path
    void take_place(const std::string &text);
    void check_place(const std::vector<Assignment> &assignments) const;
    void open(const std::vector<Assignment> &assignments, Library::Access access);

    Libraries libraries_;
    std::shared_ptr<Library> data_;
    FormatPlace place_;
    bool place_is_chosen_ = false;
    std::map<std::string, std::unique_ptr<UserFormat>> found_;
};

} // namespace vor::cli
