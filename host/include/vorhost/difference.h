// How two data sets differ: what they say of themselves, and their values, observation by observation.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vor {

// One thing in which they differ, as text; empty where one of them has nothing of the kind.
struct Difference {
    std::string what; // "type of sex", "label of sex", "label 1 of the table sexes"
    std::string first;
    std::string second;
};

// Labels of the data sets, sort order, notes and characteristics; variables that only one has, their order, types,
// formats and labels; value labels. Types and formats count where both are recorded. The timestamp does not.
std::vector<Difference> description_differences(const DataSet &first, const DataSet &second);

struct ValueDifferences {
    struct Of {
        std::string variable;
        int64_t values = 0;
        int64_t first_observation = 0; // from 1
    };
    struct Value {
        int64_t observation = 0;
        std::string variable;
        std::string first; // where both are long, from shortly before the place where they differ
        std::string second;
    };
    int64_t first_observations = 0; // of all the first data set
    int64_t second_observations = 0;
    std::vector<Of> variables; // in the order of the first data set
    std::vector<Value> values; // the first ones
};

// Reads both to their ends, a batch of each in memory, and compares the variables of the same name and kind: numbers to
// the bit, so that -0 is not 0, missing values by their marks, texts byte by byte. How a number is stored does not
// matter; moments in different units are compared in that of the first. Of the differences `most` are kept.
ValueDifferences value_differences(BatchSource &first, BatchSource &second, size_t most,
                                   const std::function<void(int64_t rows, int64_t of_rows)> &progress = {});

} // namespace vor
