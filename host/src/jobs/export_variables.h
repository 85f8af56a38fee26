// The variables of an export as the module wants them: a list of NAMESTRs with the storage behind it.
#pragma once

#include "jobs/export_observation.h"
#include "jobs/user_formats.h"

#include <vor/namestr.h>
#include <vorhost/dataset.h>
#include <vorhost/host.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace vor {

// The variables under valid names and with labels that are short enough, with a note for each change. labels_as_names:
// the labels become the names, so they are what is made valid. session: the host whose session encoding has to have the
// names' characters; null: any characters.
std::vector<Variable> file_variables(std::vector<Variable> variables, bool labels_as_names, const Notes &note,
                                     const Host *session = nullptr);

class ExportVariables {
  public:
    using Note = Notes;

    ExportVariables(const Host &host, const DataSet &description, bool labels_as_names, ExportedFormats &formats,
                    const Note &note);
    ExportVariables(const ExportVariables &) = delete;
    ExportVariables &operator=(const ExportVariables &) = delete;

    // The list, owned by this object; null without variables.
    NAMELIST *list() { return nodes_.empty() ? nullptr : &nodes_.front(); }
    const std::vector<ExportColumn> &columns() const { return columns_; }

    // The variables under the names that they have in the file.
    const std::vector<Variable> &variables() const { return variables_; }

  private:
    struct Texts {
        std::string name;
        std::string label;
        char format[8];
        char informat[8];
    };
    void append(const Host &host, const Variable &variable, ExportedFormats &formats, const Note &note);

    std::vector<Variable> variables_;
    std::deque<Texts> texts_; // stay in place while the list grows
    std::deque<NAMELIST> nodes_;
    std::vector<ExportColumn> columns_;
    int64_t position_ = 0;
};

} // namespace vor
