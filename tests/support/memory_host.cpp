// The faults that lie in services, not in files or memory, are made by routines put in front of the host's own.

#include "memory_host.h"

#include <vor/files.h>
#include <vor/services.h>

#include <algorithm>
#include <cstdlib>

namespace vor::test {
namespace {

constexpr size_t MOST_BLOCK_BYTES = size_t{1} << 30;        // larger blocks are refused, as by a small machine
constexpr int32_t FAULT = static_cast<int32_t>(0x8FFF0001); // no code of the host's own

// The services are plain functions: they find the host that a test made last, and the host's own routines.
struct Front {
    Faults *faults;
    int32_t (*assign)(SERVICE_ID, char *, FILE_CONTEXT *, const char *, const char *, int32_t, int32_t);
    int32_t (*information)(SERVICE_ID, WX_FILE *, const char *, FILE_CONTEXT *, int32_t, int32_t, WX_INFOPARM *);
    int32_t (*open)(SERVICE_ID, WX_FILE **, const char *, FILE_CONTEXT *, const WX_OPENPARM *);
    int32_t (*point)(WX_FILE *, const void *);
    int64_t position_length; // -1: the host's own
};
Front front;

int32_t assign(SERVICE_ID id, char *name, FILE_CONTEXT *task, const char *device, const char *path, int32_t length,
               int32_t options) {
    return front.faults->strikes(Operation::assign) ? FAULT
                                                    : front.assign(id, name, task, device, path, length, options);
}

int32_t information(SERVICE_ID id, WX_FILE *handle, const char *name, FILE_CONTEXT *task, int32_t selector,
                    int32_t zero, WX_INFOPARM *info) {
    const int32_t code = front.information(id, handle, name, task, selector, zero, info);
    if (front.position_length >= 0)
        info->poslen = front.position_length;
    return code;
}

int32_t point(WX_FILE *handle, const void *position) {
    return front.faults->strikes(Operation::position) ? FAULT : front.point(handle, position);
}

int32_t open(SERVICE_ID id, WX_FILE **handle, const char *name, FILE_CONTEXT *task, const WX_OPENPARM *request) {
    const int32_t code = front.open(id, handle, name, task, request);
    if (code == 0) {
        front.point = (*handle)->point;
        (*handle)->point = point;
    }
    return code;
}

// The host's own routine, which gives way to another one.
template <class Routine>
Routine put_in_front(MemoryHost &host, int32_t slot, Routine routine) {
    constexpr int32_t file_group = 39;
    const auto before = reinterpret_cast<Routine>(host.service(file_group, slot));
    host.replace_service(file_group, slot, reinterpret_cast<SERVICE_ROUTINE>(routine));
    return before;
}

} // namespace

void *CountingMemory::allocate(size_t bytes) {
    if (faults_.strikes(Operation::allocation) || bytes > MOST_BLOCK_BYTES)
        return nullptr;
    // The block's size stands in front of it.
    constexpr size_t front_bytes = alignof(std::max_align_t);
    auto *block = static_cast<char *>(std::calloc(1, front_bytes + bytes));
    if (block == nullptr)
        return nullptr;
    *reinterpret_cast<size_t *>(block) = bytes;
    ++blocks_;
    held_bytes_ += bytes;
    most_bytes_ = std::max(most_bytes_, held_bytes_);
    return block + front_bytes;
}

void CountingMemory::free(void *block) {
    char *start = static_cast<char *>(block) - alignof(std::max_align_t);
    held_bytes_ -= *reinterpret_cast<size_t *>(start);
    --blocks_;
    std::free(start);
}

void CapturedLog::line(Severity severity, std::string_view text) {
    lines.push_back(std::string(severity_word(severity)) + ": " + std::string(text));
}

bool CapturedLog::contains(std::string_view part) const {
    return std::any_of(lines.begin(), lines.end(),
                       [part](const std::string &line) { return line.find(part) != std::string::npos; });
}

std::string CapturedLog::text() const {
    std::string all;
    for (const std::string &line : lines)
        all += line + '\n';
    return all;
}

HostOptions HostResources::options(HostOptions others) {
    others.files = &files;
    others.memory = &memory;
    others.log = &log;
    return others;
}

MemoryHost::MemoryHost(HostOptions others) : host_(std::make_unique<Host>(options(std::move(others)))) {
    front = {&faults, nullptr, nullptr, nullptr, nullptr, -1};
    front.assign = put_in_front(*this, 197, assign);
    front.information = put_in_front(*this, 204, information);
    front.open = put_in_front(*this, 207, open);
}

SERVICE_ROUTINE MemoryHost::service(int32_t group, int32_t slot) {
    const SERVICE_ROUTINE *table = host_->control_block()->groups[group];
    return table == nullptr ? nullptr : table[slot];
}

// The control block leads to tables of the host's own, which are not to be written: the first replacement puts copies
// in their place.
void MemoryHost::replace_service(int32_t group, int32_t slot, SERVICE_ROUTINE routine) {
    GCB *gcb = host_->control_block();
    if (group_table_.empty()) {
        groups_.resize(SERVICE_GROUPS);
        group_table_.assign(gcb->groups, gcb->groups + SERVICE_GROUPS);
        gcb->groups = group_table_.data();
    }
    const auto at = static_cast<size_t>(group);
    if (!groups_[at]) {
        groups_[at] = std::make_unique<SERVICE_ROUTINE[]>(SERVICE_SLOTS);
        if (group_table_[at] != nullptr)
            std::copy_n(group_table_[at], SERVICE_SLOTS, groups_[at].get());
        group_table_[at] = groups_[at].get();
    }
    groups_[at][static_cast<size_t>(slot)] = routine;
}

void MemoryHost::set_position_length(int64_t bytes) {
    front.position_length = bytes;
}

std::string MemoryHost::left_over() {
    std::string text;
    if (host_->blocks_in_use() != 0)
        text += std::to_string(host_->blocks_in_use()) + " blocks; ";
    if (host_->files_open() != 0 || files.open_files() != 0)
        text += std::to_string(std::max<int64_t>(static_cast<int64_t>(host_->files_open()), files.open_files())) +
                " open files; ";
    for (const std::string &path : files.paths())
        if (path.starts_with("/temporary/"))
            text += "the temporary file " + path + "; ";
    return text;
}

} // namespace vor::test
