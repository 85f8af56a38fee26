// What all who drive the module of the host share.
#pragma once

#include <vorhost/log.h>

#include <mutex>
#include <pybind11/pybind11.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vor::python {

namespace py = pybind11;

// The module does one thing at a time: whoever drives it holds this, and never waits for the GIL meanwhile.
inline std::recursive_mutex module_mutex;
using ModuleLock = std::lock_guard<std::recursive_mutex>;

using LogLines = std::vector<std::pair<Severity, std::string>>;

// Keeps the lines for Python, which may be asked for them with the GIL only.
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

// Names of files need not be UTF-8; Python has them so, too.
inline py::str text_of(std::string_view bytes) {
    PyObject *text = PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape");
    if (!text)
        throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

// (severity, sentence) of each.
inline py::list list_of(const LogLines &lines) {
    py::list list;
    for (const auto &[severity, sentence] : lines)
        list.append(py::make_tuple(text_of(severity_word(severity)), text_of(sentence)));
    return list;
}

} // namespace vor::python
