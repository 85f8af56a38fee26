// An observation of an export as the module stores it: numbers in the unit of their display format, whole texts. And
// the choice of stored types, which looks at all values first.
#pragma once

#include "jobs/export_observation.h"

#include <vorhost/conversion.h>

namespace vor {

// The description with a stored type for every variable, chosen as `types` says; a recorded type that the values do not
// fit gives way to a wider one, which a note tells. Reads the source to its end and goes back; a source that cannot go
// back keeps the description that it has, but for numbers that are to be doubles.
DataSet with_stored_types(BatchSource &source, StoredTypes types, const Notes &note);

// A value that the type of its variable does not hold. The sentence is the module's own one, more or less.
struct Misfit : ConversionError {
    using ConversionError::ConversionError;
};

// set_number and set_text throw a Misfit.
class StoredObservation : public ExportRow {
  public:
    // written: the variables as they stand in the file. source: the same ones as the rows have them, which says the
    // unit of their numbers. Both must outlive this.
    StoredObservation(const std::vector<Variable> &written, const std::vector<Variable> &source);

    void set_number(size_t column, double value) override;
    void set_text(size_t column, std::string_view text) override;
    void set_bytes(size_t column, std::string_view bytes) override;

    const void *bytes() override;
    void clear() override;

  private:
    struct Column {
        Temporal from;
        Temporal to;
        StoredType stored;
        bool checked;    // the type does not hold every number
        size_t length;   // bytes of a text
        size_t position; // in the observation
    };
    void store_text(size_t column, std::string_view text, bool binary);
    [[noreturn]] void refuse(size_t column) const;

    std::vector<Column> columns_;
    std::vector<std::string> names_;
    std::vector<char> observation_;
    std::vector<std::string> texts_;
};

} // namespace vor
