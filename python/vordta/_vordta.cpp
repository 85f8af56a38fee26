// The extension module under the package: a Stata file as arrays and as an Arrow stream, and arrays as a Stata file.
#include "frame_source.h"
#include "module_use.h"
#include "reader.h"

#include <vorhost/concatenation.h>
#include <vorhost/conversion.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <atomic>
#include <chrono>
#include <future>
#include <limits>
#include <pybind11/stl.h>
#include <system_error>
#include <utility>

namespace vor::python {
namespace {

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

py::list concat_files(const std::vector<std::string> &parts, const std::string &path, const std::string &encoding) {
    ListLog log;
    std::atomic<bool> stop = false;
    interruptibly(stop, [&] {
        HostOptions host;
        host.log = &log;
        const ModuleLock lock(module_mutex);
        concatenate(host, {encoding, {}}, parts, path, [&stop](int64_t, int64_t) {
            if (stop)
                throw ConversionError(Failure::conversion, "Interrupted.");
        });
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
    module.def("concat", concat_files, py::arg("parts"), py::arg("path"), py::arg("encoding"));
    module.attr("__version__") = VORDTA_VERSION;
}

} // namespace vor::python
