// gzip goes through zlib, because libarchive does not compare its check sums: a damaged file would pass for a good one.
// Everything else goes through libarchive.
#include "files/unpacker.h"

#include <vorhost/error.h>

#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <fmt/format.h>
#include <new>
#include <vector>
#include <zlib.h>

namespace vor {
namespace {

constexpr size_t block_bytes = 64 * 1024;

// The packed bytes, block by block.
class PackedBlocks {
  public:
    PackedBlocks(Compression compression, PackedFile file) : compression_(compression), file_(std::move(file)) {}

    std::span<char> next() {
        const size_t count = file_.read(position_, block_);
        position_ += count;
        return {block_.data(), count};
    }

    // False for a place that the file does not have.
    bool move_to(uint64_t position) {
        position_ = position;
        return position <= file_.size_bytes;
    }

    uint64_t position() const { return position_; }
    const PackedFile &file() const { return file_; }

    // unused_bytes: of the last block.
    [[noreturn]] void fail(std::string words, size_t unused_bytes = 0) const {
        while (words.ends_with('\n') || words.ends_with('.'))
            words.pop_back();
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: the {} data is damaged or cut short near byte {}: {}.", file_.name,
                                          compression_name(compression_), position_ - unused_bytes, words));
    }

  private:
    Compression compression_;
    PackedFile file_;
    uint64_t position_ = 0;
    std::vector<char> block_ = std::vector<char>(block_bytes);
};

class GzipUnpacker : public Unpacker {
  public:
    explicit GzipUnpacker(PackedFile file) : packed_(Compression::gzip, std::move(file)) {
        if (inflateInit2(&stream_, window_bits) != Z_OK)
            throw std::bad_alloc();
    }
    ~GzipUnpacker() override { inflateEnd(&stream_); }
    GzipUnpacker(const GzipUnpacker &) = delete;
    GzipUnpacker &operator=(const GzipUnpacker &) = delete;

    size_t read(std::span<char> buffer) override;

  private:
    static constexpr int window_bits = MAX_WBITS + 16; // the 16: gzip, with its check sums

    bool more();
    bool begin_part();

    PackedBlocks packed_;
    z_stream stream_{};
    bool inside_part_ = true; // a file may be several compressed parts, one after the other
};

// Whether there are packed bytes left.
bool GzipUnpacker::more() {
    if (stream_.avail_in == 0) {
        const std::span<char> block = packed_.next();
        stream_.next_in = reinterpret_cast<Bytef *>(block.data());
        stream_.avail_in = static_cast<uInt>(block.size());
    }
    return stream_.avail_in != 0;
}

// Zeros fill up the last block of a tape.
bool GzipUnpacker::begin_part() {
    bool padded = false;
    while (more() && *stream_.next_in == 0) {
        padded = true;
        ++stream_.next_in;
        --stream_.avail_in;
    }
    if (stream_.avail_in != 0 && padded)
        packed_.fail("bytes stand behind the end", stream_.avail_in);
    inside_part_ = stream_.avail_in != 0;
    if (inside_part_)
        inflateReset(&stream_);
    return inside_part_;
}

size_t GzipUnpacker::read(std::span<char> buffer) {
    stream_.next_out = reinterpret_cast<Bytef *>(buffer.data());
    stream_.avail_out = static_cast<uInt>(buffer.size());
    while (stream_.avail_out == buffer.size()) {
        if (!inside_part_ && !begin_part())
            break;
        if (!more())
            packed_.fail("the file ends too early");
        const int code = inflate(&stream_, Z_NO_FLUSH);
        if (code == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (code != Z_OK && code != Z_STREAM_END)
            packed_.fail(stream_.msg ? stream_.msg : "it makes no sense", stream_.avail_in);
        inside_part_ = code != Z_STREAM_END;
    }
    return buffer.size() - stream_.avail_out;
}

// An archive as libarchive reads it. A file that is compressed without being an archive is one with one member.
class ArchiveUnpacker : public Unpacker {
  public:
    ArchiveUnpacker(Compression compression, PackedFile file)
        : packed_(compression, std::move(file)), compression_(compression) {
        if (compression == Compression::zip)
            check_members();
        open();
        archive_entry *member = next_member();
        while (member && !is_wanted(member))
            member = next_member();
        empty_ = member == nullptr;
    }

    size_t read(std::span<char> buffer) override;

  private:
    struct Free {
        void operator()(archive *reader) const { archive_read_free(reader); }
    };

    void open();
    archive_entry *next_member();
    void check_members();
    bool is_wanted(archive_entry *member) const;
    void check(int code);
    [[noreturn]] void fail();

    static la_ssize_t read_block(archive *reader, void *self, const void **block);
    static la_int64_t seek(archive *reader, void *self, la_int64_t offset, int from);

    PackedBlocks packed_;
    Compression compression_;
    bool empty_ = false;         // no content at all, which for libarchive is no member
    std::exception_ptr failure_; // what reading the file threw
    std::unique_ptr<archive, Free> archive_;
};

la_ssize_t ArchiveUnpacker::read_block(archive *reader, void *self, const void **block) {
    auto *unpacker = static_cast<ArchiveUnpacker *>(self);
    try {
        const std::span<char> bytes = unpacker->packed_.next();
        *block = bytes.data();
        return static_cast<la_ssize_t>(bytes.size());
    } catch (...) {
        unpacker->failure_ = std::current_exception();
        archive_set_error(reader, EIO, "it cannot be read");
        return ARCHIVE_FATAL;
    }
}

la_int64_t ArchiveUnpacker::seek(archive *, void *self, la_int64_t offset, int from) {
    PackedBlocks &packed = static_cast<ArchiveUnpacker *>(self)->packed_;
    const uint64_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? packed.position() : packed.file().size_bytes;
    const uint64_t position = base + static_cast<uint64_t>(offset); // a place before the first byte is beyond the last
    return packed.move_to(position) ? static_cast<la_int64_t>(position) : ARCHIVE_FATAL;
}

void ArchiveUnpacker::open() {
    packed_.move_to(0);
    archive_.reset(archive_read_new());
    archive *reader = archive_.get();
    if (reader == nullptr)
        throw std::bad_alloc();
    if (compression_ == Compression::zip) {
        check(archive_read_support_format_zip_seekable(reader));
        check(archive_read_set_seek_callback(reader, seek));
    } else {
        check(archive_read_support_format_raw(reader));
        check(archive_read_support_format_empty(reader));
        check(compression_ == Compression::bzip2 ? archive_read_support_filter_bzip2(reader)
              : compression_ == Compression::xz  ? archive_read_support_filter_xz(reader)
                                                 : archive_read_support_filter_zstd(reader));
    }
    archive_read_set_read_callback(reader, read_block);
    archive_read_set_callback_data(reader, this);
    check(archive_read_open1(reader));
    // What the library does not recognise as compressed it would give out as it is.
    if (compression_ != Compression::zip && packed_.position() != 0 && archive_filter_count(reader) < 2)
        packed_.fail("the file ends too early");
}

// Warnings do not count: they tell of another program that does the work, or of an odd name or length.
void ArchiveUnpacker::check(int code) {
    if (code != ARCHIVE_OK && code != ARCHIVE_WARN)
        fail();
}

// Null behind the last.
archive_entry *ArchiveUnpacker::next_member() {
    archive_entry *member = nullptr;
    const int code = archive_read_next_header(archive_.get(), &member);
    if (code == ARCHIVE_EOF)
        return nullptr;
    check(code);
    return member;
}

std::string member_name(archive_entry *member) {
    const char *name = archive_entry_pathname_utf8(member);
    if (name == nullptr)
        name = archive_entry_pathname(member);
    return name ? name : "?";
}

// A file, and not what one system keeps beside the files themselves.
bool ArchiveUnpacker::is_wanted(archive_entry *member) const {
    return compression_ != Compression::zip ||
           (archive_entry_filetype(member) == AE_IFREG && !member_name(member).starts_with("__MACOSX/"));
}

// An archive of nothing is nothing but its end, which libarchive does not take for an archive.
bool is_empty_zip(const PackedFile &file) {
    std::array<char, 4> start{};
    return file.read(0, start) == start.size() && std::string_view(start.data(), start.size()) == "PK\x05\x06";
}

void ArchiveUnpacker::check_members() {
    constexpr size_t shown = 5;
    std::string names;
    size_t count = 0;
    bool encrypted = false;
    if (!is_empty_zip(packed_.file()))
        open();
    while (archive_entry *member = archive_ ? next_member() : nullptr) {
        if (!is_wanted(member))
            continue;
        encrypted = encrypted || archive_entry_is_encrypted(member);
        if (++count <= shown)
            names += (count == 1 ? "" : ", ") + member_name(member);
    }
    const std::string &name = packed_.file().name;
    if (count == 0)
        throw ConversionError(Failure::conversion, fmt::format("{} is a zip archive without a file in it.", name));
    if (count > 1)
        throw ConversionError(Failure::conversion,
                              fmt::format("{} is a zip archive of {} files ({}{}), and only one can be read; unpack it "
                                          "and name the file that is meant.",
                                          name, count, names, count > shown ? ", ..." : ""));
    if (encrypted)
        throw ConversionError(
            Failure::conversion,
            fmt::format("{} is encrypted; unpack it with its password and name the file {}.", name, names));
}

size_t ArchiveUnpacker::read(std::span<char> buffer) {
    if (empty_)
        return 0;
    const la_ssize_t count = archive_read_data(archive_.get(), buffer.data(), buffer.size());
    if (count < 0)
        fail();
    return static_cast<size_t>(count);
}

void ArchiveUnpacker::fail() {
    if (failure_)
        std::rethrow_exception(failure_);
    if (archive_errno(archive_.get()) == ENOMEM)
        throw std::bad_alloc();
    const bool unknown = archive_format(archive_.get()) == 0; // what comes before is the filters' business, not zip's
    const char *words = compression_ == Compression::zip && unknown ? "the list of files at its end is missing"
                                                                    : archive_error_string(archive_.get());
    packed_.fail(words ? words : "it makes no sense");
}

} // namespace

std::unique_ptr<Unpacker> unpack(Compression compression, PackedFile file) {
    if (compression == Compression::gzip)
        return std::make_unique<GzipUnpacker>(std::move(file));
    return std::make_unique<ArchiveUnpacker>(compression, std::move(file));
}

} // namespace vor
