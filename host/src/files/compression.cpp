#include "files/compression.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/files.h>

#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cerrno>
#include <ctime>
#include <fmt/format.h>
#include <new>

namespace vor {

namespace {

using namespace std::string_view_literals;

struct Kind {
    Compression compression;
    std::string_view name;
    std::string_view suffix;
    std::string_view mark; // the first bytes
};

constexpr std::array kinds = {
    Kind{.compression = Compression::gzip, .name = "gzip", .suffix = ".gz", .mark = "\x1F\x8B"sv},
    Kind{.compression = Compression::bzip2, .name = "bzip2", .suffix = ".bz2", .mark = "BZh"sv},
    Kind{.compression = Compression::xz, .name = "xz", .suffix = ".xz", .mark = "\xFD\x37zXZ\0"sv},
    Kind{.compression = Compression::zstd, .name = "zstd", .suffix = ".zst", .mark = "\x28\xB5\x2F\xFD"sv},
    Kind{.compression = Compression::zip, .name = "zip", .suffix = ".zip", .mark = "PK\x03\x04"sv},
    Kind{.compression = Compression::zip, .name = "zip", .suffix = ".zip", .mark = "PK\x05\x06"sv}, // without members
};

// A name that is nothing but a suffix has none.
bool has_suffix(std::string_view path, std::string_view suffix) {
    const std::string_view name = path.substr(path.find_last_of('/') + 1);
    return name.size() > suffix.size() && same_but_for_case(name.substr(name.size() - suffix.size()), suffix);
}

// Three letters are too few to tell a file by: the level and the first block, or the end of a file of nothing, follow.
bool goes_on_as_bzip2(std::string_view start) {
    constexpr std::string_view block = "1AY&SY";
    constexpr std::string_view end = "\x17\x72\x45\x38\x50\x90";
    return start.size() >= compression_mark_bytes && start[3] >= '1' && start[3] <= '9' &&
           (start.substr(4).starts_with(block) || start.substr(4).starts_with(end));
}

const Kind *kind_of_name(std::string_view path) {
    for (const Kind &kind : kinds)
        if (has_suffix(path, kind.suffix))
            return &kind;
    return nullptr;
}

} // namespace

Compression compression_of_name(std::string_view path) {
    const Kind *kind = kind_of_name(path);
    return kind ? kind->compression : Compression::none;
}

Compression compression_of_bytes(std::string_view start) {
    for (const Kind &kind : kinds)
        if (start.starts_with(kind.mark) && (kind.compression != Compression::bzip2 || goes_on_as_bzip2(start)))
            return kind.compression;
    return Compression::none;
}

std::string_view compression_name(Compression compression) {
    for (const Kind &kind : kinds)
        if (kind.compression == compression)
            return kind.name;
    return "none";
}

std::string misnamed(std::string_view path, Compression found) {
    const Compression named = compression_of_name(path);
    if (named == Compression::none || named == found)
        return {};
    if (found == Compression::none)
        return fmt::format("the name says {}, but the file is not compressed; it is read as it is.",
                           compression_name(named));
    return fmt::format("the name says {}, but the file is {}; it is read as that.", compression_name(named),
                       compression_name(found));
}

std::string uncompressed_name(const std::string &path) {
    const Kind *kind = kind_of_name(path);
    return kind ? path.substr(0, path.size() - kind->suffix.size()) : path;
}

namespace {

constexpr int block_bytes = 64 * 1024;
constexpr int member_permissions = 0644;

// The status of the library, which fails when it was built without this compression.
int add_filter(archive *writer, Compression compression) {
    switch (compression) {
    case Compression::gzip:
        return archive_write_add_filter_gzip(writer);
    case Compression::bzip2:
        return archive_write_add_filter_bzip2(writer);
    case Compression::xz:
        return archive_write_add_filter_xz(writer);
    case Compression::zstd:
        return archive_write_add_filter_zstd(writer);
    case Compression::zip:
    case Compression::none:
        break;
    }
    return ARCHIVE_OK;
}

} // namespace

Packer::Packer(Compression compression, std::string target, const std::string &member, Output output)
    : target_(std::move(target)), output_(std::move(output)), archive_(archive_write_new(), Abandon{this}) {
    if (!archive_)
        throw std::bad_alloc();
    // A failure is kept for check; the library hears of none, because a writer that failed keeps its memory.
    const auto write_block = [](archive *, void *self, const void *bytes, size_t count) -> la_ssize_t {
        static_cast<Packer *>(self)->pass_on({static_cast<const char *>(bytes), count});
        return static_cast<la_ssize_t>(count);
    };
    check(add_filter(archive_.get(), compression));
    if (compression == Compression::gzip) // the same data give the same bytes
        check(archive_write_set_filter_option(archive_.get(), "gzip", "timestamp", nullptr));
    check(compression == Compression::zip ? archive_write_set_format_zip(archive_.get())
                                          : archive_write_set_format_raw(archive_.get()));
    archive_write_set_bytes_per_block(archive_.get(), block_bytes);
    archive_write_set_bytes_in_last_block(archive_.get(), 1); // no padding
    check(archive_write_open(archive_.get(), this, nullptr, write_block, nullptr));
    add_member(member);
}

void Packer::Abandon::operator()(archive *writer) const {
    packer->abandoned_ = true;
    archive_write_free(writer);
}

void Packer::pass_on(std::span<const char> bytes) {
    if (abandoned_ || failure_)
        return;
    try {
        output_(bytes);
    } catch (...) {
        failure_ = std::current_exception();
    }
}

void Packer::add_member(const std::string &name) {
    const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(), archive_entry_free);
    if (!entry)
        throw std::bad_alloc();
    archive_entry_update_pathname_utf8(entry.get(), name.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), member_permissions);
    archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    check(archive_write_header(archive_.get(), entry.get()));
}

void Packer::write(std::span<const char> bytes) {
    check(archive_write_data(archive_.get(), bytes.data(), bytes.size()));
}

void Packer::finish() {
    check(archive_write_close(archive_.get()));
}

// Warnings, such as one about a name outside the locale, do not count.
void Packer::check(int64_t code) {
    if (failure_)
        std::rethrow_exception(failure_);
    if (code >= ARCHIVE_WARN)
        return;
    if (archive_errno(archive_.get()) == ENOMEM)
        throw std::bad_alloc();
    const char *words = archive_error_string(archive_.get());
    throw ConversionError(Failure::machine,
                          fmt::format("{} cannot be compressed: {}.", target_, words ? words : "no reason is known"));
}

} // namespace vor
