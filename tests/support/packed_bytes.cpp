#include "packed_bytes.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>

namespace vor::test {
namespace {

void check(archive *one, la_ssize_t code) {
    if (code < ARCHIVE_OK) {
        throw std::runtime_error(archive_error_string(one));
    }
}

void choose(archive *writer, const std::string &suffix) {
    if (suffix == ".zip") {
        check(writer, archive_write_set_format_zip(writer));
        return;
    }
    check(writer, suffix == ".gz"    ? archive_write_add_filter_gzip(writer)
                  : suffix == ".bz2" ? archive_write_add_filter_bzip2(writer)
                  : suffix == ".xz"  ? archive_write_add_filter_xz(writer)
                                     : archive_write_add_filter_zstd(writer));
    check(writer, archive_write_set_format_raw(writer));
}

} // namespace

std::string packed(const std::string &suffix, const std::vector<Member> &members) {
    const std::unique_ptr<archive, int (*)(archive *)> writer(archive_write_new(), archive_write_free);
    choose(writer.get(), suffix);
    std::string bytes(1 << 20, '\0');
    size_t used = 0;
    check(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1));
    check(writer.get(), archive_write_open_memory(writer.get(), bytes.data(), bytes.size(), &used));
    for (const Member &member : members) {
        const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(), archive_entry_free);
        archive_entry_set_pathname(entry.get(), member.name.c_str());
        archive_entry_set_filetype(entry.get(), member.name.ends_with('/') ? AE_IFDIR : AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(member.bytes.size()));
        check(writer.get(), archive_write_header(writer.get(), entry.get()));
        check(writer.get(), archive_write_data(writer.get(), member.bytes.data(), member.bytes.size()));
    }
    check(writer.get(), archive_write_close(writer.get()));
    bytes.resize(used);
    return bytes;
}

std::vector<Member> unpacked(const std::string &bytes) {
    const std::unique_ptr<archive, int (*)(archive *)> reader(archive_read_new(), archive_read_free);
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_raw(reader.get());
    archive_read_support_format_zip(reader.get());
    check(reader.get(), archive_read_open_memory(reader.get(), bytes.data(), bytes.size()));
    std::vector<Member> members;
    archive_entry *entry = nullptr;
    while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
        members.push_back({archive_entry_pathname(entry), {}});
        char piece[4096];
        for (la_ssize_t got = 0; (got = archive_read_data(reader.get(), piece, sizeof piece)) != 0;) {
            check(reader.get(), got);
            members.back().bytes.append(piece, static_cast<size_t>(got));
        }
    }
    EXPECT_EQ(archive_errno(reader.get()), 0) << archive_error_string(reader.get());
    return members;
}

} // namespace vor::test
