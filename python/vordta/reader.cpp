#include "reader.h"

#include "module_use.h"

#include <vorhost/arrow.h>
#include <vorhost/conversion.h>
#include <vorhost/description.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

namespace vor::python {

// What a reader and its stream share.
struct OpenFile {
    ListLog log;
    std::unique_ptr<ImportSession> session;
    std::mutex in_use;
    std::atomic<bool> streaming = false; // a stream has not been released yet

    ~OpenFile() {
        const ModuleLock lock(module_mutex);
        session.reset();
    }
};

namespace {

// The observations of a file, from where it stands, for any thread.
class SharedSource : public BatchSource {
  public:
    SharedSource(std::shared_ptr<OpenFile> file, int64_t rows)
        : file_(std::move(file)), source_(import_source(*file_->session, rows, {}, AtEnd::open)) {}
    const DataSet &description() const override { return source_->description(); }
    bool next(Batch &batch, size_t most_rows) override {
        const ModuleLock lock(module_mutex);
        return source_->next(batch, most_rows);
    }
    bool rewind() override {
        const ModuleLock lock(module_mutex);
        return source_->rewind();
    }

  private:
    std::shared_ptr<OpenFile> file_;
    std::unique_ptr<BatchSource> source_;
};

// The same as a stream that somebody else has.
class StreamedSource : public SharedSource {
  public:
    StreamedSource(const std::shared_ptr<OpenFile> &file, int64_t rows) : SharedSource(file, rows), file_(file) {}
    ~StreamedSource() override { file_->streaming = false; }

  private:
    std::shared_ptr<OpenFile> file_;
};

void check_signals() {
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

} // namespace

Reader::Reader(const std::string &path, std::vector<std::string> columns, int64_t first, int64_t rows,
               const std::string &encoding, bool head_only)
    : file_(std::make_shared<OpenFile>()) {
    const py::gil_scoped_release released;
    ImportSession::Options options;
    options.encoding = encoding;
    options.selection.keep = std::move(columns);
    options.selection.first_row = first + 1;
    options.head_only = head_only;
    HostOptions host;
    host.log = &file_->log;
    const ModuleLock lock(module_mutex);
    file_->session = std::make_unique<ImportSession>(host, options, path);
    const int64_t there = file_->session->description().observations;
    rows_ = left_ = rows < 0 ? there : std::min(rows, there);
}

Reader::~Reader() {
    close();
}

std::string Reader::describe() const {
    const ImportSession &session = *open_file().session;
    std::string text;
    write_description_json(session.summary(), session.description(), {},
                           [&text](std::string_view piece) { text += piece; });
    return text;
}

Reader::Kinds Reader::variables() const {
    Kinds list;
    for (const Variable &variable : open_file().session->description().variables)
        list.emplace_back(variable.name,
                          variable.kind == ValueKind::character               ? "text"
                          : temporal_class(variable) == Temporal::none        ? "number"
                          : temporal_class(variable) == Temporal::time_of_day ? "time"
                                                                              : "date",
                          stored_type_text(variable));
    return list;
}

py::list Reader::read(int64_t most, bool dates, bool nullable, bool marks) {
    Columns columns;
    if (streamed_)
        throw ConversionError(Failure::usage, "The file has been read as a stream; open it once more.");
    const std::shared_ptr<OpenFile> file = file_; // stays when somebody closes meanwhile
    const std::vector<Variable> &variables = open_file().session->description().variables;
    const auto wanted = static_cast<size_t>(std::min(most, left_));
    for (const Variable &variable : variables)
        columns.push_back(frame_column(variable, wanted, {dates, nullable, marks}));
    size_t done = 0;
    try {
        const py::gil_scoped_release released;
        const std::lock_guard in_use(file->in_use);
        done = fill(columns, file, wanted);
    } catch (...) { // nobody knows where the file stands
        close();
        throw;
    }
    left_ -= static_cast<int64_t>(done);
    py::list result;
    for (const auto &column : columns)
        result.append(column->take(done));
    return result;
}

py::capsule Reader::stream(bool categories, bool marks) {
    ArrowOptions options;
    options.dictionaries = categories;
    options.missing_columns = marks;
    if (open_file().streaming.exchange(true))
        throw ConversionError(Failure::usage, "The file is being read as a stream already.");
    streamed_ = true;
    auto stream = std::make_unique<ArrowArrayStream>();
    {
        const py::gil_scoped_release released;
        const std::lock_guard in_use(file_->in_use);
        auto source = std::make_unique<StreamedSource>(file_, rows_);
        if (std::exchange(begun_, true))
            source->rewind();
        make_arrow_stream(std::move(source), options, stream.get());
    }
    return py::capsule(stream.release(), "arrow_array_stream", [](PyObject *capsule) {
        auto *held = static_cast<ArrowArrayStream *>(PyCapsule_GetPointer(capsule, "arrow_array_stream"));
        const py::gil_scoped_release released;
        if (held->release)
            held->release(held);
        delete held;
    });
}

void Reader::finish() {
    if (left_ > 0 || !file_)
        return;
    const py::gil_scoped_release released;
    const ModuleLock lock(module_mutex);
    file_->session->close();
}

void Reader::close() {
    const py::gil_scoped_release released;
    file_.reset();
}

py::list Reader::take_log() {
    return file_ ? list_of(file_->log.take()) : py::list();
}

OpenFile &Reader::open_file() const {
    if (!file_)
        throw ConversionError(Failure::usage, "The file is closed.");
    return *file_;
}

size_t Reader::fill(Columns &columns, const std::shared_ptr<OpenFile> &file, size_t rows) {
    begun_ = true;
    SharedSource shared(file, static_cast<int64_t>(rows));
    const size_t most = batch_rows(shared.description().variables);
    const auto ahead = read_ahead(shared, most);
    BatchSource &source = rows > most ? *ahead : shared;
    const bool texts = std::ranges::any_of(columns, [](const auto &column) { return column->needs_gil(); });
    size_t done = 0;
    for (Batch batch; done < rows && source.next(batch, most); done += batch.rows) {
        for (size_t i = 0; i < columns.size(); ++i)
            if (!columns[i]->needs_gil())
                columns[i]->put(batch.columns[i], done);
        const py::gil_scoped_acquire gil;
        for (size_t i = 0; texts && i < columns.size(); ++i)
            if (columns[i]->needs_gil())
                columns[i]->put(batch.columns[i], done);
        check_signals();
    }
    return done;
}

} // namespace vor::python
