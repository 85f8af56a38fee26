// Observations as JSON: an array with an object for each.
#include "files/output_file.h"

#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <nlohmann/json.hpp>

namespace vor {
namespace {

class JsonSink : public BatchSink {
  public:
    explicit JsonSink(const std::string &path) : output_(path) {}

    void begin(const DataSet &description) override {
        for (const Variable &variable : description.variables)
            variables_.push_back(variable);
        output_.append("[");
    }
    void put(Batch &batch) override {
        for (size_t row = 0; row < batch.rows; ++row) {
            nlohmann::ordered_json object = nlohmann::ordered_json::object();
            for (size_t i = 0; i < variables_.size(); ++i)
                object[variables_[i].name] = value(variables_[i], batch.columns[i], row);
            output_.append((any_ ? ",\n" : "\n") +
                           object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
            any_ = true;
        }
    }
    void finish() override {
        output_.append("\n]\n");
        output_.finish();
    }

  private:
    static nlohmann::ordered_json value(const Variable &variable, const Column &column, size_t row) {
        if (column.is_text())
            return column.text(row);
        const double number = column.number(row);
        if (is_missing(number))
            return missing_mark(number) == '.' ? nlohmann::ordered_json() : nlohmann::ordered_json(number_text(number));
        const Temporal unit = temporal_class(variable);
        if (const auto iso = unit == Temporal::none ? std::nullopt : iso_text(unit, number))
            return *iso;
        const auto whole = static_cast<int64_t>(number);
        return number >= -0x1p53 && number <= 0x1p53 && static_cast<double>(whole) == number
                   ? nlohmann::ordered_json(whole)
                   : nlohmann::ordered_json(number);
    }

    OutputFile output_;
    std::vector<Variable> variables_;
    bool any_ = false;
};

} // namespace

std::unique_ptr<BatchSink> json_sink(const std::string &path) {
    return std::make_unique<JsonSink>(path);
}

} // namespace vor
