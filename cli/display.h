// What the commands show: for people text as a terminal may show it, rows in columns and values of user formats; for
// programs JSON.
#pragma once

#include <vorhost/conversion.h>
#include <vorhost/dataset.h>
#include <vorhost/tables.h>
#include <vorhost/user_format.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vor::cli {

// UTF-8 with every control character and every byte that is no UTF-8 written as an escape ("\n", "\x1b"), so that
// nothing in a file can move the cursor or forge a line. longest_columns: text that is wider is cut, with "…" at the
// end.
std::string display_text(std::string_view text, size_t longest_columns = static_cast<size_t>(-1));

// Columns that a display_text takes on a terminal.
size_t display_columns(std::string_view text);

// Columns of the terminal behind a descriptor; 0 when it is none, or does not say.
size_t terminal_columns(int descriptor);

// Whether what is written to this path ("-": standard output) goes to a terminal.
bool is_terminal(const std::string &path);

// Rows in columns for people.
class TextTable {
  public:
    enum class Side { left, right };
    struct Column {
        std::string title; // UTF-8; control characters are shown, not sent
        Side side = Side::left;
    };

    // longest_cell: columns of a terminal; a longer cell is cut, with "…" at its end.
    explicit TextTable(const std::vector<Column> &columns, size_t longest_cell = 60);

    // One cell for each column.
    void add(const std::vector<std::string> &cells);

    size_t rows() const { return rows_.size(); }

    // Columns that would make the lines wider are left out, but for the first. Holds from the first take on.
    void fit(size_t line_columns) { line_columns_ = line_columns; }

    // Of the columns, those that are shown: all before the first take.
    size_t shown() const { return shown_; }

    // The rows added since the last call, each on a line, under the titles the first time. Columns are as wide as
    // their widest cell so far.
    std::string take();

  private:
    void append_line(std::string &text, const std::vector<std::string> &cells) const;

    void choose_columns();

    size_t longest_cell_;
    size_t line_columns_ = static_cast<size_t>(-1);
    size_t shown_;
    bool chosen_ = false;
    std::vector<Side> sides_;
    std::vector<size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
};

// "1", or "1 to 5".
std::string range_text(const FormatRange &range);

// Writes all of a text. ConversionError (machine) when the reader went away or there is no space.
void write_standard_output(std::string_view text);

} // namespace vor::cli
