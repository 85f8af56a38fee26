// Several Stata files as one source. Records are not copied as they stand: every part is read and written through the
// module, so that parts may differ in release, byte order and encoding, and nobody else knows the file.
#include <vorhost/concatenation.h>
#include <vorhost/difference.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>

namespace vor {
namespace {

// Both without what may differ, and without the units that are the same.
void keep_layout(DataSet &one, DataSet &other) {
    for (size_t i = 0; i < std::min(one.variables.size(), other.variables.size()); ++i)
        if (temporal_class(one.variables[i]) == temporal_class(other.variables[i]))
            one.variables[i].stata_format = other.variables[i].stata_format = "";
    for (DataSet *data_set : {&one, &other}) {
        data_set->label.clear();
        data_set->characteristics.clear();
        for (Variable &variable : data_set->variables) {
            variable.label.clear();
            variable.format = {}; // goes by the longest text
        }
        std::erase_if(data_set->label_tables, [data_set](const UserFormat &table) {
            return std::ranges::none_of(data_set->variables,
                                        [&](const Variable &variable) { return variable.label_table == table.name; });
        });
    }
}

// The first part, with which the others are compared.
struct Model {
    std::string file;
    DataSet description;

    void check(const std::string &name, const DataSet &part) const {
        DataSet layout = description;
        DataSet other = part;
        other.sort = layout.sort;
        keep_layout(layout, other);
        const std::vector<Difference> found = description_differences(layout, other);
        if (found.empty())
            return;
        const auto shown = [](const std::string &text) { return text.empty() ? std::string("none") : text; };
        const Difference &first = found.front();
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: {}: {}, in {}: {}; files that are put together have equal variables and "
                                          "value labels.",
                                          name, first.what, shown(first.second), file, shown(first.first)));
    }

    // What is lost of a part, with commas between.
    std::string lost_of(DataSet part) const {
        constexpr size_t most = 5;
        part.sort = description.sort;
        std::string lost;
        const std::vector<Difference> found = description_differences(description, part);
        for (size_t i = 0; i < std::min(found.size(), most); ++i)
            lost += (i == 0 ? "" : ", ") + found[i].what;
        return found.size() > most ? fmt::format("{} and {} more", lost, found.size() - most) : lost;
    }
};

class Parts : public BatchSource {
  public:
    Parts(const HostOptions &host, ImportSession::Options options, const std::vector<std::string> &files)
        : host_(host), options_(std::move(options)), files_(files) {
        look_at_all();
        model_.file = open(0);
        model_.description = session_->description();
        if (files.size() > 1)
            drop_order();
        if (!streams_)
            model_.description.observations = observations_;
        else if (files.size() > 1)
            model_.description.observations = -1;
    }

    const DataSet &description() const override { return model_.description; }

    bool works_beside_others() const override { return false; }

    bool next(Batch &batch, size_t most_rows) override {
        while (!session_->next(batch, most_rows)) {
            session_->close();
            if (current_ + 1 == files_.size())
                return false;
            begin(current_ + 1);
        }
        batch.first_row = rows_;
        rows_ += static_cast<int64_t>(batch.rows);
        return true;
    }

    bool rewind() override {
        if (streams_)
            return false;
        open(0);
        rows_ = 0;
        return true;
    }

  private:
    // Differences are found before there is any work to be lost.
    void look_at_all() {
        HostOptions quiet = host_;
        quiet.log = nullptr;
        ImportSession::Options head = options_;
        head.head_only = true;
        FileSystem &files = host_.files ? *host_.files : machine_files();
        std::optional<Model> first;
        for (const std::string &file : files_) {
            if (file == "-" || files.is_stream(file)) {
                streams_ = true;
                continue;
            }
            const ImportSession part(quiet, head, file);
            observations_ += part.summary().observations;
            if (!first)
                first = {part.summary().file, part.description()};
            else
                first->check(part.summary().file, part.description());
        }
    }

    // The part's name.
    std::string open(size_t part) {
        session_.reset(); // before the next one: a compressed part stands unpacked somewhere
        session_ = std::make_unique<ImportSession>(host_, options_, files_[part]);
        current_ = part;
        return session_->summary().file;
    }

    void begin(size_t part) {
        const std::string name = open(part);
        model_.check(name, session_->description());
        if (const std::string lost = model_.lost_of(session_->description()); !lost.empty() && part > told_)
            say(Severity::warning, fmt::format("{}: not kept, because {} differs: {}.", name, model_.file, lost));
        told_ = std::max(told_, part);
    }

    void drop_order() {
        if (!model_.description.sort.empty())
            say(Severity::note, fmt::format("{} is sorted by {}; all parts together are not marked as sorted.",
                                            model_.file, fmt::join(model_.description.sort, ", ")));
        model_.description.sort.clear();
    }

    void say(Severity severity, const std::string &sentence) const {
        if (host_.log)
            host_.log->line(severity, sentence);
    }

    const HostOptions host_;
    const ImportSession::Options options_;
    const std::vector<std::string> &files_;
    Model model_;
    bool streams_ = false;
    int64_t observations_ = 0; // of all parts that are no streams
    std::unique_ptr<ImportSession> session_;
    size_t current_ = 0;
    size_t told_ = 0; // the last part of which losses were told
    int64_t rows_ = 0;
};

} // namespace

int64_t concatenate(const HostOptions &host, const ConcatenationOptions &options, const std::vector<std::string> &parts,
                    const std::string &file, const Progress &progress) {
    if (parts.empty())
        throw ConversionError(Failure::usage, "There is no part to be put together.");
    Parts source(host, {.encoding = options.encoding}, parts);
    return export_source(host, options.output, file, source, progress);
}

} // namespace vor
