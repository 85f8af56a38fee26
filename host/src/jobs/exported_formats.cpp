#include "jobs/exported_formats.h"

#include "services/formats.h"

#include <vorhost/ascii.h>
#include <vorhost/temporal.h>

#include <fmt/format.h>

namespace vor {

std::string ExportedFormats::name_for_module(const Variable &variable,
                                             const std::function<void(const std::string &)> &note) {
    const std::string &name = variable.format.name;
    if (name.empty() || temporal_class(variable.format) != Temporal::none)
        return name;
    const auto [entry, is_new] = made_up_.try_emplace(lower_case(name));
    if (!is_new)
        return entry->second;
    UserFormat format;
    if (catalogs_ && catalogs_->read(place_.library, place_.catalog, name, format)) {
        if (format.multilabel) // the module would refuse it under the made-up name
            return {};
        entry->second = fmt::format("_{:07}", made_up_.size());
        names_[entry->second] = name;
    } else if (services::is_built_in_format(name)) {
        entry->second = name;
    } else if (catalogs_) {
        note(fmt::format("The user format {} is not in {}.{}; nothing is labelled with it.", name, place_.library,
                         place_.catalog));
    }
    return entry->second;
}

FormatCatalogs::Written ExportedFormats::write(const std::string &library, const std::string &catalog,
                                               const UserFormat &format, bool keep_existing) {
    return catalogs_ ? catalogs_->write(library, catalog, format, keep_existing) : Written::kept_old;
}

bool ExportedFormats::read(const std::string &library, const std::string &catalog, const std::string &name,
                           UserFormat &format) {
    const auto known = names_.find(name);
    return catalogs_ && catalogs_->read(library, catalog, known == names_.end() ? name : known->second, format);
}

} // namespace vor
