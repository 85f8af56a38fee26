// An export, in the order that the access object asks for: mode, name, statements, open, variables, observations,
// close, delete; then the finished file takes its place.
#include "files/output_file.h"
#include "jobs/access_object.h"
#include "jobs/export_observation.h"
#include "jobs/export_variables.h"
#include "jobs/stata_files.h"
#include "jobs/user_formats.h"

#include <vorhost/ascii.h>
#include <vorhost/conversion.h>

#include <filesystem>
#include <fmt/format.h>

namespace vor {

namespace {

constexpr const char *output_reference = "VOROUT";
constexpr const char *file_encoding = "utf-8"; // of every file that is written

FormatPlace whole_place(const FormatPlace &place) {
    return {place.library.empty() ? "WORK" : place.library, place.catalog.empty() ? "FORMATS" : place.catalog};
}

// Where the module writes: a pending file that it opens by name, or a reference to an output that is written front to
// back.
class ExportTarget {
  public:
    // A stream of that very name is written into; a file gets the extension.
    ExportTarget(const std::string &file, FileSystem &files)
        : path_(OutputFile::is_streamed(file, files) ? file : stata_path(file)) {
        const std::string content = unpacked_stata_path(file);
        if (path_ == content && !OutputFile::is_streamed(path_, files) && is_module_path(path_, files))
            pending_ = std::make_unique<PendingFile>(files, path_);
        else
            output_ =
                std::make_unique<OutputFile>(path_, nullptr, files, std::filesystem::path(content).filename().string());
    }

    std::string shown_name() const { return path_ == standard_stream ? "standard output" : path_; }

    // Tells the object's host; the name for the object.
    std::string assign(Host &host) {
        if (pending_)
            return pending_->path();
        host.assign_reference(output_reference, std::make_unique<OutputStream>(*output_, stream_));
        return output_reference;
    }
    bool is_reference() const { return output_ != nullptr; }

    // Closes the object, which writes to a reference only now. What the output failed of is known better than the
    // module can say it.
    void close(AccessObject &object) {
        stream_->open = true;
        const int32_t code = object.close();
        stream_->open = false;
        if (stream_->failure)
            std::rethrow_exception(stream_->failure);
        object.check(code);
    }

    void finish() {
        if (pending_)
            pending_->put_in_place();
        else
            output_->finish();
    }

  private:
    std::string path_;
    std::unique_ptr<PendingFile> pending_;
    std::unique_ptr<OutputFile> output_;
    std::shared_ptr<OutputStream::State> stream_ = std::make_shared<OutputStream::State>();
};

} // namespace

struct ExportSession::State {
    ExportTarget target;
    ExportedFormats formats;
    AccessObject object;
    ExportVariables variables;
    ExportObservation observation;

    State(const HostOptions &host, const Options &options, const std::string &file, const DataSet &description)
        : target(file, host.files ? *host.files : machine_files()),
          formats(host.catalogs, whole_place(options.formats)), object(prepared(host, options), target.shown_name()),
          variables(object.host(), description, options.labels_as_names, formats, noter()),
          observation(object.host(), variables.columns()) {
        note_losses(options, description);
        start(options, target.assign(object.host()));
    }

    HostOptions prepared(HostOptions host, const Options &options) {
        host.catalogs = host.catalogs ? &formats : nullptr;
        host.statements += format_statement(options.formats);
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
        object.set_outmode(options.labels_as_names ? OUTMODE_WRITE_LABELS : 0);
        const int32_t named = object->set_fname(object.get(), name.c_str(), static_cast<int32_t>(name.size()));
        if (!(target.is_reference() && named == HOST_NAME_NO_EXTENSION))
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
        target.close(object);
        object.note_remarks();
        observation.report(variables.variables(), noter());
        target.finish();
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
