#include "files/output_file.h"

#include "files/descriptor.h"

#include <vorhost/error.h>

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>
#include <vector>

namespace vor {
namespace {

constexpr size_t buffer_bytes = 256 * 1024;
constexpr std::string_view standard_output_name = "-";

[[noreturn]] void fail(const std::string &name, std::error_code error) {
    throw ConversionError(Failure::machine, fmt::format("{} cannot be written: {}.", name, error.message()));
}

} // namespace

PendingFile::PendingFile(FileSystem &files, std::string target) : files_(files), target_(std::move(target)) {
    std::error_code error;
    path_ = files_.make_beside(target_, error);
    if (error)
        fail(target_, error);
}

PendingFile::~PendingFile() {
    std::error_code ignored;
    if (!path_.empty())
        files_.remove(path_, ignored);
}

bool PendingFile::put_in_place(Existing existing) {
    std::error_code error;
    files_.replace(path_, target_, existing, error);
    if (existing == Existing::kept && error == std::errc::file_exists)
        return false;
    if (error)
        fail(target_, error);
    path_.clear();
    return true;
}

struct OutputGroup::State {
    std::vector<std::unique_ptr<PendingFile>> complete;
};

OutputGroup::OutputGroup() : state_(std::make_unique<State>()) {}
OutputGroup::~OutputGroup() = default;

void OutputGroup::add(std::unique_ptr<PendingFile> complete) {
    state_->complete.push_back(std::move(complete));
}

void OutputGroup::commit() {
    for (const auto &file : state_->complete)
        file->put_in_place();
    state_->complete.clear();
}

bool OutputFile::is_streamed(const std::string &target, FileSystem &files) {
    return target == standard_output_name || files.is_stream(target);
}

OutputFile::OutputFile(const std::string &target, OutputGroup *group, FileSystem &files, std::string member,
                       const Packing &packing)
    : name_(target == standard_output_name ? "Standard output" : target), group_(group),
      buffer_(new char[buffer_bytes]), at_(buffer_.get()), end_(buffer_.get() + buffer_bytes) {
    std::error_code error;
    if (target == standard_output_name) {
        file_ = standard_file(STDOUT_FILENO, error);
    } else {
        if (!is_streamed(target, files))
            pending_ = std::make_unique<PendingFile>(files, target);
        file_ = files.open(pending_ ? pending_->path() : target, OpenMode::copy, error);
    }
    check(error);
    pack(std::move(member), packing);
}

void OutputFile::pack(std::string member, const Packing &packing) {
    const Compression compression = compression_of_name(name_);
    if (compression == Compression::none)
        return;
    if (member.empty())
        member = std::filesystem::path(uncompressed_name(name_)).filename().string();
    packer_ = packer(compression, {name_, member, [this](std::span<const char> bytes) { write_all(bytes); }}, packing);
}

OutputFile::~OutputFile() = default;

void OutputFile::append(std::string_view bytes) {
    if (static_cast<size_t>(end_ - at_) < bytes.size()) {
        flush();
        if (bytes.size() > buffer_bytes)
            return pass_on(bytes);
    }
    at_ = std::copy(bytes.begin(), bytes.end(), at_);
}

void OutputFile::flush() {
    const auto count = static_cast<size_t>(at_ - buffer_.get());
    at_ = buffer_.get();
    pass_on({buffer_.get(), count});
}

void OutputFile::pass_on(std::span<const char> bytes) {
    if (packer_)
        packer_->write(bytes);
    else
        write_all(bytes);
}

void OutputFile::write_all(std::span<const char> bytes) {
    std::error_code error;
    file_->write(position_, bytes, error);
    check(error);
    position_ += bytes.size();
}

void OutputFile::finish() {
    flush();
    if (packer_)
        packer_->finish();
    std::error_code error;
    if (pending_)
        file_->store(error);
    check(error);
    file_->close(error);
    check(error);
    if (pending_ && group_)
        group_->add(std::move(pending_));
    else if (pending_)
        pending_->put_in_place();
}

void OutputFile::check(std::error_code error) const {
    if (error)
        fail(name_, error);
}

size_t OutputStream::read(uint64_t, std::span<char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
    return 0;
}

void OutputStream::write(uint64_t position, std::span<const char> bytes, std::error_code &error) {
    if (!state_->open || position != written_) {
        error = std::make_error_code(std::errc::invalid_seek);
        return;
    }
    try {
        file_.append({bytes.data(), bytes.size()});
        written_ += bytes.size();
    } catch (...) {
        state_->failure = std::current_exception();
        error = std::make_error_code(std::errc::io_error);
    }
}

} // namespace vor
