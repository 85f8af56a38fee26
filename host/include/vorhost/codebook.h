// What is in data sets: counts, ranges, codes and labels of every variable, and what differs between waves.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/tables.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vor {

struct CodebookInput {
    std::string name; // as people know it
    BatchSource *source = nullptr;
    FormatLookup formats = {}; // for labels that the description does not bring
};

// Reads every source to its end, one after the other, and returns one JSON object, as docs/codebook.md has it. Memory
// does not grow with the observations.
std::string codebook_json(const std::vector<CodebookInput> &inputs,
                          const std::function<void(int64_t rows, int64_t of_rows)> &progress = {});

// Replaces a file as a whole ("-": standard output). ConversionError (machine) when it cannot be written.
void write_codebook(const std::string &path, const std::string &text);

} // namespace vor
