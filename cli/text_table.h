// Rows in columns for people.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vor::cli {

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

    // The rows added since the last call, each on a line, under the titles the first time. Columns are as wide as
    // their widest cell so far.
    std::string take();

  private:
    void append_line(std::string &text, const std::vector<std::string> &cells) const;

    size_t longest_cell_;
    std::vector<Side> sides_;
    std::vector<size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace vor::cli
