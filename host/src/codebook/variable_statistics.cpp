#include "codebook/variable_statistics.h"

#include <vorhost/missing.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace vor {
namespace {

constexpr size_t most_text_bytes = 1 << 20; // of the texts that are kept
constexpr size_t few_values = 20;
constexpr size_t bins = 20;

// DDSketch (Masson, Rim and Lee, 2019): values whose logarithms are near are counted together, so that a quantile is
// off by at most this share of itself.
constexpr double sketch_error = 0.005;
constexpr int bucket_of_one = 200000; // beyond the logarithm of every double
const double log_gamma = std::log((1 + sketch_error) / (1 - sketch_error));

int bucket(double value) {
    if (value == 0)
        return 0;
    const int index = static_cast<int>(std::ceil(std::log(std::abs(value)) / log_gamma)) + bucket_of_one;
    return value < 0 ? -index : index;
}

double bucket_value(int bucket) {
    if (bucket == 0)
        return 0;
    const double value = std::exp((std::abs(bucket) - bucket_of_one) * log_gamma) * (1 - sketch_error);
    return bucket < 0 ? -value : value;
}

// Control characters, and what stands for a character that could not be read.
bool is_strange(std::string_view text) {
    return text.find("\xEF\xBF\xBD") != std::string_view::npos || std::ranges::any_of(text, [](char byte) {
               return (static_cast<unsigned char>(byte) < ' ' && byte != '\n' && byte != '\t') || byte == '\x7F';
           });
}

double single_number(const FormatRange &range) {
    return is_single(range) && std::holds_alternative<double>(range.start) ? std::get<double>(range.start)
                                                                           : missing_value('.');
}

} // namespace

VariableStatistics::VariableStatistics(const Variable &variable, const UserFormat *labels, size_t most_distinct)
    : variable_(variable), labels_(labels), temporal_(temporal_class(variable)), most_distinct_(most_distinct) {}

void VariableStatistics::put(const Column &column) {
    for (size_t row = 0; row < column.rows; ++row) {
        ++observations_;
        if (const char mark = column.mark(row)) {
            ++missing_;
            ++marks_[mark];
        } else if (column.is_text()) {
            put_text(column, row);
        } else {
            put_number(column.number(row));
        }
    }
}

void VariableStatistics::put_number(double value) {
    const auto count = static_cast<double>(valid());
    ascending_ = ascending_ && (count == 1 || value > last_);
    last_ = value;
    minimum_ = count == 1 ? value : std::min(minimum_, value);
    maximum_ = count == 1 ? value : std::max(maximum_, value);
    const double distance = value - mean_; // Welford's way, which does not lose digits
    mean_ += distance / count;
    squares_ += distance * (value - mean_);
    if (overflowed_) {
        ++sketch_[bucket(value)];
        return;
    }
    repeated_ = ++numbers_[value] > 1 || repeated_;
    bound();
}

void VariableStatistics::put_text(const Column &column, size_t row) {
    const std::string_view text = column.text(row);
    shortest_ = std::min(shortest_, text.size());
    longest_ = std::max(longest_, text.size());
    blank_ += text.find_first_not_of(' ') == std::string_view::npos;
    strange_ += column.is_binary(row) || is_strange(text);
    if (overflowed_)
        return;
    auto place = texts_.find(text);
    if (place == texts_.end()) {
        place = texts_.emplace(text, 0).first;
        text_bytes_ += text.size();
    }
    repeated_ = ++place->second > 1 || repeated_;
    bound();
}

// Beyond the bound what was kept goes into the sketch.
void VariableStatistics::bound() {
    if (distinct() <= most_distinct_ && text_bytes_ <= most_text_bytes)
        return;
    overflowed_ = true;
    for (const auto &[value, count] : numbers_)
        sketch_[bucket(value)] += count;
    numbers_.clear();
    texts_.clear();
}

std::map<double, int64_t> VariableStatistics::spread() const {
    if (is_exact())
        return numbers_;
    std::map<double, int64_t> values;
    for (const auto &[index, count] : sketch_)
        values[std::clamp(bucket_value(index), minimum_, maximum_)] += count;
    return values;
}

VariableStatistics::Json VariableStatistics::value_json(double value) const {
    if (const auto iso = temporal_ == Temporal::none ? std::nullopt : iso_text(temporal_, value))
        return *iso;
    return value;
}

// Between two neighbours it lies where the share says, as is usual.
VariableStatistics::Json VariableStatistics::quantile(const std::map<double, int64_t> &values, double share) const {
    const double place = share * static_cast<double>(valid() - 1);
    const auto at = [&values](int64_t rank) {
        for (const auto &[value, count] : values)
            if ((rank -= count) < 0)
                return value;
        return values.rbegin()->first;
    };
    const double below = at(static_cast<int64_t>(std::floor(place)));
    const double above = at(static_cast<int64_t>(std::ceil(place)));
    return value_json(temporal_ == Temporal::none ? below + (above - below) * (place - std::floor(place)) : below);
}

VariableStatistics::Json VariableStatistics::histogram(const std::map<double, int64_t> &values) const {
    std::vector<int64_t> counts(bins);
    const double width = (maximum_ - minimum_) / static_cast<double>(bins);
    for (const auto &[value, count] : values) {
        const double bin = width > 0 ? (value - minimum_) / width : 0;
        counts[std::min(bins - 1, static_cast<size_t>(bin))] += count;
    }
    return {{"from", value_json(minimum_)}, {"to", value_json(maximum_)}, {"counts", counts}};
}

VariableStatistics::Json VariableStatistics::missing_json() const {
    const std::optional<LabelIndex> index = labels_ ? std::optional<LabelIndex>(*labels_) : std::nullopt;
    Json all = Json::array();
    for (const auto &[mark, count] : marks_) {
        Json one{{"mark", std::string(1, mark)}, {"count", count}};
        if (const std::string *label = index ? index->find(missing_value(mark)) : nullptr)
            one["label"] = *label;
        all.push_back(std::move(one));
    }
    return all;
}

VariableStatistics::Json VariableStatistics::codes_json() const {
    const std::optional<LabelIndex> index = labels_ ? std::optional<LabelIndex>(*labels_) : std::nullopt;
    Json all = Json::array();
    for (const auto &[value, count] : numbers_) {
        Json one{{"code", value_json(value)}, {"count", count}};
        one["share"] = static_cast<double>(count) / static_cast<double>(observations_);
        if (index) {
            const std::string *label = index->find(value);
            one["label"] = label ? Json(*label) : Json();
        }
        all.push_back(std::move(one));
    }
    return all;
}

VariableStatistics::Json VariableStatistics::unused_labels() const {
    Json all = Json::array();
    for (const FormatRange &range : labels_->ranges) {
        const double code = single_number(range);
        if (!is_missing(code) && !numbers_.contains(code) && !range.labels.empty())
            all.push_back({{"code", code}, {"label", range.labels.front()}});
    }
    return all;
}

// Null where the bound was reached before that was decided.
VariableStatistics::Json VariableStatistics::identifies() const {
    if (missing_ > 0 || repeated_ || blank_ > 0 || observations_ == 0)
        return false;
    if (is_exact() || (variable_.kind == ValueKind::numeric && ascending_))
        return true;
    return nullptr;
}

void VariableStatistics::add_numbers(Json &json) const {
    const std::map<double, int64_t> values = spread();
    if (values.empty())
        return;
    json["minimum"] = value_json(minimum_);
    json["lower_quartile"] = quantile(values, 0.25);
    json["median"] = quantile(values, 0.5);
    json["upper_quartile"] = quantile(values, 0.75);
    json["maximum"] = value_json(maximum_);
    json["quantile_error"] = is_exact() ? 0 : sketch_error;
    if (temporal_ == Temporal::none) {
        json["mean"] = mean_;
        json["standard_deviation"] =
            valid() > 1 ? Json(std::sqrt(squares_ / static_cast<double>(valid() - 1))) : Json();
    }
    json["histogram"] = histogram(values);
    if (is_exact() && (labels_ || values.size() <= few_values))
        json["codes"] = codes_json();
}

void VariableStatistics::add_texts(Json &json) const {
    json["shortest_bytes"] = valid() > 0 ? shortest_ : 0;
    json["longest_bytes"] = longest_;
    json["blank"] = blank_;
    json["strange"] = strange_;
    if (!is_exact())
        return;
    std::vector<std::pair<std::string, int64_t>> all(texts_.begin(), texts_.end());
    std::ranges::stable_sort(all, std::greater<>(), &std::pair<std::string, int64_t>::second);
    all.resize(std::min(all.size(), few_values));
    Json &frequent = json["most_frequent"] = Json::array();
    for (const auto &[text, count] : all)
        frequent.push_back({{"text", text}, {"count", count}});
}

nlohmann::ordered_json VariableStatistics::json() const {
    Json json{{"name", variable_.name},
              {"label", variable_.label},
              {"kind", kind_name(variable_.kind)},
              {"type", stored_type_text(variable_)},
              {"format", variable_.stata_format.empty() ? format_text(variable_.format) : variable_.stata_format},
              {"observations", observations_},
              {"missing", missing_},
              {"missing_by_mark", missing_json()},
              {"distinct", is_exact() ? Json(distinct()) : Json()}};
    if (!is_exact())
        json["distinct_bound_reached"] = most_distinct_;
    json["identifies_observations"] = identifies();
    if (variable_.kind == ValueKind::numeric)
        add_numbers(json);
    else
        add_texts(json);
    if (labels_ && is_exact() && variable_.kind == ValueKind::numeric)
        json["labels_never_used"] = unused_labels();
    return json;
}

} // namespace vor
