// User formats between the module's records and the host's catalogs, and the names of built-in formats.
#pragma once

#include "services/format_records.h"
#include "services/service_table.h"

#include <vorhost/user_format.h>

#include <exception>
#include <string>
#include <string_view>

namespace vor::services {

class Messages;

// Whether a format of that name is the host's own, whatever stands in catalogs. Letter case does not count.
bool is_built_in_format(std::string_view name);

class UserFormats {
  public:
    // catalogs: null for none.
    UserFormats(FormatCatalogs *catalogs, FormatEncodings encodings, Messages &messages)
        : catalogs_(catalogs), encodings_(encodings), messages_(messages) {}

    // The services. What a catalog refuses is logged, and the module goes on without the format. A failure of the
    // machine (a full disk, no memory) goes on through the module as the exception that it is, and ends the conversion.
    int32_t xfrname(const char *name, int32_t length, char kind, int32_t zero, int32_t *known) const;
    int32_t xfrdfmt(const char *name, int32_t length, XFRWSTR *format);
    int32_t xfwrfmt(const char *name, int32_t length, XFRWSTR *format);

  private:
    std::string utf8_of(std::string_view bytes) const;
    std::string plain_name(const char *name, int32_t length) const;
    int32_t refusal(const std::string &what, const std::exception &why);

    FormatCatalogs *catalogs_;
    FormatEncodings encodings_;
    Messages &messages_;
    bool refused_ = false; // said once that there are no catalogs
};

template <>
UserFormats &serving();

} // namespace vor::services
