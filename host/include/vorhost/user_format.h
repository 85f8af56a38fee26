// User formats: values and the labels that stand for them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vor {

enum class ValueKind { numeric, character };

using FormatValue = std::variant<double, std::string>; // a number (missing values included) or a text

// One value or one interval (both ends belong to it) with its labels, more than one in a multilabel format.
struct FormatRange {
    FormatValue start;
    FormatValue end; // equal to start for a single value
    std::vector<std::string> labels;

    bool operator==(const FormatRange &other) const; // numbers by their bits, so that missing values equal themselves
};

// Whether both ends are the same value.
bool is_single(const FormatRange &range);

struct UserFormat {
    std::string name; // a character format's begins with '$'
    ValueKind kind = ValueKind::numeric;
    bool multilabel = false;
    std::vector<FormatRange> ranges; // by ascending start, missing values first: the catalog's order
    int default_width = 0;           // bytes of the longest label

    bool operator==(const UserFormat &) const = default;
};

// Finds the first label of a value. Made once for a format, which must outlive it. A single value comes before an
// interval that holds it, and the first of several in the format's order.
class LabelIndex {
  public:
    explicit LabelIndex(const UserFormat &format);
    ~LabelIndex();
    LabelIndex(LabelIndex &&) noexcept;
    LabelIndex &operator=(LabelIndex &&) noexcept;

    const std::string *find(double value) const; // null: the value has no label
    const std::string *find(std::string_view text) const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// Where user formats live: catalogs in libraries. Names compare without regard to letter case.
class FormatCatalogs {
  public:
    enum class Written { stored, kept_old };

    virtual ~FormatCatalogs() = default;

    // Stores a format in a catalog (both are made when they are not there); keep_existing keeps one of that name.
    // Throws std::runtime_error with a sentence for people when the library is not known or refuses. A ConversionError
    // with Failure::machine, a std::system_error and whatever is no std::runtime_error end the conversion instead.
    virtual Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                          bool keep_existing) = 0;

    // Reads a format; false when there is none of that name.
    virtual bool read(const std::string &library, const std::string &catalog, const std::string &name,
                      UserFormat &format) = 0;
};

} // namespace vor
