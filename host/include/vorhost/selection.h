// A part of a data set: some of its variables, and its observations from one on.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vor {

struct Selection {
    std::vector<std::string> keep = {}; // names of the variables that are wanted; empty: all
    std::vector<std::string> drop = {}; // names of those among them that are not
    // A name that no variable has may be a pattern ("v*", "q?", "q[1-3]") or a range in the data set's order ("a-d");
    // one between quotation marks ("\"a,b\"") is nothing but a name.
    bool patterns = false;
    int64_t first_row = 1; // the observations before it are passed over

    bool chooses_variables() const { return !keep.empty() || !drop.empty(); }
};

// Positions of the variables that a selection leaves, in the data set's own order. ConversionError (usage), which names
// the source, for a name that no variable has and when no variable is left.
std::vector<size_t> chosen_columns(const std::vector<Variable> &variables, const Selection &selection,
                                   const std::string &source);

// Those of a selection's names that no variable answers to.
std::vector<std::string> absent_names(const std::vector<Variable> &variables, const std::vector<std::string> &names,
                                      bool patterns);

// The description of the data set that these columns make: it is sorted by its variables as far as the whole was, and
// has all label tables.
DataSet described(const DataSet &whole, const std::vector<size_t> &columns);

// Writes what a selection leaves of a source (at most `limit` observations, -1 for all) into a sink and finishes it.
// The number of observations written. `name` is the source's in messages.
int64_t copy_rows(BatchSource &source, const std::string &name, const Selection &selection, BatchSink &sink,
                  int64_t limit = -1);

} // namespace vor
