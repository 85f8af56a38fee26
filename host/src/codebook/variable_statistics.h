// One variable's values, counted as they come.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

namespace vor {

class VariableStatistics {
  public:
    // labels: null when there are none. most_distinct: values that are kept.
    VariableStatistics(const Variable &variable, const UserFormat *labels, size_t most_distinct);

    void put(const Column &column);
    nlohmann::ordered_json json() const;

  private:
    using Json = nlohmann::ordered_json;

    void put_number(double value);
    void put_text(const Column &column, size_t row);
    bool is_exact() const { return !overflowed_; }
    int64_t valid() const { return observations_ - missing_; }
    size_t distinct() const { return texts_.size() + numbers_.size(); }
    void bound();
    std::map<double, int64_t> spread() const; // values, or those that stand for near ones, with their counts
    Json value_json(double value) const;
    Json quantile(const std::map<double, int64_t> &values, double share) const;
    Json histogram(const std::map<double, int64_t> &values) const;
    Json missing_json() const;
    Json codes_json() const;
    Json unused_labels() const;
    Json identifies() const;
    void add_numbers(Json &json) const;
    void add_texts(Json &json) const;

    const Variable &variable_;
    const UserFormat *labels_;
    Temporal temporal_;
    size_t most_distinct_;

    int64_t observations_ = 0;
    int64_t missing_ = 0;
    std::map<char, int64_t> marks_;
    bool overflowed_ = false;
    bool repeated_ = false;
    std::map<double, int64_t> numbers_;
    std::map<std::string, int64_t, std::less<>> texts_;
    size_t text_bytes_ = 0;

    std::map<int, int64_t> sketch_;
    double mean_ = 0;
    double squares_ = 0; // of the distances from the mean
    double minimum_ = 0;
    double maximum_ = 0;
    double last_ = 0;
    bool ascending_ = true;
    size_t shortest_ = static_cast<size_t>(-1);
    size_t longest_ = 0;
    int64_t blank_ = 0;
    int64_t strange_ = 0;
};

} // namespace vor
