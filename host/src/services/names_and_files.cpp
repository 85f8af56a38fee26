#include "services/names_and_files.h"

#include "services/messages.h"
#include "text/encodings.h"

#include <vor/imglue.h>
#include <vorhost/ascii.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace {

using namespace vor;
using namespace vor::services;

constexpr size_t NAME_BYTES = 8;
constexpr std::string_view TEMPORARY_DEVICE = "TEMP";

// A logical name as it is looked up: capitals, without padding.
std::string plain_name(std::string_view field) {
    field = field.substr(0, NAME_BYTES);
    return upper_case(without_trailing_blanks(field.substr(0, field.find('\0'))));
}

std::string plain_name(const char *field) {
    return field == nullptr ? std::string() : plain_name(std::string_view(field, NAME_BYTES));
}

} // namespace

FILE_CONTEXT::~FILE_CONTEXT() {
    while (!open_.empty())
        xxclose(&open_.front());
    for (Assignments *assignments : {&names_, &released_})
        while (!assignments->empty())
            forget(*assignments, std::string(assignments->begin()->first));
}

// Ends a name; a temporary file that nobody deleted goes with it.
void FILE_CONTEXT::forget(Assignments &assignments, const std::string &name) {
    const auto found = assignments.find(name);
    if (found == assignments.end())
        return;
    std::error_code ignored;
    if (found->second->left_behind)
        files_.remove(found->second->path, ignored);
    assignments.erase(found);
}

int32_t FILE_CONTEXT::fail(const std::string &sentence, std::error_code error) {
    messages_.gather(sentence);
    messages_.system_error(error);
    return FILE_FAILED;
}

std::shared_ptr<Assignment> FILE_CONTEXT::find(const char *logical_name) const {
    const auto found = names_.find(plain_name(logical_name));
    return found == names_.end() ? nullptr : found->second;
}

std::string FILE_CONTEXT::unused_name() {
    std::string name;
    do
        name = fmt::format("#LN{:05}", ++names_made_ % 100000);
    while (names_.contains(name) || released_.contains(name));
    return name;
}

int32_t FILE_CONTEXT::make_temporary(Assignment &assignment) {
    std::error_code error;
    assignment.path = files_.make_temporary(error);
    assignment.left_behind = !error;
    return error ? fail("No temporary file can be made", error) : 0;
}

int32_t FILE_CONTEXT::xxrasgn(char *logical_name, FILE_CONTEXT *, const char *device, const char *path, int32_t length,
                              int32_t) {
    return assign(logical_name, device == nullptr ? std::string_view() : std::string_view(device, NAME_BYTES),
                  path == nullptr || length <= 0 ? std::string_view()
                                                 : std::string_view(path, static_cast<size_t>(length)));
}

int32_t FILE_CONTEXT::assign(char *logical_name, std::string_view device, std::string_view path) {
    auto assignment = std::make_shared<Assignment>();
    if (without_trailing_blanks(device) == TEMPORARY_DEVICE) {
        assignment->temporary = true;
        if (const int32_t code = make_temporary(*assignment); code != 0)
            return code;
    } else {
        path = without_trailing_blanks(path);
        if (path.empty() || path.find('\0') != std::string_view::npos)
            return FILE_BAD_REQUEST;
        assignment->path = files_.absolute(std::string(path));
        if (assignment->path.size() >= static_cast<size_t>(IMGLUE_NAME_BYTES))
            return HOST_NAME_TOO_LONG;
    }
    std::string name = plain_name(logical_name);
    if (name.empty())
        name = unused_name();
    forget(released_, name);
    forget(names_, name);
    names_[name] = std::move(assignment);
    std::memset(logical_name, ' ', NAME_BYTES);
    std::memcpy(logical_name, name.data(), name.size());
    return 0;
}

void FILE_CONTEXT::assign_reference(const std::string &logical_name, std::unique_ptr<ByteFile> stream) {
    auto assignment = std::make_shared<Assignment>();
    const std::string name = plain_name(std::string_view(logical_name));
    assignment->path = name;
    assignment->reference = true;
    assignment->stream = std::move(stream);
    names_[name] = std::move(assignment);
}

int32_t FILE_CONTEXT::xxrdasg(const char *logical_name, FILE_CONTEXT *) {
    const std::string name = plain_name(logical_name);
    const auto found = names_.find(name);
    if (found != names_.end() && found->second->open_files > 0) {
        released_[name] = found->second;
        names_.erase(found);
        return 0;
    }
    Assignments &holder = found != names_.end() ? names_ : released_;
    if (!holder.contains(name))
        return FILE_NOT_ASSIGNED;
    forget(holder, name);
    return 0;
}

int32_t FILE_CONTEXT::xxrexsl(const char *logical_name, FILE_CONTEXT *) const {
    return find(logical_name) ? 0 : FILE_NOT_ASSIGNED;
}

int32_t FILE_CONTEXT::xxrexsp(const char *logical_name, FILE_CONTEXT *) const {
    const auto assignment = find(logical_name);
    return assignment && (assignment->reference || files_.exists(assignment->path)) ? 0 : FILE_FAILED;
}

int32_t FILE_CONTEXT::xxropen(WX_FILE **handle, const char *logical_name, FILE_CONTEXT *, const WX_OPENPARM *request) {
    *handle = nullptr;
    const auto assignment = find(logical_name);
    if (!assignment)
        return FILE_NOT_ASSIGNED;
    std::unique_ptr<ByteFile> file;
    std::error_code error;
    if (assignment->reference) {
        file = std::move(assignment->stream);
        if (!file)
            return fail(fmt::format("The file reference {} can be opened only once", assignment->path), {});
    } else {
        // The name of a file that was deleted may be somebody else's by now.
        if (assignment->temporary && !assignment->left_behind)
            if (const int32_t code = make_temporary(*assignment); code != 0)
                return code;
        const OpenMode mode = request->openmode == WX_OPEN_INPUT  ? OpenMode::read
                              : request->openmode == WX_OPEN_COPY ? OpenMode::copy
                                                                  : OpenMode::replace;
        file = files_.open(assignment->path, mode, error);
        if (error || !file)
            return fail(fmt::format("The file {} cannot be opened", assignment->path), error);
    }
    ++assignment->open_files;
    const auto record = [this](std::error_code said) { messages_.system_error(said); };
    *handle = &open_.emplace_back(std::move(file), record, assignment, *request);
    return 0;
}

int32_t FILE_CONTEXT::xxpos2b(WX_FILE *, double *byte_number, const void *position) {
    *byte_number = static_cast<double>(FileStream::offset_of(position)) + 1;
    return 0;
}

int32_t FILE_CONTEXT::xxflush(WX_FILE *handle) {
    return static_cast<OpenFile *>(handle)->flush();
}

int32_t FILE_CONTEXT::xxclose(WX_FILE *handle) {
    if (handle == nullptr)
        return 0;
    const auto found =
        std::find_if(open_.begin(), open_.end(), [handle](const OpenFile &file) { return &file == handle; });
    if (found == open_.end())
        return FILE_BAD_REQUEST;
    const int32_t code = found->close();
    --found->assignment->open_files;
    open_.erase(found);
    return code;
}

int32_t FILE_CONTEXT::xxrdele(const char *logical_name, FILE_CONTEXT *) {
    const std::string name = plain_name(logical_name);
    auto assignment = find(logical_name);
    if (!assignment)
        if (const auto released = released_.find(name); released != released_.end())
            assignment = released->second;
    if (!assignment || assignment->reference)
        return FILE_NOT_ASSIGNED;
    std::error_code error;
    files_.remove(assignment->path, error);
    assignment->left_behind = assignment->left_behind && error;
    if (!error)
        return 0;
    if (error != std::errc::no_such_file_or_directory)
        return fail(fmt::format("The file {} cannot be deleted", assignment->path), error);
    return FILE_FAILED;
}

int32_t FILE_CONTEXT::xxrinfo(WX_FILE *handle, const char *logical_name, FILE_CONTEXT *, int32_t, int32_t,
                              WX_INFOPARM *answer) {
    auto *file = static_cast<OpenFile *>(handle);
    const auto assignment = file != nullptr ? file->assignment : find(logical_name);
    if (!assignment)
        return FILE_NOT_ASSIGNED;
    answered_name_ = assignment->path;
    answer->pname = answered_name_.c_str();
    answer->namelen = static_cast<int32_t>(answered_name_.size());
    answer->poslen = FileStream::POSITION_BYTES;
    answer->encoding = encodings_.session();
    std::memset(answer->devtype, ' ', sizeof answer->devtype);
    const std::string_view device = assignment->reference   ? "STREAM"
                                    : assignment->temporary ? TEMPORARY_DEVICE
                                                            : "DISK";
    std::memcpy(answer->devtype, device.data(), device.size());
    if (file == nullptr)
        return 0;
    answer->recfm = file->parameters.recfm;
    answer->datalen = file->parameters.datalen;
    answer->openmode = file->parameters.openmode;
    uint64_t bytes = 0;
    if (!assignment->reference)
        if (const int32_t code = file->size(bytes); code != 0)
            return code;
    answer->filesize = static_cast<double>(bytes);
    return 0;
}
