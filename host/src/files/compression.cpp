#include "files/compression.h"

#include "files/ordered_work.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/files.h>

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <fmt/format.h>
#include <new>

namespace vor {

namespace {

using namespace std::string_view_literals;

struct Levels {
    int lowest;
    int highest;
    int quick;
};

struct Kind {
    Compression compression;
    std::string_view name;
    std::string_view suffix;
    std::string_view mark; // the first bytes
    Levels levels;
};

constexpr std::array kinds = {
    Kind{.compression = Compression::gzip, .name = "gzip", .suffix = ".gz", .mark = "\x1F\x8B"sv, .levels = {0, 9, 1}},
    Kind{.compression = Compression::bzip2, .name = "bzip2", .suffix = ".bz2", .mark = "BZh"sv, .levels = {1, 9, 9}},
    Kind{.compression = Compression::xz, .name = "xz", .suffix = ".xz", .mark = "\xFD\x37zXZ\0"sv, .levels = {0, 9, 1}},
    Kind{.compression = Compression::zstd,
         .name = "zstd",
         .suffix = ".zst",
         .mark = "\x28\xB5\x2F\xFD"sv,
         .levels = {1, 19, 3}},
    Kind{.compression = Compression::zip, .name = "zip", .suffix = ".zip", .mark = "PK\x03\x04"sv, .levels = {0, 9, 1}},
    Kind{.compression = Compression::zip,
         .name = "zip",
         .suffix = ".zip",
         .mark = "PK\x05\x06"sv,
         .levels = {0, 9, 1}}, // without members
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

// compression: not none.
const Kind &kind_of(Compression compression) {
    return *std::find_if(kinds.begin(), kinds.end(), [&](const Kind &kind) { return kind.compression == compression; });
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
    return compression == Compression::none ? "none" : kind_of(compression).name;
}

void check_compression_level(const std::string &path, std::optional<int> level) {
    if (!level)
        return;
    const Kind *kind = kind_of_name(path);
    if (!kind)
        throw ConversionError(Failure::usage,
                              path + " takes no compression level: it ends in none of .gz, .bz2, .xz, .zst and .zip.");
    const auto [lowest, highest, quick] = kind->levels;
    if (*level < lowest || *level > highest)
        throw ConversionError(Failure::usage, fmt::format("The compression level of {} goes from {} to {}, not {}.",
                                                          kind->name, lowest, highest, *level));
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
constexpr size_t piece_bytes = 1024 * 1024; // of the content
constexpr size_t pieces_per_thread = 2;
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

// One stream of compressed bytes, on the thread that writes.
class StreamPacker : public Packer {
  public:
    StreamPacker(Compression compression, PackerTarget target, const Packing &packing)
        : target_(std::move(target)), archive_(archive_write_new(), Abandon{this}) {
        if (!archive_)
            throw std::bad_alloc();
        // A failure is kept for check; the library hears of none, because a writer that failed keeps its memory.
        const auto write_block = [](archive *, void *self, const void *bytes, size_t count) -> la_ssize_t {
            static_cast<StreamPacker *>(self)->pass_on({static_cast<const char *>(bytes), count});
            return static_cast<la_ssize_t>(count);
        };
        check(add_filter(archive_.get(), compression));
        check(compression == Compression::zip ? archive_write_set_format_zip(archive_.get())
                                              : archive_write_set_format_raw(archive_.get()));
        set_options(compression, packing);
        archive_write_set_bytes_per_block(archive_.get(), block_bytes);
        archive_write_set_bytes_in_last_block(archive_.get(), 1); // no padding
        check(archive_write_open(archive_.get(), this, nullptr, write_block, nullptr));
        add_member(target_.member);
    }
    StreamPacker(const StreamPacker &) = delete;
    StreamPacker &operator=(const StreamPacker &) = delete;

    void write(std::span<const char> bytes) override {
        check(archive_write_data(archive_.get(), bytes.data(), bytes.size()));
    }
    void finish() override { check(archive_write_close(archive_.get())); }

  private:
    struct Abandon {
        StreamPacker *packer;
        void operator()(archive *writer) const {
            packer->abandoned_ = true;
            archive_write_free(writer);
        }
    };

    void set_options(Compression compression, const Packing &packing) {
        const std::string level = std::to_string(packing.level.value_or(kind_of(compression).levels.quick));
        check(archive_write_set_options(archive_.get(), ("compression-level=" + level).c_str()));
        if (compression == Compression::gzip) // the same data give the same bytes
            check(archive_write_set_filter_option(archive_.get(), "gzip", "timestamp", nullptr));
        if (compression == Compression::zstd) // one that does not know them works without
            archive_write_set_filter_option(archive_.get(), "zstd", "threads", std::to_string(packing.threads).c_str());
    }

    void pass_on(std::span<const char> bytes) {
        if (abandoned_ || failure_)
            return;
        try {
            target_.output(bytes);
        } catch (...) {
            failure_ = std::current_exception();
        }
    }

    void add_member(const std::string &name) {
        const std::unique_ptr<archive_entry, void (*)(archive_entry *)> entry(archive_entry_new(), archive_entry_free);
        if (!entry)
            throw std::bad_alloc();
        archive_entry_update_pathname_utf8(entry.get(), name.c_str());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), member_permissions);
        archive_entry_set_mtime(entry.get(), std::time(nullptr), 0);
        check(archive_write_header(archive_.get(), entry.get()));
    }

    // Warnings, such as one about a name outside the locale, do not count.
    void check(int64_t code) {
        if (failure_)
            std::rethrow_exception(failure_);
        if (code >= ARCHIVE_WARN)
            return;
        if (archive_errno(archive_.get()) == ENOMEM)
            throw std::bad_alloc();
        const char *words = archive_error_string(archive_.get());
        throw ConversionError(Failure::machine, fmt::format("{} cannot be compressed: {}.", target_.name,
                                                            words ? words : "no reason is known"));
    }

    PackerTarget target_;
    std::exception_ptr failure_; // what the output threw
    bool abandoned_ = false;
    std::unique_ptr<archive, Abandon> archive_;
};

// Pieces of the content, each a compressed stream for itself.
class PiecePacker : public Packer {
  public:
    PiecePacker(Compression compression, PackerTarget target, const Packing &packing)
        : compression_(compression), target_(std::move(target)), packing_(packing),
          work_(packing.threads, pieces_per_thread * packing.threads) {}

    void write(std::span<const char> bytes) override {
        while (!bytes.empty()) {
            const size_t count = std::min(bytes.size(), piece_bytes - content_.size());
            content_.append(bytes.data(), count);
            bytes = bytes.subspan(count);
            if (content_.size() == piece_bytes)
                submit();
        }
    }
    void finish() override {
        if (!content_.empty() || !any_) // no bytes are a stream, too
            submit();
        work_.finish();
    }

  private:
    class Piece : public OrderedWork::Piece {
      public:
        Piece(const PiecePacker &packer, std::string content) : packer_(packer), content_(std::move(content)) {}

        void work() override {
            const auto keep = [this](std::span<const char> bytes) { packed_.append(bytes.data(), bytes.size()); };
            StreamPacker stream(packer_.compression_, {packer_.target_.name, packer_.target_.member, keep},
                                packer_.packing_);
            stream.write(content_);
            stream.finish();
        }
        void deliver() override { packer_.target_.output(packed_); }

      private:
        const PiecePacker &packer_;
        std::string content_;
        std::string packed_;
    };

    void submit() {
        any_ = true;
        work_.submit(std::make_unique<Piece>(*this, std::move(content_)));
        content_.clear();
        content_.reserve(piece_bytes);
    }

    Compression compression_;
    PackerTarget target_;
    Packing packing_;
    std::string content_; // of the next piece
    bool any_ = false;    // submitted
    OrderedWork work_;
};

} // namespace

std::unique_ptr<Packer> packer(Compression compression, PackerTarget target, const Packing &packing) {
    if (compression == Compression::gzip || compression == Compression::xz)
        return std::make_unique<PiecePacker>(compression, std::move(target), packing);
    return std::make_unique<StreamPacker>(compression, std::move(target), packing);
}

} // namespace vor
