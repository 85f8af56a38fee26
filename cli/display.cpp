#include "display.h"

#include <vorhost/description.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cwchar>
#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unicode/utf8.h>
#include <unistd.h>
#include <unordered_map>

namespace vor::cli {

namespace {

struct Character {
    uint32_t code;
    size_t bytes; // 0: no UTF-8 begins here
};

// The first character of a text that is not empty.
Character first_character(std::string_view text) {
    constexpr size_t longest_bytes = 4;
    int32_t bytes = 0;
    UChar32 code = 0;
    U8_NEXT(text.data(), bytes, static_cast<int32_t>(std::min(text.size(), longest_bytes)), code);
    if (code < 0)
        return {static_cast<uint8_t>(text[0]), 0};
    return {static_cast<uint32_t>(code), static_cast<size_t>(bytes)};
}

// Of a character that stands as it is.
size_t columns_of(uint32_t code) {
    const int columns = wcwidth(static_cast<wchar_t>(code));
    return columns < 0 ? 1 : static_cast<size_t>(columns);
}

bool is_control(uint32_t code) {
    const bool reorders = (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 || reorders;
}

std::string escaped(uint32_t code) {
    switch (code) {
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return code < 0x100 ? fmt::format("\\x{:02x}", code) : fmt::format("\\u{:04x}", code);
    }
}

} // namespace

std::string display_text(std::string_view text, size_t longest_columns) {
    std::string shown;
    size_t columns = 0;
    size_t room_for_mark = 0; // bytes of `shown` that leave a column for the mark of a cut
    while (!text.empty()) {
        const auto [code, bytes] = first_character(text);
        const bool stands = bytes > 0 && !is_control(code);
        const std::string piece = stands ? std::string(text.substr(0, bytes)) : escaped(code);
        columns += stands ? columns_of(code) : piece.size();
        if (columns > longest_columns)
            return shown.substr(0, room_for_mark) + "…";
        shown += piece;
        if (columns < longest_columns)
            room_for_mark = shown.size();
        text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return shown;
}

size_t display_columns(std::string_view text) {
    size_t columns = 0;
    while (!text.empty()) {
        const auto [code, bytes] = first_character(text);
        columns += columns_of(code);
        text.remove_prefix(std::max<size_t>(bytes, 1));
    }
    return columns;
}

size_t terminal_columns(int descriptor) {
    winsize size{};
    return isatty(descriptor) == 1 && ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool is_terminal(const std::string &path) {
    if (path == "-")
        return isatty(STDOUT_FILENO) == 1;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISCHR(status.st_mode))
        return false;
    const int descriptor = open(path.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const bool terminal = descriptor >= 0 && isatty(descriptor) == 1;
    if (descriptor >= 0)
        close(descriptor);
    return terminal;
}

TextTable::TextTable(const std::vector<Column> &columns, size_t longest_cell)
    : longest_cell_(longest_cell), shown_(columns.size()), widths_(columns.size(), 0) {
    std::vector<std::string> titles;
    for (const Column &column : columns) {
        sides_.push_back(column.side);
        titles.push_back(column.title);
    }
    add(titles);
}

void TextTable::add(const std::vector<std::string> &cells) {
    std::vector<std::string> &row = rows_.emplace_back();
    for (size_t i = 0; i < cells.size(); ++i) {
        row.push_back(display_text(cells[i], longest_cell_));
        widths_[i] = std::max(widths_[i], display_columns(row.back()));
    }
}

std::string TextTable::take() {
    std::string text;
    choose_columns();
    for (const auto &row : rows_)
        append_line(text, row);
    rows_.clear();
    return text;
}

void TextTable::choose_columns() {
    size_t columns = 0;
    for (size_t i = 0; !chosen_ && i < widths_.size(); ++i) {
        columns += widths_[i] + (i > 0 ? 2 : 0);
        if (i == 0 || columns <= line_columns_)
            continue;
        shown_ = i;
        break;
    }
    chosen_ = true;
}

void TextTable::append_line(std::string &text, const std::vector<std::string> &cells) const {
    for (size_t i = 0; i < std::min(cells.size(), shown_); ++i) {
        const size_t blanks = widths_[i] - display_columns(cells[i]);
        if (i > 0)
            text += "  ";
        if (sides_[i] == Side::right)
            text.append(blanks, ' ');
        text += cells[i];
        if (sides_[i] == Side::left)
            text.append(blanks, ' ');
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
}

std::string range_text(const FormatRange &range) {
    const std::string start = value_text(range.start);
    return is_single(range) ? start : start + " to " + value_text(range.end);
}

void write_standard_output(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw ConversionError(Failure::machine, fmt::format("Standard output cannot be written: {}.",
                                                                std::system_category().message(errno)));
        text.remove_prefix(static_cast<size_t>(written));
    }
}

} // namespace vor::cli
