// Observations as a table for people, as wide as the terminal.
#pragma once

#include "display.h"

#include <vorhost/batch.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vor::cli {

class TableSink : public BatchSink {
  public:
    // labels: "codes", "text" or "both". all: columns that do not fit the terminal, too.
    TableSink(std::string labels, bool all, FormatLookup lookup);

    void begin(const DataSet &description) override;
    void put(Batch &batch) override;
    void finish() override;

    // The note for columns that are left out; empty when none is.
    std::string note_of_width() const;

  private:
    struct ShownColumn {
        bool numeric;
        bool single; // stored as a float
        Temporal temporal;
        const LabelIndex *labels; // null: codes only
    };

    void add_cells(std::vector<std::string> &cells, const ShownColumn &column, const Column &values, size_t row) const;
    void add_number(std::vector<std::string> &cells, const ShownColumn &column, double value) const;

    std::string labels_;
    bool all_;
    size_t all_columns_ = 0;
    FormatLookup lookup_;
    std::map<const UserFormat *, LabelIndex> indexes_; // variables may share one
    std::vector<ShownColumn> columns_;
    std::optional<TextTable> table_;
};

} // namespace vor::cli
