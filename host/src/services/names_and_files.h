// Logical names over paths, and the files that are open through them.
//
// A logical name of up to 8 characters stands for a path, for a new file in the temporary area, or for a byte stream
// that the host's user brought along. Letter case, trailing blanks and trailing zeros do not count. A name that is
// de-assigned while its file is open can still be deleted by that name until it is assigned or de-assigned again.
#pragma once

#include "files/file_stream.h"
#include "services/service_table.h"
#include "text/encodings.h"

#include <vorhost/files.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace vor::services {

class Messages;

struct Assignment {
    std::string path; // for a byte stream: its logical name
    bool temporary = false;
    bool left_behind = false; // temporary: the file is there and goes with the name
    bool reference = false;
    std::unique_ptr<ByteFile> stream; // of a reference that was not opened yet
    int open_files = 0;
};

struct OpenFile : FileStream {
    OpenFile(std::unique_ptr<ByteFile> file, ErrorRecorder record, std::shared_ptr<Assignment> behind,
             const WX_OPENPARM &request)
        : FileStream(std::move(file), std::move(record)), assignment(std::move(behind)), parameters(request) {}

    std::shared_ptr<Assignment> assignment;
    WX_OPENPARM parameters;
};

} // namespace vor::services

// The file services' own state. The module passes it along, which only repeats that it works for the current host.
struct FILE_CONTEXT {
  public:
    FILE_CONTEXT(vor::FileSystem &files, vor::services::Messages &messages, const vor::Encodings &encodings)
        : files_(files), messages_(messages), encodings_(encodings) {}

    // Closes what is still open and removes the temporary files that were not deleted.
    ~FILE_CONTEXT();
    FILE_CONTEXT(const FILE_CONTEXT &) = delete;
    FILE_CONTEXT &operator=(const FILE_CONTEXT &) = delete;

    // The services. A logical name is a field of 8 bytes.
    int32_t xxrasgn(char *logical_name, FILE_CONTEXT *, const char *device, const char *path, int32_t length, int32_t);
    int32_t xxrdasg(const char *logical_name, FILE_CONTEXT *);
    int32_t xxrexsl(const char *logical_name, FILE_CONTEXT *) const;
    int32_t xxrexsp(const char *logical_name, FILE_CONTEXT *) const;
    int32_t xxrinfo(WX_FILE *handle, const char *logical_name, FILE_CONTEXT *, int32_t, int32_t, WX_INFOPARM *answer);
    int32_t xxropen(WX_FILE **handle, const char *logical_name, FILE_CONTEXT *, const WX_OPENPARM *request);
    static int32_t xxpos2b(WX_FILE *handle, double *byte_number, const void *position);
    static int32_t xxflush(WX_FILE *handle);
    int32_t xxclose(WX_FILE *handle);
    int32_t xxrdele(const char *logical_name, FILE_CONTEXT *);

    void assign_reference(const std::string &logical_name, std::unique_ptr<vor::ByteFile> stream);
    size_t open_files() const { return open_.size(); }

  private:
    using Assignments = std::map<std::string, std::shared_ptr<vor::services::Assignment>>;

    std::shared_ptr<vor::services::Assignment> find(const char *logical_name) const;
    std::string unused_name();
    void forget(Assignments &assignments, const std::string &name);
    int32_t make_temporary(vor::services::Assignment &assignment);
    int32_t assign(char *logical_name, std::string_view device, std::string_view path);
    int32_t fail(const std::string &sentence, std::error_code error);

    vor::FileSystem &files_;
    vor::services::Messages &messages_;
    const vor::Encodings &encodings_;
    Assignments names_;
    Assignments released_; // de-assigned while open
    std::list<vor::services::OpenFile> open_;
    std::string answered_name_; // what the last information record points to
    int32_t names_made_ = 0;
};

template <>
FILE_CONTEXT &vor::services::serving();
