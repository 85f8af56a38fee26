// The host in memory with the module's own objects connected to it, and open files whose transfers a test watches.
#pragma once

#include "memory_host.h"
#include "service_entries.h"

#include <cstring>
#include <string>
#include <vector>

namespace vor::test {

class ModuleHost : public MemoryHost {
  public:
    explicit ModuleHost(HostOptions options = {}) : MemoryHost(std::move(options)) {
        mcn_main((*this)->control_block(), nullptr);
    }
    ~ModuleHost() { v_global_gcb_anchor = before_; } // a host made earlier goes on
    ModuleHost(const ModuleHost &) = delete;
    ModuleHost &operator=(const ModuleHost &) = delete;

    // Puts a routine in the place of a service.
    template <std::int32_t group, std::int32_t slot, class Signature, class Routine>
    void replace(const service_entry<group, slot, Signature> &, Routine routine) {
        replace_service(group, slot, reinterpret_cast<SERVICE_ROUTINE>(+routine));
    }

    // Every allocation but the next n fails, or none does.
    void leave_blocks(int n) { faults.fail(Operation::allocation, n + 1, true); }
    void leave_all_blocks() { faults.fail(Operation::allocation, 0); }

    // A new name for a file of the host.
    static std::string assign(const std::string &path) {
        std::string name(8, ' ');
        xxrasgn(name.data(), file_context(), nullptr, path.data(), static_cast<std::int32_t>(path.size()), 0);
        return name;
    }

  private:
    GCB *before_ = v_global_gcb_anchor;
};

// An open file of the current host. It counts and, on request, fails the transfers that the module asks for.
class WatchedFile {
  public:
    WatchedFile(const std::string &path, std::int32_t mode) : name_(ModuleHost::assign(path)) {
        WX_OPENPARM request{};
        request.openmode = mode;
        request.datalen = 64000;
        xxropen(&handle, name_.data(), file_context(), &request);
        stream_.file = this;
        stream_.read = [](WX_STREAM *of, const char **data, std::int64_t *delivered, std::int64_t requested, char *cc) {
            WatchedFile &file = *static_cast<Stream *>(of)->file;
            const std::int32_t code = file.hosts_->read(file.hosts_, data, delivered, requested, cc);
            return file.fails(requested) ? file.failure : code;
        };
        stream_.write = [](WX_STREAM *of, const char *data, std::int64_t length, std::int32_t mode_of_write) {
            WatchedFile &file = *static_cast<Stream *>(of)->file;
            return file.fails(length) ? file.failure : file.hosts_->write(file.hosts_, data, length, mode_of_write);
        };
        hosts_ = handle->stream;
        handle->stream = &stream_;
    }
    ~WatchedFile() { xxclose(handle); }
    WatchedFile(const WatchedFile &) = delete;
    WatchedFile &operator=(const WatchedFile &) = delete;

    std::size_t at() const {
        char position[WX_POSITION_BYTES];
        double byte_number = 0;
        handle->note(handle, position);
        xxpos2b(handle, &byte_number, position);
        return static_cast<std::size_t>(byte_number) - 1;
    }
    void move(std::size_t to) {
        char position[WX_POSITION_BYTES];
        handle->byte_to_position(handle, static_cast<double>(to) + 1, position);
        handle->point(handle, position);
    }

    WX_FILE *handle = nullptr;
    std::vector<std::int64_t> requests; // of reads and writes alike
    int transfers_left = -1;            // before one fails; -1: none does
    std::int32_t failure = 17;

  private:
    struct Stream : WX_STREAM {
        WatchedFile *file;
    };

    bool fails(std::int64_t bytes) {
        requests.push_back(bytes);
        return transfers_left-- == 0;
    }

    std::string name_;
    Stream stream_{};
    WX_STREAM *hosts_ = nullptr;
};

} // namespace vor::test
