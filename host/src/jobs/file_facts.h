// The description of a data set and the facts that the module tells and takes about a Stata file: one from the other.
#pragma once

#include <vor/extension.h>
#include <vor/namestr.h>
#include <vorhost/dataset.h>
#include <vorhost/log.h>

#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

// Text of the file as UTF-8. For a note: what "the label of variable ", whose "x".
using DecodeText = std::function<std::string(std::string_view bytes, std::string_view what, std::string_view whose)>;

// The module's code for a type that is known.
int32_t stored_code(StoredType type);

// An import's description. Its variables have no host formats yet. labels: whether value labels are wanted.
DataSet described(const vor_file_facts &facts, bool labels, const DecodeText &decode);

// The host's format of a variable, by what its values count: its own one unless that shows something else.
Format host_format(const Variable &variable);

// An export's facts, and the variables as the module wants them. A stored type that is not known becomes a double or a
// text of the variable's length, a display format that is not known the usual one of its type. Labels for values that a
// Stata file cannot label are left out with a warning.
class ExportFacts {
  public:
    ExportFacts(DataSet description, const Notes &warn);
    ExportFacts(const ExportFacts &) = delete;
    ExportFacts &operator=(const ExportFacts &) = delete;

    const vor_file_facts *facts() const { return &facts_; }
    NAMELIST *list() { return nodes_.empty() ? nullptr : &nodes_.front(); }
    const std::vector<Variable> &variables() const { return description_.variables; }

  private:
    vor_text kept(const std::string &text); // `text` stands as long as this object
    void add_variables();
    void add_sort_keys();
    void add_characteristics();
    void add_label_tables(const Notes &warn);
    void add_label_table(const UserFormat &table, const Notes &warn);

    DataSet description_;
    vor_file_facts facts_ = {};
    std::deque<NAMELIST> nodes_;
    std::vector<vor_variable_facts> variables_;
    std::vector<int32_t> sort_keys_;
    std::vector<vor_characteristic> characteristics_;
    std::vector<vor_label_table> tables_;
    std::deque<std::vector<vor_value_label>> labels_;
};

} // namespace vor
