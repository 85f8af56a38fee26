// The user formats of an export under names that the module takes for nothing else. It cuts a name to 8 bytes and takes
// one that begins like that of a date format for a date, so a format in the catalog goes to it under a made-up name.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/user_format.h>

#include <functional>
#include <map>
#include <string>

namespace vor {

class ExportedFormats : public FormatCatalogs {
  public:
    // catalogs: null when there are none. place: with both names.
    ExportedFormats(FormatCatalogs *catalogs, FormatPlace place) : catalogs_(catalogs), place_(std::move(place)) {}

    // The name of the variable's format for the module: the host's own ones keep theirs. Empty, with a note, for a
    // format that nobody knows.
    std::string name_for_module(const Variable &variable, const std::function<void(const std::string &)> &note);

    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override;
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override;

  private:
    FormatCatalogs *catalogs_;
    FormatPlace place_;
    std::map<std::string, std::string> made_up_; // by the format's name, in lower case
    std::map<std::string, std::string> names_;   // by the made-up name
};

} // namespace vor
