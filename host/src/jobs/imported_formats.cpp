#include "jobs/imported_formats.h"

#include <vor/format_limits.h>
#include <vorhost/ascii.h>

namespace vor {

FormatCatalogs::Written ImportedFormats::write(const std::string &library, const std::string &catalog,
                                               const UserFormat &format, bool keep_existing) {
    ++made_;
    last_ = lower_case(format.name);
    if (!wanted_ || !catalogs_) {
        unwanted_.insert(last_);
        return Written::stored;
    }
    Held one{library, catalog, format, keep_existing};
    if (!waiting_)
        return store(one);
    held_.push_back(std::move(one));
    return Written::stored;
}

bool ImportedFormats::read(const std::string &library, const std::string &catalog, const std::string &name,
                           UserFormat &format) {
    return catalogs_ && catalogs_->read(library, catalog, name, format);
}

void ImportedFormats::release(const std::vector<Variable> &variables) {
    std::unordered_set<std::string> used;
    for (const Variable &variable : variables)
        used.insert(lower_case(variable.format.name));
    for (const Held &one : held_)
        if (used.contains(lower_case(one.format.name)))
            store(one);
    held_.clear();
}

bool ImportedFormats::unwanted(const std::string &name) const {
    return unwanted_.contains(lower_case(name));
}

bool ImportedFormats::ends_with(const Variable &variable) const {
    return wanted_ && made_ == MOST_USER_FORMATS && lower_case(variable.format.name) == last_;
}

FormatCatalogs::Written ImportedFormats::store(const Held &one) {
    UserFormat old;
    const bool is_there = !one.keep_existing && catalogs_->read(one.library, one.catalog, one.format.name, old);
    const Written written = catalogs_->write(one.library, one.catalog, one.format, one.keep_existing);
    if (is_there && old.ranges != one.format.ranges)
        replaced_.push_back(one.format.name);
    return written;
}

} // namespace vor
