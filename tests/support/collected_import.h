// A whole import in memory, for comparison: values as short texts, so that a failed test shows what it got.
#pragma once

#include "memory_host.h"

#include <vorhost/conversion.h>
#include <vorhost/user_format.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vor::test {

// "1.5", ".", ".a", "'text'".
std::string value_text(double number);
std::string value_text(const std::string &text);
// The ranges of a format, each as "first value=label=label ".
std::string ranges_text(const UserFormat &format);

// User formats of every catalog by name; libraries and catalogs are not told apart.
class CatalogMap : public FormatCatalogs {
  public:
    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override;
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override;

    std::map<std::string, UserFormat> formats;
    std::string last_place; // "LIBRARY.CATALOG" of the last one written
};

struct CollectedImport {
    FileSummary summary;
    DataSet description;
    std::vector<std::vector<std::string>> rows; // also those before a failure
    CatalogMap catalogs;
    CapturedLog log;
    std::optional<ConversionError> error;

    // "value=label" for each label of a variable, in the order of its user format.
    std::vector<std::string> labels_of(const Variable &variable) const;
};

// What tests of the base contract ask for: nothing.
inline const ImportSession::Options base_import{.contract = Contract::base};
inline const ExportSession::Options base_export{.contract = Contract::base};

// Imports a file through the module that VORDTA_MODULE names. Whatever fails is in `error`; nothing is thrown. The
// log and the catalogs of `host` are replaced.
CollectedImport collect_import(const std::string &path, const ImportSession::Options &options = base_import,
                               HostOptions host = {});

// The same of a file that nothing is wrong with: throws what failed.
CollectedImport sound_import(const std::string &path, const ImportSession::Options &options = base_import,
                             HostOptions host = {});

// A new directory that goes with the object.
class ScratchDirectory {
  public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory &) = delete;
    ScratchDirectory &operator=(const ScratchDirectory &) = delete;

    std::string path(const std::string &name) const { return (directory_ / name).string(); }

    // Writes a file into the directory; its path.
    std::string write(const std::string &name, const std::string &bytes) const;

    // Names of everything in it, in order.
    std::vector<std::string> names() const;

  private:
    std::filesystem::path directory_;
};

// A file's bytes; fails the test when it cannot be read.
std::string file_bytes(const std::string &path);

} // namespace vor::test
