// What an import delivers, as batches: from the columns that the module fills, or from one host observation after the
// other for a host that asks for nothing. Texts come out as UTF-8.
#pragma once

#include "jobs/access_object.h"

#include <vor/extension.h>
#include <vor/namestr.h>
#include <vorhost/batch.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace vor {

class ImportValues {
  public:
    // A variable that is wanted: its number in the file, from 0, and how the module describes it.
    struct Wanted {
        int32_t number;
        const NAMESTR *variable;
    };
    // Told once for each column whose text is not valid in the session encoding, with its first observation.
    using BadTextNote = std::function<void(size_t column, int64_t observation)>;

    // variables: the description of those that are wanted, which must stay in its place, as must the object.
    // passed_over: observations before the first one.
    ImportValues(AccessObject &object, const std::vector<Variable> &variables, std::vector<Wanted> wanted,
                 int64_t passed_over, BadTextNote note);
    virtual ~ImportValues() = default;

    // As BatchSource::next.
    bool next(Batch &batch, size_t most_rows);

    // As BatchSource::rewind.
    virtual bool rewind() { return false; }

    // Texts of a column that were not valid in the session encoding.
    int64_t bad_texts(size_t column) const { return bad_texts_[column]; }

  protected:
    // Fills the batch, which has been started; false at the end.
    virtual bool fill(Batch &batch, size_t most_rows) = 0;

    // The text as UTF-8. observation: in the file, from 1. Valid until the next call.
    std::string_view decoded(size_t column, std::string_view stored, int64_t observation);

    AccessObject &object_;
    const std::vector<Variable> &variables_;
    std::vector<Wanted> wanted_;
    int64_t rows_; // of the file, that have been passed over or delivered

    const int64_t passed_over_;
    std::vector<int64_t> bad_texts_;

  private:
    BadTextNote note_;
    std::vector<bool> told_; // of bad texts
    std::string decoded_;
};

// extension: the block of the session; null under the base contract.
std::unique_ptr<ImportValues> import_values(AccessObject &object, const vor_extension *extension,
                                            const std::vector<Variable> &variables,
                                            std::vector<ImportValues::Wanted> wanted, int64_t passed_over,
                                            const ImportValues::BadTextNote &note);

} // namespace vor
