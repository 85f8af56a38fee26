// Data sets as Arrow streams, out and in: the way to every engine that speaks Arrow, without a library.
#pragma once

#include <vorhost/arrow_abi.h>
#include <vorhost/batch.h>
#include <vorhost/log.h>
#include <vorhost/tables.h>

#include <exception>
#include <functional>
#include <memory>

namespace vor {

// Numbers are int8, int16, int32, float32 and float64 as they are stored, texts utf8, long texts large_utf8, or
// large_binary when one of them is no text. Names are those of the variables,
// with a number where they differ in letter case only. Dates and periods (by their first day) are date32, clocks
// timestamp[ms], a time of day time32[ms], where every value of the variable has such a moment that comes back the
// same; else they stay numbers. Missing values are null. The schema's metadata hold all of the description under
// "vordta", so that a stream that comes back loses nothing; a field's hold "vordta.label", "vordta.type",
// "vordta.format" and "vordta.value_labels" (JSON) where there are such.
struct ArrowOptions {
    bool dictionaries = false;    // labelled numbers as their labels; a value without a label as its number
    bool missing_columns = false; // behind a variable with other missing values than "." a utf8 column NAME_missing
    FormatLookup formats = {};    // labels that the description does not bring
};

// Makes a stream of a source, which it owns. The source is read to its end first where the types ask for that. The
// stream is used by one thread at a time; it must be released. Throws what the source throws; what it throws later
// becomes an error of the stream and stays in `failure`, when there is one to take it.
void make_arrow_stream(std::unique_ptr<BatchSource> source, const ArrowOptions &options, ArrowArrayStream *out,
                       std::shared_ptr<std::exception_ptr> failure = {});

// A source over a stream that somebody else has made, which it takes over and releases. Without a description of ours
// in the metadata types are those of the stream: 64-bit integers become doubles, decimals too, moments clocks,
// dictionaries texts, texts long texts unless the stream can be had again. ConversionErrors name column and type for
// what has no place in a Stata file.
struct ArrowInput {
    std::string name = "the Arrow stream"; // in messages
    Notes warnings = {};                   // integers beyond 2^53, moments between milliseconds
    // Puts the same stream into its argument once more; empty when that cannot be done.
    std::function<void(ArrowArrayStream *)> again = {};
    std::string description = {}; // of ours, as the metadata hold it; empty: it is looked for there
    bool of_others = false;       // the stream does not come from an import, so that nothing of it drives the module
};
std::unique_ptr<BatchSource> arrow_source(ArrowArrayStream stream, ArrowInput input = {});

} // namespace vor
