#include "frame_source.h"

#include "frame_moments.h"

#include <vorhost/error.h>
#include <vorhost/log.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace vor::python {
namespace {

bool is_missing_object(PyObject *object) {
    if (!object || object == Py_None)
        return true;
    if (PyFloat_Check(object))
        return std::isnan(PyFloat_AS_DOUBLE(object));
    return std::strcmp(Py_TYPE(object)->tp_name, "NAType") == 0 ||
           std::strcmp(Py_TYPE(object)->tp_name, "pandas._libs.missing.NAType") == 0;
}

// UTF-8 has no bytes for these.
bool has_half_pair(PyObject *text) {
    if (PyUnicode_KIND(text) == PyUnicode_1BYTE_KIND)
        return false;
    for (Py_ssize_t i = 0; i < PyUnicode_GET_LENGTH(text); ++i)
        if (PyUnicode_READ_CHAR(text, i) >= 0xD800 && PyUnicode_READ_CHAR(text, i) <= 0xDFFF)
            return true;
    return false;
}

size_t utf8_bytes(Py_UCS4 character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

size_t utf8_bytes(PyObject *text) {
    const Py_ssize_t length = PyUnicode_GET_LENGTH(text);
    if (PyUnicode_IS_ASCII(text))
        return static_cast<size_t>(length);
    size_t bytes = 0;
    for (Py_ssize_t i = 0; i < length; ++i)
        bytes += utf8_bytes(PyUnicode_READ_CHAR(text, i));
    return bytes;
}

char *put_utf8(Py_UCS4 character, char *to) {
    const auto tail = [character](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
    switch (utf8_bytes(character)) {
    case 1:
        *to++ = static_cast<char>(character);
        return to;
    case 2:
        *to++ = static_cast<char>(0xC0 | character >> 6);
        break;
    case 3:
        *to++ = static_cast<char>(0xE0 | character >> 12);
        *to++ = tail(6);
        break;
    default:
        *to++ = static_cast<char>(0xF0 | character >> 18);
        *to++ = tail(12);
        *to++ = tail(6);
    }
    *to++ = tail(0);
    return to;
}

// One column of the frame: fills a column of a batch with the rows from `first` on.
class Input {
  public:
    virtual ~Input() = default;
    virtual void fill(Column &column, size_t first, size_t rows) = 0;
    virtual void report(const Notes &) const {}
};

template <class T>
struct Stored;
template <>
struct Stored<int8_t> {
    static constexpr StoredType type = StoredType::int8;
};
template <>
struct Stored<int16_t> {
    static constexpr StoredType type = StoredType::int16;
};
template <>
struct Stored<int32_t> {
    static constexpr StoredType type = StoredType::int32;
};
template <>
struct Stored<float> {
    static constexpr StoredType type = StoredType::float32;
};
template <>
struct Stored<double> {
    static constexpr StoredType type = StoredType::float64;
};

const uint8_t *bytes_or_null(const py::handle &array) {
    return array.is_none() ? nullptr : static_cast<const uint8_t *>(array.cast<py::array>().data());
}

// Numbers, a missing one being what `number` has nothing for.
template <class Target>
class NumericInput : public Input {
  public:
    NumericInput(const py::tuple &column) : mask_(bytes_or_null(column[1])), marks_(bytes_or_null(column[2])) {}

  protected:
    template <class Number>
    void fill_with(Column &column, size_t first, size_t rows, Number number) {
        column.start(Stored<Target>::type);
        column.rows = rows;
        column.values.resize(rows * sizeof(Target));
        auto *values = column.values.as<Target>();
        for (size_t i = 0; i < rows; ++i) {
            bool missing = mask_ && mask_[first + i] != 0;
            values[i] = missing ? Target{} : number(first + i, missing);
            if (missing)
                set_missing(column, first, i);
        }
    }

  private:
    void set_missing(Column &column, size_t first, size_t row) {
        if (column.validity.empty()) {
            column.validity.resize((column.rows + 7) / 8);
            std::memset(column.validity.data(), 0xFF, column.validity.size());
            if (marks_) {
                column.marks.resize(column.rows);
                std::memset(column.marks.data(), 0, column.rows);
            }
        }
        column.validity.as<uint8_t>()[row / 8] &= static_cast<uint8_t>(~(1U << (row % 8)));
        if (marks_)
            column.marks.data()[row] = marks_[first + row] == 0 ? '.' : static_cast<char>(marks_[first + row]);
    }

    const uint8_t *mask_;
    const uint8_t *marks_;
};

template <class Source, class Target>
class NumberInput : public NumericInput<Target> {
  public:
    NumberInput(const py::tuple &column)
        : NumericInput<Target>(column), values_(static_cast<const Source *>(column[0].cast<py::array>().data())) {}

    void fill(Column &column, size_t first, size_t rows) override {
        this->fill_with(column, first, rows, [this](size_t row, bool &missing) {
            if constexpr (std::is_floating_point_v<Source>)
                missing = std::isnan(values_[row]);
            return static_cast<Target>(values_[row]);
        });
    }

  private:
    const Source *values_;
};

class MomentInput : public NumericInput<double> {
  public:
    MomentInput(const py::tuple &column, const Variable &variable)
        : NumericInput(column), values_(static_cast<const int64_t *>(column[0].cast<py::array>().data())),
          unit_(temporal_class(variable)), name_(variable.name) {}

    void fill(Column &column, size_t first, size_t rows) override {
        fill_with(column, first, rows, [this](size_t row, bool &missing) {
            const auto moment = values_[row] == not_a_time ? std::nullopt : of_nanoseconds(unit_, values_[row]);
            missing = !moment;
            inside_ += moment && moment->inside;
            lost_ += !moment && values_[row] != not_a_time;
            return moment ? moment->value : 0;
        });
    }

    void report(const Notes &warn) const override {
        if (inside_ != 0)
            warn("variable " + name_ + ": " + std::to_string(inside_) +
                 " values lie inside a period, of which only the period is kept.");
        if (lost_ != 0)
            warn("variable " + name_ + ": " + std::to_string(lost_) +
                 " values are no moments of its format; they are "
                 "missing in the file.");
    }

  private:
    const int64_t *values_;
    Temporal unit_;
    std::string name_;
    size_t inside_ = 0;
    size_t lost_ = 0;
};

class TextInput : public Input {
  public:
    TextInput(const py::tuple &column, StoredType type)
        : texts_(static_cast<PyObject *const *>(column[0].cast<py::array>().data())), type_(type) {}

    void fill(Column &column, size_t first, size_t rows) override {
        column.start(type_);
        for (size_t row = first; row < first + rows; ++row) {
            PyObject *text = texts_[row];
            if (text && PyUnicode_Check(text))
                column.append_text(utf8(text));
            else if (text && PyBytes_Check(text))
                column.append_text({PyBytes_AS_STRING(text), static_cast<size_t>(PyBytes_GET_SIZE(text))}, true);
            else
                column.append_text({});
        }
    }

  private:
    // Reads what never changes in a text, for which Python need not be asked.
    std::string_view utf8(PyObject *text) {
        if (PyUnicode_IS_ASCII(text))
            return {static_cast<const char *>(PyUnicode_DATA(text)), static_cast<size_t>(PyUnicode_GET_LENGTH(text))};
        scratch_.resize(utf8_bytes(text));
        char *to = scratch_.data();
        for (Py_ssize_t i = 0; i < PyUnicode_GET_LENGTH(text); ++i)
            to = put_utf8(PyUnicode_READ_CHAR(text, i), to);
        return scratch_;
    }

    PyObject *const *texts_;
    StoredType type_;
    std::string scratch_;
};

std::unique_ptr<Input> make_input(const Variable &variable, const py::tuple &column) {
    const auto array = column[0].cast<py::array>();
    if ((array.flags() & py::array::c_style) == 0)
        throw ConversionError(Failure::usage, "column " + variable.name + ": its values do not lie in one piece.");
    const char kind = array.dtype().kind();
    const auto size = array.itemsize();
    if (kind == 'O')
        return std::make_unique<TextInput>(column, variable.stored == StoredType::long_text ? StoredType::long_text
                                                                                            : StoredType::text);
    if (kind == 'M' || kind == 'm')
        return std::make_unique<MomentInput>(column, variable);
    const struct {
        char kind;
        py::ssize_t size;
        std::unique_ptr<Input> (*make)(const py::tuple &);
    } rows[] = {
#define ROW(kind, source, target)                                                                                      \
    {                                                                                                                  \
        kind, sizeof(source), [](const py::tuple &from) -> std::unique_ptr<Input> {                                    \
            return std::make_unique<NumberInput<source, target>>(from);                                                \
        }                                                                                                              \
    }
        ROW('b', uint8_t, int8_t),  ROW('i', int8_t, int8_t),   ROW('i', int16_t, int16_t),  ROW('i', int32_t, int32_t),
        ROW('i', int64_t, double),  ROW('u', uint8_t, int16_t), ROW('u', uint16_t, int32_t), ROW('u', uint32_t, double),
        ROW('u', uint64_t, double), ROW('f', float, float),     ROW('f', double, double),
#undef ROW
    };
    for (const auto &row : rows)
        if (row.kind == kind && row.size == size)
            return row.make(column);
    throw ConversionError(Failure::conversion, "column " + variable.name +
                                                   ": a Stata file has no place for values of " +
                                                   py::str(array.dtype()).cast<std::string>() + ".");
}

class FrameSource : public BatchSource {
  public:
    FrameSource(DataSet description, std::vector<std::unique_ptr<Input>> inputs, size_t rows,
                const std::atomic<bool> &stop, Notes warn)
        : description_(std::move(description)), inputs_(std::move(inputs)), rows_(rows), stop_(stop),
          warn_(std::move(warn)) {
        description_.observations = static_cast<int64_t>(rows);
    }
    const DataSet &description() const override { return description_; }

    bool next(Batch &batch, size_t most_rows) override {
        if (stop_)
            throw ConversionError(Failure::conversion, "interrupted");
        batch.first_row = static_cast<int64_t>(next_);
        batch.rows = std::min(most_rows, rows_ - next_);
        batch.columns.resize(inputs_.size());
        for (size_t i = 0; i < inputs_.size(); ++i)
            inputs_[i]->fill(batch.columns[i], next_, batch.rows);
        next_ += batch.rows;
        if (batch.rows == 0 && !std::exchange(reported_, true))
            for (const auto &input : inputs_)
                input->report(warn_);
        return batch.rows != 0;
    }
    bool rewind() override {
        next_ = 0;
        return true;
    }

  private:
    DataSet description_;
    std::vector<std::unique_ptr<Input>> inputs_;
    size_t rows_;
    const std::atomic<bool> &stop_;
    Notes warn_;
    size_t next_ = 0;
    bool reported_ = false;
};

} // namespace

TextSizes text_sizes(const py::array &texts) {
    TextSizes sizes;
    const auto *objects = static_cast<PyObject *const *>(texts.data());
    for (py::ssize_t row = 0; row < texts.size() && sizes.other < 0; ++row) {
        PyObject *object = objects[row];
        if (object && PyUnicode_Check(object) && has_half_pair(object)) {
            sizes.other = row;
        } else if (object && PyUnicode_Check(object)) {
            sizes.longest_bytes = std::max(sizes.longest_bytes, utf8_bytes(object));
        } else if (object && PyBytes_Check(object)) {
            sizes.longest_bytes = std::max(sizes.longest_bytes, static_cast<size_t>(PyBytes_GET_SIZE(object)));
            sizes.bytes = true;
        } else if (!is_missing_object(object)) {
            sizes.other = row;
        }
    }
    return sizes;
}

std::unique_ptr<BatchSource> frame_source(DataSet description, const py::list &columns, size_t rows,
                                          const std::atomic<bool> &stop, Notes warn) {
    std::vector<std::unique_ptr<Input>> inputs;
    for (size_t i = 0; i < description.variables.size(); ++i)
        inputs.push_back(make_input(description.variables[i], columns[i].cast<py::tuple>()));
    return std::make_unique<FrameSource>(std::move(description), std::move(inputs), rows, stop, std::move(warn));
}

} // namespace vor::python
