// Python's texts for those of a column: one object for equal texts while there are few different ones.
#pragma once

#include <cstddef>
#include <pybind11/pybind11.h>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vor::python {

class SharedTexts {
  public:
    SharedTexts() = default;
    SharedTexts(const SharedTexts &) = delete;
    SharedTexts &operator=(const SharedTexts &) = delete;
    ~SharedTexts() { forget(); }

    // A new reference; null with Python's error.
    PyObject *get(std::string_view text) {
        if (!sharing_)
            return make(text);
        ++asked_;
        if (const auto found = texts_.find(text); found != texts_.end()) {
            Py_INCREF(found->second);
            return found->second;
        }
        PyObject *made = make(text);
        if (made && text.size() <= longest_shared) {
            Py_INCREF(made);
            texts_.emplace(std::string(text), made);
            if (texts_.size() > enough_to_judge && texts_.size() > asked_ / 2) // most of them differ
                forget();
            else if (texts_.size() > most_shared)
                forget();
        }
        return made;
    }

  private:
    static constexpr size_t enough_to_judge = 4096;
    static constexpr size_t most_shared = size_t{1} << 18;
    static constexpr size_t longest_shared = 256; // bytes

    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
    };

    static PyObject *make(std::string_view text) {
        return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace");
    }

    void forget() {
        for (const auto &[text, object] : texts_)
            Py_DECREF(object);
        texts_.clear();
        sharing_ = false;
    }

    std::unordered_map<std::string, PyObject *, Hash, std::equal_to<>> texts_;
    size_t asked_ = 0;
    bool sharing_ = true;
};

} // namespace vor::python
