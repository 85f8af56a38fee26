#include "text_table.h"

#include "display_text.h"

#include <algorithm>

namespace vor::cli {

TextTable::TextTable(const std::vector<Column> &columns, size_t longest_cell)
    : longest_cell_(longest_cell), widths_(columns.size(), 0) {
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
    for (const auto &row : rows_)
        append_line(text, row);
    rows_.clear();
    return text;
}

void TextTable::append_line(std::string &text, const std::vector<std::string> &cells) const {
    for (size_t i = 0; i < cells.size(); ++i) {
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

} // namespace vor::cli
