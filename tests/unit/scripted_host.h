// A host whose file services work on strings, write down every call and fail on request, so that a test can tell in
// which order the module asks for things and what it does when it is refused.
#pragma once

#include "small_host.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

namespace vor::test {

// An open file over a string. A position is the byte number itself.
struct ScriptedFile : WX_FILE {
    struct Stream : WX_STREAM {
        ScriptedFile *file;
    };

    explicit ScriptedFile(std::string &contents, std::string physical = {})
        : WX_FILE{}, path(std::move(physical)), bytes(&contents) {
        own_stream.file = this;
        own_stream.read = [](WX_STREAM *of, const char **data, std::int64_t *delivered, std::int64_t requested,
                             char *) { return static_cast<Stream *>(of)->file->deliver(data, delivered, requested); };
        own_stream.write = [](WX_STREAM *of, const char *data, std::int64_t length, std::int32_t mode) {
            return static_cast<Stream *>(of)->file->accept(data, length, mode);
        };
        stream = &own_stream;
        note = [](WX_FILE *handle, void *position) {
            const double number = static_cast<double>(static_cast<ScriptedFile *>(handle)->at) + 1;
            std::memcpy(position, &number, sizeof number);
            return 0;
        };
        point = [](WX_FILE *handle, const void *position) {
            double number = 0;
            std::memcpy(&number, position, sizeof number);
            if (number < 1)
                return 17;
            static_cast<ScriptedFile *>(handle)->at = static_cast<std::size_t>(number) - 1;
            return 0;
        };
        byte_to_position = [](WX_FILE *, double number, void *position) {
            std::memcpy(position, &number, sizeof number);
            return 0;
        };
    }

    std::int32_t deliver(const char **data, std::int64_t *delivered, std::int64_t requested) {
        requests.push_back(requested);
        const std::size_t left = at < bytes->size() ? bytes->size() - at : 0;
        *data = bytes->data() + std::min(at, bytes->size());
        *delivered = static_cast<std::int64_t>(std::min(left, static_cast<std::size_t>(requested)));
        at += static_cast<std::size_t>(*delivered);
        return transfers_left-- == 0 ? failure : 0;
    }

    std::int32_t accept(const char *data, std::int64_t length, std::int32_t mode) {
        requests.push_back(length);
        if (mode != WX_WRITE_MODE)
            return 99;
        if (transfers_left-- == 0)
            return failure;
        bytes->resize(std::max(bytes->size(), at + static_cast<std::size_t>(length)));
        std::memcpy(bytes->data() + at, data, static_cast<std::size_t>(length));
        at += static_cast<std::size_t>(length);
        return 0;
    }

    Stream own_stream{};
    std::string path;
    std::string *bytes;
    std::size_t at = 0;
    std::vector<std::int64_t> requests; // of reads and writes alike
    int transfers_left = -1;            // before one fails; -1: none does
    std::int32_t failure = 17;
};

class ScriptedHost : public SmallHost {
  public:
    ScriptedHost() {
        current_ = this;
        control_block.task = &task_;
        control_block.pool = &pool_;
        provide(xxrasgn, assign);
        provide(xxrdasg, deassign);
        provide(xxrexsl, is_assigned);
        provide(xxrinfo, inform);
        provide(xxropen, open);
        provide(xxpos2b, byte_number);
        provide(xxflush, flush);
        provide(xxclose, close);
        provide(xxrdele, remove);
        provide(wrmksub, substitute);
        provide(xpslog, write_line);
    }

    // Registers a routine under its entry's name, with the entry's signature.
    template <int32_t group, int32_t slot, class result, class... parameters>
    void provide(const service_entry<group, slot, result(parameters...)> &,
                 result (*routine)(SERVICE_ID, parameters...)) {
        enter(group, slot, reinterpret_cast<SERVICE_ROUTINE>(routine));
    }
    template <int32_t group, int32_t slot, class result, class... parameters>
    void provide(const service_entry<group, slot, result(parameters..., ...)> &,
                 result (*routine)(SERVICE_ID, parameters..., ...)) {
        enter(group, slot, reinterpret_cast<SERVICE_ROUTINE>(routine));
    }

    std::map<std::string, std::string> files;       // by path
    std::map<std::string, std::string> assignments; // path by logical name
    std::vector<std::string> trace;                 // "service path", in order
    std::map<std::string, std::int32_t> failing;    // code by "service path"
    std::string directory = "/data/";               // in which relative paths lie
    std::int64_t position_bytes = 16;
    std::vector<std::unique_ptr<ScriptedFile>> handles; // every file ever opened; closed ones have a null `bytes`
    std::map<void *, std::unique_ptr<char[]>> blocks;
    std::string substitutions; // "text length " for each text that wrmksub was given
    int refuse_block = -1;     // number of the allocation, from 0, that the pool refuses

    std::int32_t step(const std::string &service, const std::string &path) {
        trace.push_back(service + " " + path);
        const auto found = failing.find(trace.back());
        return found == failing.end() ? 0 : found->second;
    }

    int open_files() const {
        return static_cast<int>(std::ranges::count_if(handles, [](auto &file) { return file->bytes != nullptr; }));
    }

  private:
    static std::string key(const char *logname) { return std::string(logname, 8); }
    std::string path_of(const char *logname) const {
        const auto found = assignments.find(key(logname));
        return found == assignments.end() ? "?" : found->second;
    }

    static std::int32_t assign(SERVICE_ID, char *logname, FILE_CONTEXT *, const char *device, const char *name,
                               std::int32_t length, std::int32_t) {
        ScriptedHost &host = *current_;
        std::string path = device != nullptr ? "/tmp/" + std::to_string(++host.temporary_files_)
                                             : std::string(name, static_cast<std::size_t>(length));
        if (path.find('/') == std::string::npos)
            path.insert(0, host.directory);
        const std::int32_t code = host.step("xxrasgn", path);
        if (code != 0)
            return code;
        if (logname[0] == ' ' || logname[0] == 0)
            std::memcpy(logname, ("#FN" + std::to_string(10000 + ++host.names_)).c_str(), 8);
        host.assignments[key(logname)] = path;
        return 0;
    }

    static std::int32_t deassign(SERVICE_ID, const char *logname, FILE_CONTEXT *) {
        const std::int32_t code = current_->step("xxrdasg", current_->path_of(logname));
        current_->assignments.erase(key(logname));
        return code;
    }

    static std::int32_t is_assigned(SERVICE_ID, const char *logname, FILE_CONTEXT *) {
        return current_->assignments.contains(key(logname)) ? 0 : 23;
    }

    static std::int32_t inform(SERVICE_ID, WX_FILE *handle, const char *logname, FILE_CONTEXT *, std::int32_t,
                               std::int32_t, WX_INFOPARM *info) {
        auto *file = static_cast<ScriptedFile *>(handle);
        current_->answered_ = file != nullptr ? file->path : current_->path_of(logname);
        info->pname = current_->answered_.c_str();
        info->namelen = static_cast<std::int32_t>(current_->answered_.size());
        info->poslen = current_->position_bytes;
        info->filesize = file != nullptr ? static_cast<double>(file->bytes->size()) : 0;
        return current_->step("xxrinfo", current_->answered_);
    }

    static std::int32_t open(SERVICE_ID, WX_FILE **handle, const char *logname, FILE_CONTEXT *,
                             const WX_OPENPARM *request) {
        const std::string path = current_->path_of(logname);
        const std::int32_t code = current_->step("xxropen", path);
        if (code != 0)
            return code;
        if (request->openmode == WX_OPEN_INPUT && !current_->files.contains(path))
            return 20;
        if (request->openmode != WX_OPEN_INPUT)
            current_->files[path].clear();
        *handle = current_->handles.emplace_back(std::make_unique<ScriptedFile>(current_->files[path], path)).get();
        return 0;
    }

    static std::int32_t byte_number(SERVICE_ID, WX_FILE *, double *number, const void *position) {
        std::memcpy(number, position, sizeof *number);
        return 0;
    }

    static std::int32_t flush(SERVICE_ID, WX_FILE *handle) {
        return current_->step("xxflush", static_cast<ScriptedFile *>(handle)->path);
    }

    static std::int32_t close(SERVICE_ID, WX_FILE *handle) {
        if (handle == nullptr)
            return 0;
        auto *file = static_cast<ScriptedFile *>(handle);
        file->bytes = nullptr;
        return current_->step("xxclose", file->path);
    }

    static std::int32_t remove(SERVICE_ID, const char *logname, FILE_CONTEXT *) {
        const std::string path = current_->path_of(logname);
        current_->files.erase(path);
        return current_->step("xxrdele", path);
    }

    // The level prefix stays in front of the line as it is.
    static std::int32_t write_line(SERVICE_ID, const char *format, ...) {
        const std::string prefix(format, std::strlen(format) >= 3 && format[2] == 'z' ? 3 : 0);
        char line[4096];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(line, sizeof line, format + prefix.size(), arguments);
        va_end(arguments);
        current_->log.push_back(prefix + line);
        return 0;
    }

    static std::int32_t substitute(SERVICE_ID, std::int32_t count, ...) {
        va_list pairs;
        va_start(pairs, count);
        while (count-- > 0) {
            const std::string text = va_arg(pairs, const char *);
            current_->substitutions += text + ' ' + std::to_string(va_arg(pairs, std::int32_t)) + ' ';
        }
        va_end(pairs);
        return 0;
    }

    static void *allocate(POOL *, std::int64_t length, std::int32_t flags) {
        if (current_->refuse_block-- == 0 || flags != POOL_ZEROED)
            return nullptr;
        auto block = std::make_unique<char[]>(static_cast<std::size_t>(length));
        void *address = block.get();
        current_->blocks[address] = std::move(block);
        return address;
    }

    static void release(POOL *, void *block, std::int64_t, std::int32_t flags) {
        if (flags != POOL_FREE || current_->blocks.erase(block) != 1)
            current_->trace.emplace_back("bad free");
    }

    inline static ScriptedHost *current_ = nullptr;
    TASK task_{};
    POOL pool_{.allocate = allocate, .free = release};
    std::string answered_;
    int temporary_files_ = 0;
    int names_ = 0;
};

} // namespace vor::test
