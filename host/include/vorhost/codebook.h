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

// The same as a page (HTML that needs nothing but itself, in which no text of a file is markup), as a line of CSV for
// each variable, or as Markdown.
enum class CodebookForm { json, page, csv, markdown };
std::string codebook_view(const std::string &json, CodebookForm form);

// Replaces a file as a whole ("-": standard output). ConversionError (machine) when it cannot be written.
void write_codebook(const std::string &path, const std::string &text);

} // namespace vor
