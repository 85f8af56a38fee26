#include "files/packer.h"

#include <vorhost/error.h>

#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <ctime>
#include <fmt/format.h>
#include <new>

namespace vor {
namespace {

constexpr int block_bytes = 64 * 1024;
constexpr int member_permissions = 0644;

// The status of the library, which fails when it was built without this compression.
int add_filter(archive *writer, Compression compression) {
    switch (compression) {
    case Compression::gzip:
        return archive_write_add_filter_gzip(writer);
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

Packer::Packer(Compression compression, std::string target, const std::string &member, int64_t size_bytes,
               Output output)
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
    add_member(member, size_bytes);
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

void Packer::add_member(const std::string &name, int64_t size_bytes) {
    const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(), archive_entry_free);
    if (!entry)
        throw std::bad_alloc();
    archive_entry_update_pathname_utf8(entry.get(), name.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), member_permissions);
    archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
    if (size_bytes >= 0)
        archive_entry_set_size(entry.get(), size_bytes);
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
