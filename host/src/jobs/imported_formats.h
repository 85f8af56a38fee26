// User formats of an import on their way to the catalogs; with labels unwanted none of them gets there, with variables
// chosen they wait until it is known which ones are used.
#pragma once

#include <vorhost/dataset.h>
#include <vorhost/user_format.h>

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

namespace vor {

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

} // namespace vor
