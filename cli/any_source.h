// A data set of any form, opened to be described or read: a Stata file, a data set of a library, a CSV or Parquet file.
#pragma once

#include "commands.h"
#include "run_libraries.h"

#include <vorhost/batch.h>
#include <vorhost/conversion.h>

#include <memory>
#include <string>

namespace vor::cli {

class AnySource {
  public:
    struct Options {
        ReadingOptions reading = {};
        bool head_only = false; // no observation is read
        bool tables = false;    // CSV and Parquet files, too
        bool silent = false;    // a Stata file's notes and warnings are not logged
    };

    // ConversionError (usage) for a library that holds several data sets where none is named, and for what is no data
    // set.
    AnySource(const std::string &text, const Options &options, const Run &run);

    const DataSet &description() const { return rows().description(); }
    const FileSummary &summary() const { return summary_; } // of what is no Stata file: name, label, observations

    BatchSource &rows() const { return session_ ? *session_ : *source_; }
    FormatLookup formats() const { return libraries_->lookup(); }

    // After the observations: says what was noticed on the way.
    void close();

  private:
    std::unique_ptr<RunLibraries> libraries_;
    std::unique_ptr<ImportSession> session_; // of a Stata file
    std::unique_ptr<BatchSource> source_;    // of anything else
    FileSummary summary_;
};

} // namespace vor::cli
