// The extension module under the package: a Stata file as arrays and as an Arrow stream, and arrays as a Stata file.
//
// The module of the host does one thing at a time: whoever drives it holds module_mutex, and never waits for the GIL
// meanwhile.
#include "frame_sink.h"
#include "frame_source.h"

#include <vorhost/arrow.h>
#include <vorhost/conversion.h>
#include <vorhost/description.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <mutex>
#include <pybind11/stl.h>
#include <system_error>
#include <utility>

namespace vor::python {
namespace {

std::recursive_mutex module_mutex;
using ModuleLock = std::lock_guard<std::recursive_mutex>;

using LogLines = std::vector<std::pair<Severity, std::string>>;

// Names of files need not be UTF-8; Python has them so, too.
py::str text_of(std::string_view bytes) {
    PyObject *text = PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape");
    if (!text)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

// (severity, sentence) of each.
py::list list_of(const LogLines &lines) {
    py::list list;
    for (const auto &[severity, sentence] : lines)
        list.append(py::make_tuple(text_of(severity_word(severity)), text_of(sentence)));
    return list;
}

class ListLog : public Log {
  public:
    void line(Severity severity, std::string_view text) override {
        const std::lock_guard lock(mutex_);
        lines_.emplace_back(severity, text);
    }
    LogLines take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(lines_, {});
    }

  private:
    std::mutex mutex_;
    LogLines lines_;
};

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

void check_signals() {
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

// The same as a stream that somebody else has.
class StreamedSource : public SharedSource {
  public:
    StreamedSource(const std::shared_ptr<OpenFile> &file, int64_t rows) : SharedSource(file, rows), file_(file) {}
    ~StreamedSource() override { file_->streaming = false; }

  private:
    std::shared_ptr<OpenFile> file_;
};

class Reader {
  public:
    ~Reader() { close(); }
    Reader(const std::string &path, std::vector<std::string> columns, int64_t first, int64_t rows,
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

    std::string describe() {
        std::string text;
        write_description_json(session().summary(), session().description(), {},
                               [&text](std::string_view piece) { text += piece; });
        return text;
    }

    int64_t rows() const { return rows_; }

    // (name, kind, stored type) of each variable.
    std::vector<std::tuple<std::string, std::string, std::string>> variables() {
        std::vector<std::tuple<std::string, std::string, std::string>> list;
        for (const Variable &variable : session().description().variables)
            list.emplace_back(variable.name,
                              variable.kind == ValueKind::character               ? "text"
                              : temporal_class(variable) == Temporal::none        ? "number"
                              : temporal_class(variable) == Temporal::time_of_day ? "time"
                                                                                  : "date",
                              stored_type_text(variable));
        return list;
    }

    // The next rows, at most `most`, as FrameColumn::take has them.
    py::list read(int64_t most, bool dates, bool nullable, bool marks) {
        std::vector<std::unique_ptr<FrameColumn>> columns;
        if (streamed_)
            throw ConversionError(Failure::usage, "The file has been read as a stream; open it once more.");
        const std::shared_ptr<OpenFile> file = file_; // stays when somebody closes meanwhile
        const std::vector<Variable> &variables = session().description().variables;
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

    py::capsule stream(bool categories, bool marks) {
        ArrowOptions options;
        options.dictionaries = categories;
        options.missing_columns = marks;
        session();
        if (file_->streaming.exchange(true))
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

    // Says what was noticed on the way, when all that was asked for has been read.
    void finish() {
        if (left_ > 0 || !file_)
            return;
        const py::gil_scoped_release released;
        const ModuleLock lock(module_mutex);
        file_->session->close();
    }

    void close() {
        const py::gil_scoped_release released;
        file_.reset();
    }
    py::list take_log() { return file_ ? list_of(file_->log.take()) : py::list(); }

  private:
    ImportSession &session() {
        if (!file_)
            throw ConversionError(Failure::usage, "The file is closed.");
        return *file_->session;
    }

    size_t fill(std::vector<std::unique_ptr<FrameColumn>> &columns, const std::shared_ptr<OpenFile> &file,
                size_t rows) {
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

    std::shared_ptr<OpenFile> file_;
    int64_t rows_ = 0;      // of the range that was asked for
    int64_t left_ = 0;      // of them, to be read
    bool begun_ = false;    // the file does not stand at the first of them any more
    bool streamed_ = false; // nor where read left it
};

// Does something that may take long on a thread of its own, while this one sees to Python's signals.
template <class Action>
void interruptibly(std::atomic<bool> &stop, Action action) {
    constexpr std::chrono::milliseconds patience(10);
    const py::gil_scoped_release released;
    std::future<void> done = std::async(std::launch::async, action);
    while (done.wait_for(patience) != std::future_status::ready) {
        const py::gil_scoped_acquire gil;
        if (PyErr_CheckSignals() == 0)
            continue;
        py::error_already_set interruption;
        stop = true;
        const py::gil_scoped_release waiting;
        done.wait();
        throw interruption;
    }
    done.get();
}

py::list write_file(const std::string &path, const std::string &schema, const py::list &columns, size_t rows) {
    ListLog log;
    std::atomic<bool> stop = false;
    const auto source = frame_source(parse_schema(schema, "the description").description, columns, rows, stop,
                                     [&log](const std::string &text) { log.line(Severity::warning, text); });
    interruptibly(stop, [&] {
        HostOptions host;
        host.log = &log;
        const ModuleLock lock(module_mutex);
        export_source(host, {}, path, *source);
    });
    return list_of(log.take());
}

// Days, or milliseconds, in the unit of a display format; nan for what it does not have.
py::array_t<double> converted_moments(py::array_t<double> values, bool clock, const std::string &stata_format) {
    py::array_t<double> result(values.size());
    const Temporal unit = stata_temporal(stata_format);
    for (py::ssize_t i = 0; i < values.size(); ++i) {
        const auto moment = converted(clock ? Temporal::clock : Temporal::date, values.at(i), unit);
        result.mutable_at(i) = moment ? moment->value : std::numeric_limits<double>::quiet_NaN();
    }
    return result;
}

void set_error(const char *failure, const char *sentence) {
    const py::object made = py::module_::import("vordta._errors").attr("made_error")(failure, text_of(sentence));
    PyErr_SetObject(reinterpret_cast<PyObject *>(Py_TYPE(made.ptr())), made.ptr());
}

void translate(std::exception_ptr failure) {
    try {
        std::rethrow_exception(std::move(failure));
    } catch (const ConversionError &error) {
        constexpr const char *names[] = {"data", "usage", "machine"};
        set_error(names[static_cast<int>(error.failure())], error.what());
    } catch (const std::system_error &error) {
        set_error("machine", error.what());
    }
}

} // namespace

PYBIND11_MODULE(_vordta, module) {
    py::register_exception_translator(translate);
    py::class_<Reader>(module, "Reader")
        .def(py::init<const std::string &, std::vector<std::string>, int64_t, int64_t, const std::string &, bool>(),
             py::arg("path"), py::arg("columns"), py::arg("first"), py::arg("rows"), py::arg("encoding"),
             py::arg("head_only"))
        .def("describe", &Reader::describe)
        .def_property_readonly("rows", &Reader::rows)
        .def("variables", &Reader::variables)
        .def("read", &Reader::read, py::arg("most"), py::arg("dates"), py::arg("nullable"), py::arg("marks"))
        .def("stream", &Reader::stream, py::arg("categories"), py::arg("marks"))
        .def("finish", &Reader::finish)
        .def("close", &Reader::close)
        .def("take_log", &Reader::take_log);
    module.def("text_sizes", [](const py::array &texts) {
        const TextSizes sizes = text_sizes(texts);
        return py::make_tuple(sizes.longest_bytes, sizes.bytes, sizes.other);
    });
    module.def("converted", converted_moments, py::arg("values"), py::arg("clock"), py::arg("stata_format"));
    module.def("write", write_file, py::arg("path"), py::arg("schema"), py::arg("columns"), py::arg("rows"));
    module.attr("__version__") = VORDTA_VERSION;
}

} // namespace vor::python
