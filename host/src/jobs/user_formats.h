// User formats of the jobs on their way between the module and the catalogs, and where they go and come from.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/dataset.h>
#include <vorhost/log.h>
#include <vorhost/user_format.h>

#include <cstdint>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

namespace vor {

// "FMTLIB=LIBRARY.CATALOG;", or nothing when the place is not given.
std::string format_statement(const FormatPlace &place);

// User formats of an import on their way to the catalogs; with labels unwanted none of them gets there, with variables
// chosen they wait until it is known which ones are used.
class ImportedFormats : public FormatCatalogs {
  public:
    // catalogs: null when no format is kept. wanted: labels are. waiting: formats wait for release.
    ImportedFormats(FormatCatalogs *catalogs, bool wanted, bool waiting)
        : catalogs_(catalogs), wanted_(wanted), waiting_(waiting) {}

    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override;
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override;

    // Writes those of the waiting formats that a variable has.
    void release(const std::vector<Variable> &variables);

    // Whether a format of this name came and was not wanted.
    bool unwanted(const std::string &name) const;

    // Whether `variable` has the last format that the module makes of a file.
    bool ends_with(const Variable &variable) const;

    // Those in whose place there were other labels, which other data sets may have used.
    const std::vector<std::string> &replaced() const { return replaced_; }

  private:
    struct Held {
        std::string library;
        std::string catalog;
        UserFormat format;
        bool keep_existing;
    };

    Written store(const Held &one);

    FormatCatalogs *catalogs_;
    bool wanted_;
    bool waiting_;
    std::unordered_set<std::string> unwanted_;
    std::vector<Held> held_;
    std::vector<std::string> replaced_;
    int32_t made_ = 0;
    std::string last_;
};

// Why a Stata file cannot label the value that a range of a numeric format stands for; null when it can.
const char *obstacle(const FormatRange &range);

// The user formats of an export under names that the module takes for nothing else. It cuts a name to 8 bytes and takes
// one that begins like that of a date format for a date, so a format in the catalog goes to it under a made-up name.
class ExportedFormats : public FormatCatalogs {
  public:
    // catalogs: null when there are none. place: with both names. own: the data set's label tables, which go before
    // those in the catalogs.
    ExportedFormats(FormatCatalogs *catalogs, FormatPlace place, const std::vector<UserFormat> &own);

    // The name of the variable's format, or label table, for the module: the host's own formats keep theirs. Empty for
    // one that nobody knows, with a warning where there is something that could have known it.
    std::string name_for_module(const Variable &variable, const Notes &warn);

    // Whether there is anything to be read.
    bool any() const { return catalogs_ || !own_.empty(); }

    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override;
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override;

    // The labels of a variable, where it has some.
    bool read(const Variable &variable, UserFormat &format);

  private:
    FormatCatalogs *catalogs_;
    FormatPlace place_;
    std::map<std::string, UserFormat> own_;
    std::map<std::string, std::string> made_up_; // by the format's name
    std::map<std::string, std::string> names_;   // by the made-up name
};

// Looks at the user format of each variable and warns of what the file will not hold: formats of character variables
// and of dates, intervals, several labels for a value, values that are not integers in range.
void warn_of_lost_labels(const std::vector<Variable> &variables, ExportedFormats &formats, const Notes &warn);

} // namespace vor
