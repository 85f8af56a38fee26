// Conversions: a Stata file read batch by batch, a data set written into a Stata file.
//
// Both drive the module's access object in the order that it asks for, and turn every failure into a ConversionError
// whose text says what happened, where, and what was expected.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/dataset.h>
#include <vorhost/error.h>
#include <vorhost/files.h>
#include <vorhost/host.h>
#include <vorhost/selection.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace vor {

// What the head of a Stata file says.
struct FileSummary {
    std::string file;
    int release = 0;
    bool big_endian = false;
    std::string data_label; // UTF-8
    int64_t observations = 0;
};

// Progress of a long conversion: rows done, rows in all (-1: not known).
using Progress = std::function<void(int64_t rows, int64_t of_rows)>;

// The catalog of user formats, handed to the module as a FMTLIB statement; empty names: WORK and FORMATS.
struct FormatPlace {
    std::string library; // at most 8 characters
    std::string catalog; // at most 32 characters

    // From "LIBRARY.CATALOG" or "LIBRARY". ConversionError (usage) for anything else.
    static FormatPlace parse(const std::string &text);
};

// What the module is asked for. base: nothing beyond what it does for every host. extended: everything that a file
// says, to the bit.
enum class Contract { extended, base };

// Reads a Stata file, which may be compressed (gzip, bzip2, xz, zstd, a zip archive of one file). `file` is a path, or
// "-" for standard input.
class ImportSession : public BatchSource {
  public:
    struct Options {
        bool value_labels = true;
        std::string encoding = {}; // of the file's text; empty: as the release says
        FormatPlace formats = {};  // where the user formats go
        Selection selection = {};  // user formats of variables that it leaves out go nowhere
        Contract contract = Contract::extended;
        bool head_only = false; // no observation beyond the first ones: nothing between the beginning and the end of a
                                // compressed file is kept, or it is unpacked once more
    };

    // Opens the file and reads its header and descriptors; its user formats go to the host's catalogs.
    ImportSession(HostOptions host, const Options &options, const std::string &file);
    ~ImportSession() override;

    const FileSummary &summary() const;
    const DataSet &description() const override; // observations: as the file's head says, without those passed over
    bool next(Batch &batch, size_t most_rows) override;
    bool works_beside_others() const override { return false; }
    bool rewind() override; // false under the base contract

    // Closes the file, logs what was noticed on the way (text that was not valid in its encoding) and asks the log
    // whether the output may appear. The destructor closes too, without all that.
    void close();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Writes all observations (at most `limit`, -1 for all) into a sink and finishes it. The number written. threads: with
// more than one the file is read while the sink is at work; the sink must not use the module.
int64_t import_rows(ImportSession &session, BatchSink &sink, int64_t limit = -1, const Progress &progress = {},
                    size_t threads = 1);

// The observations of an import (at most `limit`, -1 for all) as a source for those that ask for them. It may close the
// session when all of them have been had. The session must outlive it.
enum class AtEnd { closed, open };
std::unique_ptr<BatchSource> import_source(ImportSession &session, int64_t limit = -1, Progress progress = {},
                                           AtEnd then = AtEnd::closed);

// A source that another one is read ahead for, on a thread of its own, `most_rows` at a time whatever is asked for. The
// other must outlive it, and nobody else may use it meanwhile.
std::unique_ptr<BatchSource> read_ahead(BatchSource &source, size_t most_rows);

// How an export stores numbers and texts.
enum class StoredTypes {
    kept,         // as the description says, else as smallest; wider where the values do not fit
    smallest,     // the smallest type that holds every value exactly
    double_width, // every number as a double
};

// Writes a Stata file, compressed when its name ends in .gz, .bz2, .xz, .zst or .zip. `file` is a path, or "-" for
// standard output. The target appears only with finish.
class ExportSession {
  public:
    struct Options {
        bool labels_as_names = false;
        FormatPlace formats = {}; // where the user formats come from
        Contract contract = Contract::extended;
        StoredTypes types = StoredTypes::kept;
        size_t threads = machine_threads();        // of export_source and of compression
        std::optional<int> compression_level = {}; // as check_compression_level has it
    };

    ExportSession(const HostOptions &host, const Options &options, const std::string &file, const DataSet &description);
    ~ExportSession();

    void put(const Batch &batch); // columns as the description has them
    void finish();                // completes the file and puts it in its place

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Writes every observation of a source and finishes. The number written.
int64_t export_rows(ExportSession &session, BatchSource &source, const Progress &progress = {});

// A whole export of a source. Under the extended contract it is read twice, first for the stored types, unless they
// are recorded, to be kept, and hold every value.
int64_t export_source(const HostOptions &host, const ExportSession::Options &options, const std::string &file,
                      BatchSource &source, const Progress &progress = {});

} // namespace vor
