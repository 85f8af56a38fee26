// The batches of an export as the module stores them: numbers in the unit of their display format, whole texts. A
// column whose values are stored as they are goes as it is; others are written anew, and what happened to them is
// counted.
#pragma once

#include "jobs/export_observation.h"

#include <vor/extension.h>
#include <vorhost/batch.h>
#include <vorhost/error.h>

#include <string>
#include <vector>

namespace vor {

// A value that the type of its variable does not hold. The sentence is the module's own one, more or less.
struct Misfit : ConversionError {
    using ConversionError::ConversionError;
};

class StoredColumns {
  public:
    // written: the variables as they stand in the file. source: the same ones as the batches have them, which says the
    // unit of their numbers.
    StoredColumns(const std::vector<Variable> &written, const std::vector<Variable> &source);

    // The next batch as the module takes it, which stands as long as the given one and until the next call. Throws a
    // Misfit.
    vor_batch *taken(const Batch &batch);

    const ExportLosses &losses() const { return losses_; }

  private:
    struct Place {
        std::string name;
        Temporal from;
        Temporal to;
        StoredType stored;
        size_t length; // bytes of a text
    };
    const Column &stored(size_t column, const Column &given);
    double storable(size_t column, double value, int64_t observation);
    void check_texts(size_t column, const Column &texts);
    [[noreturn]] void refuse(size_t column, int64_t observation) const;

    // From 1.
    int64_t observation(size_t row) const { return rows_before_ + static_cast<int64_t>(row) + 1; }

    std::vector<Place> places_;
    std::vector<Column> rewritten_;
    std::vector<vor_column> columns_;
    vor_batch batch_ = {};
    int64_t rows_before_ = 0;
    ExportLosses losses_;
};

} // namespace vor
