// The libraries of a run by their names.
#include "library/library_tables.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/library.h>

#include <fmt/format.h>
#include <map>

namespace vor {

namespace {

constexpr const char *work = "work";
constexpr size_t longest_library_name = 8;

} // namespace

struct Libraries::State {
    std::map<std::string, std::shared_ptr<Library>> by_name; // in small letters
};

Libraries::Libraries() : state_(std::make_unique<State>()) {}
Libraries::~Libraries() = default;

void Libraries::assign(const std::string &name, std::shared_ptr<Library> library) {
    if (name.empty() || name.size() > longest_library_name)
        throw ConversionError(Failure::usage,
                              fmt::format("\"{}\" cannot name a library: names have 1 to 8 characters.", name));
    state_->by_name[lower_case(name)] = std::move(library);
}

std::shared_ptr<Library> Libraries::find(const std::string &name) {
    const std::string key = lower_case(name);
    const auto found = state_->by_name.find(key);
    if (found != state_->by_name.end())
        return found->second;
    if (key != work)
        return nullptr;
    return state_->by_name[key] = Library::open(":memory:", Library::Access::write);
}

FormatCatalogs::Written Libraries::write(const std::string &library, const std::string &catalog,
                                         const UserFormat &format, bool keep_existing) {
    const auto target = find(library);
    if (!target)
        throw ConversionError(
            Failure::conversion,
            fmt::format("The format {} cannot be stored: there is no library {}.", format.name, library));
    UserFormat existing;
    if (keep_existing && target->read_format(catalog, format.name, existing))
        return Written::kept_old;
    target->write_format(catalog, format);
    return Written::stored;
}

bool Libraries::read(const std::string &library, const std::string &catalog, const std::string &name,
                     UserFormat &format) {
    const auto source = find(library);
    return source && source->read_format(catalog, name, format);
}

} // namespace vor
