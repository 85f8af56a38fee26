#include "files/input_file.h"

#include "files/descriptor.h"

#include <vorhost/error.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>
#include <vector>

namespace vor {
namespace {

using namespace std::string_view_literals;

// What cannot be done to a file, for sentences.
constexpr const char *reading = "read";
constexpr const char *copying = "copied into a temporary file";

constexpr size_t start_bytes = 64; // enough to tell the compression and other kinds of files by
static_assert(start_bytes >= compression_mark_bytes);

// Beyond the ratio content of any size is read up to here; more where it is read row by row.
constexpr uint64_t always_unpacked_bytes[] = {1 << 20, 16 << 20, 1 << 20}; // by Content
constexpr uint64_t most_ratio = 1100;                                      // a little above the most that gzip can do

constexpr const char *expected_names[] = {"a Stata file", "delimited text", "a schema"}; // by Content

// Other kinds of files that people name by mistake, by bytes near the start.
struct Kind {
    size_t offset;
    std::string_view mark;
    const char *name;
};
constexpr Kind other_kinds[] = {
    {0, "SQLite format 3\0"sv, "a SQLite library"},
    {0, "$FL2", "an SPSS file"},
    {0, "$FL3", "an SPSS file"},
    {0, "PAR1", "a Parquet file"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", "an Excel workbook or another Office document"},
    {30, "[Content_Types].xml", "an Excel workbook or another Office document"},
    {30, "_rels/.rels", "an Excel workbook or another Office document"},
    {30, "mimetypeapplication/vnd.oasis", "an OpenDocument file"},
    {0, "%PDF-", "a PDF document"},
};
constexpr std::string_view stata_mark = "<stata_dta>";

const char *other_kind(std::string_view start) {
    for (const Kind &kind : other_kinds)
        if (start.size() > kind.offset && start.substr(kind.offset).starts_with(kind.mark))
            return kind.name;
    return nullptr;
}

// Whether nothing but characters, blanks and line ends begins the file.
bool is_text(std::string_view start) {
    return !start.empty() && std::all_of(start.begin(), start.end(), [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte >= ' ' && byte != 0x7F) || character == '\t' || character == '\n' || character == '\r';
    });
}

[[noreturn]] void refuse(Failure failure, const std::string &name, const char *kind, InputFile::Content expected) {
    throw ConversionError(
        failure, fmt::format("{} is {}; {} was expected.", name, kind, expected_names[static_cast<size_t>(expected)]));
}

} // namespace

InputFile::InputFile(const std::string &path, const Options &options)
    : name_(path == "-" ? "Standard input" : path), expected_(options.expected), text_name_(options.text_name),
      unpacking_(options.unpacking) {
    FileSystem &files = options.files ? *options.files : machine_files();
    open(path, files);
    start_.resize(start_bytes);
    size_t done = 0;
    for (size_t got = 1; got > 0 && done < start_.size(); done += got) {
        std::error_code error;
        got = file_->read(done, std::span(start_).subspan(done), error);
        check(error, reading);
    }
    start_.resize(done);
    compression_ = compression_of_bytes(start_);
    if (compression_ == Compression::zip)
        refuse_other_kinds(start_); // before anything is said about its members
    if (stream_ && (options.repeatable || compression_ == Compression::zip))
        keep_copy(files);
    plain_ = !stream_ && compression_ == Compression::none;
    begin();
    look_at_head(options.head_bytes);
    refuse_other_kinds(head_);
}

void InputFile::open(const std::string &path, FileSystem &files) {
    std::error_code error;
    // Standard input may be a file that somebody has already read a part of, so it counts as a stream even then.
    file_ = path == "-" ? standard_file(STDIN_FILENO, error) : files.open(path, OpenMode::read, error);
    if (error == std::errc::is_a_directory)
        refuse(Failure::machine, name_, "a directory", expected_);
    check(error, reading);
    file_bytes_ = file_->size(error);
    stream_ = error == std::errc::invalid_seek;
    if (!stream_)
        check(error, reading);
}

void InputFile::keep_copy(FileSystem &files) {
    std::error_code error;
    const std::string path = files.make_temporary(error);
    check(error, copying);
    std::unique_ptr<ByteFile> copy = files.open(path, OpenMode::replace, error);
    std::error_code ignored;
    files.remove(path, ignored); // it goes away with its last user
    check(error, copying);
    std::vector<char> piece(65536);
    uint64_t done = 0;
    while (const size_t count = read_packed(done, piece)) {
        copy->write(done, std::span(piece).first(count), error);
        check(error, copying);
        done += count;
    }
    file_ = std::move(copy);
    file_bytes_ = done;
    stream_ = false;
}

// Bytes of the file itself. Those of a stream's start are given twice.
size_t InputFile::read_packed(uint64_t position, std::span<char> buffer) {
    if (stream_ && position < start_.size()) {
        const size_t count = std::min(buffer.size(), start_.size() - static_cast<size_t>(position));
        std::memcpy(buffer.data(), start_.data() + position, count);
        return count;
    }
    std::error_code error;
    const size_t count = file_->read(position, buffer, error);
    check(error, reading);
    packed_bytes_ = std::max(packed_bytes_, position + count);
    return count;
}

void InputFile::begin() {
    position_ = unpacked_bytes_ = 0;
    packed_bytes_ = std::max(file_bytes_, uint64_t{start_.size()});
    if (compression_ != Compression::none)
        unpacker_ =
            unpack(compression_,
                   {name_, [this](uint64_t position, std::span<char> buffer) { return read_packed(position, buffer); },
                    file_bytes_});
}

size_t InputFile::next_content(std::span<char> buffer) {
    if (!unpacker_) {
        const size_t count = read_packed(position_, buffer);
        position_ += count;
        return count;
    }
    const size_t count = unpacker_->read(buffer);
    unpacked_bytes_ += count;
    check_ratio();
    return count;
}

void InputFile::check_ratio() const {
    const uint64_t most = std::max(always_unpacked_bytes[static_cast<size_t>(expected_)], packed_bytes_ * most_ratio);
    if (unpacking_ == Unpacking::bounded && unpacked_bytes_ > most)
        throw ConversionError(Failure::conversion,
                              fmt::format("{} unpacks to more than {} bytes, which its {} bytes hardly mean; "
                                          "--no-unpack-limit reads it nevertheless.",
                                          name_, most, packed_bytes_));
}

void InputFile::look_at_head(size_t bytes) {
    head_.resize(bytes);
    size_t done = 0;
    for (size_t got = 1; got > 0 && done < bytes; done += got)
        got = next_content(std::span(head_).subspan(done));
    head_.resize(done);
}

size_t InputFile::read(std::span<char> buffer) {
    if (head_read_ == head_.size())
        return next_content(buffer);
    const size_t count = head_.copy(buffer.data(), buffer.size(), head_read_);
    head_read_ += count;
    return count;
}

void InputFile::rewind() {
    begin();
    head_read_ = head_.size();
}

void InputFile::tell_remark(const Notes &notes) const {
    if (notes && !remark().empty())
        notes(fmt::format("{}: {}", name_, remark()));
}

void InputFile::refuse_other_kinds(std::string_view start) const {
    if (const char *kind = other_kind(start))
        refuse(Failure::conversion, name_, kind, expected_);
    const bool tagged = start.starts_with(stata_mark);
    if (tagged && expected_ != Content::stata)
        refuse(Failure::conversion, name_, "a Stata file", expected_);
    if (!tagged && text_name_ && is_text(start))
        refuse(Failure::conversion, name_, text_name_, expected_);
}

void InputFile::check(std::error_code error, const char *what) const {
    if (error)
        throw ConversionError(Failure::machine, fmt::format("{} cannot be {}: {}.", name_, what, error.message()));
}

size_t InputStream::read(uint64_t position, std::span<char> buffer, std::error_code &error) {
    if (position != position_) {
        error = std::make_error_code(std::errc::invalid_seek);
        return 0;
    }
    try {
        const size_t got = file_->read(buffer);
        position_ += got;
        return got;
    } catch (...) {
        *failure_ = std::current_exception();
        error = std::make_error_code(std::errc::io_error);
        return 0;
    }
}

void InputStream::write(uint64_t, std::span<const char>, std::error_code &error) {
    error = std::make_error_code(std::errc::bad_file_descriptor);
}

uint64_t InputStream::size(std::error_code &error) {
    error = std::make_error_code(std::errc::invalid_seek);
    return 0;
}

} // namespace vor
