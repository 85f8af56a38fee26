#include "frame_sink.h"

#include "frame_moments.h"
#include "shared_texts.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sys/mman.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace vor::python {
namespace {

constexpr size_t least_large_bytes = size_t{2} << 20;

template <class T>
T *data_of(py::array &array) {
    return static_cast<T *>(array.mutable_data());
}

// Asks for large pages, where the kernel gives them to those who ask: most of the time that a new array costs goes into
// its pages.
void use_large_pages(void *data, size_t bytes) {
    constexpr uintptr_t page = 4096;
    const auto start = (reinterpret_cast<uintptr_t>(data) + page - 1) / page * page;
    const auto end = (reinterpret_cast<uintptr_t>(data) + bytes) / page * page;
    if (bytes >= least_large_bytes)
        madvise(reinterpret_cast<void *>(start), end - start, MADV_HUGEPAGE);
}

// Of objects: without any, which Python takes for None.
py::array new_array(const char *type, size_t rows) {
    py::array array(py::dtype(type), std::vector<py::ssize_t>{static_cast<py::ssize_t>(rows)});
    use_large_pages(array.mutable_data(), static_cast<size_t>(array.nbytes()));
    return array;
}

// The same without the rows that have not come.
py::object first_rows(const py::array &array, size_t rows) {
    if (static_cast<size_t>(array.shape(0)) == rows)
        return array;
    return array[py::slice(0, static_cast<py::ssize_t>(rows), 1)];
}

// Calls action(row) for each missing value.
template <class Action>
void for_each_missing(const Column &values, Action action) {
    const auto *bits = values.validity.as<uint8_t>();
    for (size_t start = 0; start < values.rows; start += 8)
        for (uint32_t missing = ~uint32_t{bits[start / 8]} & 0xFF; missing != 0; missing &= missing - 1)
            if (const size_t row = start + static_cast<size_t>(std::countr_zero(missing)); row < values.rows)
                action(row);
}

// Calls action with a null pointer to the type of the numbers.
template <class Action>
void with_type(StoredType type, Action action) {
    switch (type) {
    case StoredType::int8:
        return action(static_cast<int8_t *>(nullptr));
    case StoredType::int16:
        return action(static_cast<int16_t *>(nullptr));
    case StoredType::int32:
        return action(static_cast<int32_t *>(nullptr));
    case StoredType::float32:
        return action(static_cast<float *>(nullptr));
    default:
        return action(static_cast<double *>(nullptr));
    }
}

// A byte for each row, made when there is the first value that is missing.
class RowBytes {
  public:
    explicit RowBytes(size_t rows) : rows_(rows) {}
    uint8_t *data() {
        if (!bytes_) {
            const py::gil_scoped_acquire gil;
            array_ = py::module_::import("numpy").attr("zeros")(rows_, "u1");
            bytes_ = static_cast<uint8_t *>(array_.cast<py::array>().mutable_data());
        }
        return bytes_;
    }
    py::object take(size_t rows) const { return bytes_ ? first_rows(array_.cast<py::array>(), rows) : py::none(); }

  private:
    size_t rows_;
    py::object array_;
    uint8_t *bytes_ = nullptr;
};

// Which missing value it is.
class Marks {
  public:
    Marks(size_t rows, bool wanted) : bytes_(rows), wanted_(wanted) {}
    void put(const Column &values, size_t row) {
        if (!wanted_ || values.validity.empty())
            return;
        for_each_missing(values, [&](size_t i) { bytes_.data()[row + i] = static_cast<uint8_t>(values.mark(i)); });
        special_ = special_ || !values.marks.empty();
    }
    py::object take(size_t rows) const { return special_ ? bytes_.take(rows) : py::none(); }

  private:
    RowBytes bytes_;
    bool wanted_;
    bool special_ = false;
};

// Numbers as they are stored. Missing values are nan, for which integers become doubles, unless they have a mask.
template <class T>
class NumberColumn : public FrameColumn {
  public:
    NumberColumn(size_t rows, const FrameOptions &options)
        : numbers_(py::array_t<T>(static_cast<py::ssize_t>(rows))), data_(data_of<T>(numbers_)), rows_(rows),
          masked_(options.nullable), mask_(rows), marks_(rows, options.marks) {}

    void put(const Column &values, size_t row) override {
        if (!values.validity.empty() && !masked_ && std::is_integral_v<T> && !wide_)
            widen(row);
        with_type(values.type, [&](auto *type) {
            copy(values.values.as<std::remove_pointer_t<decltype(type)>>(), values.rows, row);
        });
        if (values.validity.empty())
            return;
        for_each_missing(values, [&](size_t i) { set_missing(row + i); });
        marks_.put(values, row);
    }

    py::tuple take(size_t rows) override {
        return py::make_tuple("number", first_rows(numbers_, rows), mask_.take(rows), marks_.take(rows));
    }

  private:
    template <class Source>
    void copy(const Source *from, size_t count, size_t row) {
        if (wide_)
            std::copy_n(from, count, wide_ + row);
        else if constexpr (std::is_same_v<Source, T>)
            std::memcpy(data_ + row, from, count * sizeof(T));
        else
            std::transform(from, from + count, data_ + row, [](Source value) { return static_cast<T>(value); });
    }

    void set_missing(size_t row) {
        constexpr double nan = std::numeric_limits<double>::quiet_NaN();
        if (masked_)
            mask_.data()[row] = 1;
        if (wide_)
            wide_[row] = nan;
        else if constexpr (std::is_integral_v<T>)
            data_[row] = 0;
        else
            data_[row] = static_cast<T>(nan);
    }

    void widen(size_t filled) {
        const py::gil_scoped_acquire gil;
        py::array_t<double> wide(static_cast<py::ssize_t>(rows_));
        wide_ = wide.mutable_data();
        std::copy_n(data_, filled, wide_);
        numbers_ = wide;
        data_ = nullptr;
    }

    py::array numbers_;
    T *data_;
    double *wide_ = nullptr;
    size_t rows_;
    bool masked_;
    RowBytes mask_;
    Marks marks_;
};

// Dates, moments and times. From the first value on that datetime64[ns] does not reach they are kept as numbers.
class MomentColumn : public FrameColumn {
  public:
    MomentColumn(Temporal unit, size_t rows, const FrameOptions &options)
        : unit_(unit), moments_(new_array(unit == Temporal::time_of_day ? "m8[ns]" : "M8[ns]", rows)),
          data_(data_of<int64_t>(moments_)), rows_(rows), marks_(rows, options.marks) {}

    void put(const Column &values, size_t row) override {
        with_type(values.type, [&](auto *type) {
            const auto *from = values.values.as<std::remove_pointer_t<decltype(type)>>();
            size_t done = numbers_data_ ? 0 : convert(from, values, row);
            if (done == values.rows)
                return;
            if (!numbers_data_)
                keep_numbers(row + done);
            for (; done < values.rows; ++done)
                numbers_data_[row + done] =
                    values.is_valid(done) ? static_cast<double>(from[done]) : std::numeric_limits<double>::quiet_NaN();
        });
        marks_.put(values, row);
    }

    py::tuple take(size_t rows) override {
        if (numbers_data_)
            return py::make_tuple("objects", objects(rows), py::none(), marks_.take(rows));
        return py::make_tuple("moment", first_rows(moments_, rows), py::none(), marks_.take(rows));
    }

  private:
    // How many are moments, up to the first one that is none.
    template <class T>
    size_t convert(const T *from, const Column &values, size_t row) {
        constexpr int64_t most_days = 106'751;
        for (size_t i = 0; i < values.rows; ++i) {
            if (!values.is_valid(i)) {
                data_[row + i] = not_a_time;
                continue;
            }
            if constexpr (std::is_integral_v<T>)
                if (const int64_t days = from[i] - origin_days;
                    unit_ == Temporal::date && days <= most_days && days >= -most_days) {
                    data_[row + i] = days * day_milliseconds * millisecond_ns;
                    continue;
                }
            const auto count = nanoseconds(unit_, static_cast<double>(from[i]));
            if (!count)
                return i;
            data_[row + i] = *count;
        }
        return values.rows;
    }

    void keep_numbers(size_t filled) {
        const py::gil_scoped_acquire gil;
        py::array_t<double> numbers(static_cast<py::ssize_t>(rows_));
        numbers_data_ = numbers.mutable_data();
        for (size_t row = 0; row < filled; ++row) {
            const auto back = data_[row] == not_a_time ? std::nullopt : of_nanoseconds(unit_, data_[row]);
            numbers_data_[row] = back ? back->value : std::numeric_limits<double>::quiet_NaN();
        }
        moments_ = numbers;
    }

    py::object objects(size_t rows) {
        const py::module_ datetime = py::module_::import("datetime");
        const py::object date = datetime.attr("date").attr("fromordinal");
        const py::object moment = datetime.attr("datetime")(1960, 1, 1);
        const py::object duration = datetime.attr("timedelta");
        py::array result = new_array("O", rows);
        auto **slots = data_of<PyObject *>(result);
        for (size_t row = 0; row < rows; ++row)
            slots[row] = object_of(numbers_data_[row], date, moment, duration).release().ptr();
        return result;
    }

    py::object object_of(double value, const py::object &date, const py::object &moment, const py::object &duration) {
        constexpr double first_day = -715'509; // 0001-01-01
        constexpr double last_day = 2'936'549; // 9999-12-31
        constexpr int ordinal_of_1960 = 715'510;
        if (std::isnan(value))
            return py::none();
        const bool is_clock = unit_ == Temporal::clock || unit_ == Temporal::leap_clock;
        const auto known = converted(unit_, value, is_clock ? Temporal::clock : Temporal::date);
        const double count = known ? known->value : std::numeric_limits<double>::quiet_NaN();
        const double days = is_clock ? count / static_cast<double>(day_milliseconds) : count;
        if (!(days >= first_day && days < last_day + 1) || unit_ == Temporal::time_of_day)
            return py::float_(value);
        if (is_clock)
            return moment + duration(py::arg("milliseconds") = count);
        return days == std::floor(days) ? date(ordinal_of_1960 + static_cast<int>(days)) : py::float_(value);
    }

    Temporal unit_;
    py::array moments_; // or the numbers
    int64_t *data_;
    double *numbers_data_ = nullptr;
    size_t rows_;
    Marks marks_;
};

// Texts as str, bytes that are no text as bytes.
class TextColumn : public FrameColumn {
  public:
    explicit TextColumn(size_t rows) : texts_(new_array("O", rows)), slots_(data_of<PyObject *>(texts_)) {}
    bool needs_gil() const override { return true; }

    void put(const Column &values, size_t row) override {
        for (size_t i = 0; i < values.rows; ++i) {
            const std::string_view text = values.text(i);
            PyObject *made = values.is_binary(i)
                                 ? PyBytes_FromStringAndSize(text.data(), static_cast<Py_ssize_t>(text.size()))
                                 : shared_.get(text);
            if (!made)
                throw py::error_already_set();
            slots_[row + i] = made; // where nothing was
        }
    }

    py::tuple take(size_t rows) override {
        return py::make_tuple("text", first_rows(texts_, rows), py::none(), py::none());
    }

  private:
    py::array texts_;
    PyObject **slots_;
    SharedTexts shared_;
};

} // namespace

std::unique_ptr<FrameColumn> frame_column(const Variable &variable, size_t rows, const FrameOptions &options) {
    if (variable.kind == ValueKind::character)
        return std::make_unique<TextColumn>(rows);
    if (const Temporal unit = temporal_class(variable); options.dates && unit != Temporal::none)
        return std::make_unique<MomentColumn>(unit, rows, options);
    std::unique_ptr<FrameColumn> column;
    with_type(variable.stored, [&](auto *type) {
        column = std::make_unique<NumberColumn<std::remove_pointer_t<decltype(type)>>>(rows, options);
    });
    return column;
}

} // namespace vor::python
