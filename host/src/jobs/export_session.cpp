// An export, in the order that the access object asks for: mode, name, statements, open, variables, observations,
// close, delete; then the finished file takes its place.
#include "jobs/access_object.h"
#include "jobs/export_observation.h"
#include "jobs/export_variables.h"
#include "jobs/file_names.h"
#include "jobs/replacing_files.h"
#include "jobs/standard_streams.h"
#include "jobs/user_formats.h"

#include <vorhost/ascii.h>
#include <vorhost/conversion.h>

#include <fmt/format.h>

namespace vor {

namespace {

constexpr const char *output_reference = "VOROUT";
constexpr const char *file_encoding = "utf-8"; // of every file that is written

FormatPlace whole_place(const FormatPlace &place) {
    return {place.library.empty() ? "WORK" : place.library, place.catalog.empty() ? "FORMATS" : place.catalog};
}

} // namespace

struct ExportSession::State {
    std::unique_ptr<FileSystem> disk; // when the host brings no files
    ReplacingFiles files;
    ExportedFormats formats;
    bool to_stream;
    std::shared_ptr<bool> stream_open = std::make_shared<bool>(true);
    AccessObject object;
    ExportVariables variables;
    ExportObservation observation;

    State(const HostOptions &host, const Options &options, const std::string &file, const DataSet &description)
        : disk(host.files ? nullptr : disk_files()),
          files(base(host), base(host).absolute(unpacked_stata_path(file)), base(host).absolute(stata_path(file))),
          formats(host.catalogs, whole_place(options.formats)), to_stream(file == standard_stream),
          object(prepared(host, options), to_stream ? "standard output" : stata_path(file)),
          variables(object.host(), description, options.labels_as_names, formats, noter()),
          observation(object.host(), variables.columns()) {
        note_losses(options, description);
        start(options, to_stream ? output_reference : unpacked_stata_path(file));
    }

    ~State() { *stream_open = false; }

    FileSystem &base(const HostOptions &host) { return host.files ? *host.files : *disk; }

    HostOptions prepared(HostOptions host, const Options &options) {
        host.files = &files;
        host.catalogs = host.catalogs ? &formats : nullptr;
        host.statements = format_statement(options.formats);
        if (lower_case(host.session_encoding) != file_encoding)
            host.file_encoding = host.label_encoding = file_encoding;
        return host;
    }

    ExportVariables::Note noter() {
        return [this](const std::string &text) { object.note(text); };
    }

    void note_losses(const Options &options, const DataSet &description) {
        if (!description.label.empty())
            object.note("the data set's label is not written.");
        const FormatPlace place = whole_place(options.formats);
        if (FormatCatalogs *catalogs = object.host().options().catalogs)
            note_lost_labels(variables.variables(), *catalogs, place.library, place.catalog, noter());
    }

    void start(const Options &options, const std::string &name) {
        if (to_stream)
            object.host().assign_reference(name, std::make_unique<StandardOutput>(stream_open));
        object.set_outmode(options.labels_as_names ? OUTMODE_WRITE_LABELS : 0);
        const int32_t named = object->set_fname(object.get(), name.c_str(), static_cast<int32_t>(name.size()));
        if (!(to_stream && named == HOST_NAME_NO_EXTENSION))
            object.check(named);
        object.check(object->parseexproc(object.get(), nullptr));
        object.open();
        object.check(
            object->putvars(object.get(), static_cast<int32_t>(variables.variables().size()), variables.list()));
        object.note_remarks();
    }

    void put() {
        object.check(object->putnextrow(object.get(), observation.bytes(), variables.list()));
        observation.clear();
    }

    void finish() {
        object.check(object.close());
        object.note_remarks();
        observation.report(variables.variables(), noter());
        if (!to_stream)
            files.commit();
    }
};

ExportSession::ExportSession(const HostOptions &host, const Options &options, const std::string &file,
                             const DataSet &description)
    : state_(std::make_unique<State>(host, options, file, description)) {}

ExportSession::~ExportSession() = default;

RowWriter &ExportSession::row() {
    return state_->observation;
}
void ExportSession::put() {
    state_->put();
}
void ExportSession::finish() {
    state_->finish();
}

int64_t export_rows(ExportSession &session, RowSource &source, const Progress &progress) {
    constexpr int64_t rows_per_report = 4096;
    int64_t rows = 0;
    while (source.next(session.row())) {
        session.put();
        if (++rows % rows_per_report == 0 && progress)
            progress(rows, source.description().observations);
    }
    session.finish();
    if (progress)
        progress(rows, rows);
    return rows;
}

} // namespace vor
