// An export, in the order that the access object asks for: mode, name, statements, open, variables, observations,
// close, delete; then the finished file takes its place.
#include "files/output_file.h"
#include "jobs/access_object.h"
#include "jobs/export_observation.h"
#include "jobs/export_variables.h"
#include "jobs/file_facts.h"
#include "jobs/read_ahead.h"
#include "jobs/stata_files.h"
#include "jobs/stored_columns.h"
#include "jobs/stored_types.h"
#include "jobs/user_formats.h"

#include <vorhost/ascii.h>
#include <vorhost/conversion.h>

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace vor {
namespace {

constexpr const char *output_reference = "VOROUT";
constexpr const char *file_encoding = "utf-8"; // of every file that is written

FormatPlace whole_place(const FormatPlace &place) {
    return {place.library.empty() ? "WORK" : place.library, place.catalog.empty() ? "FORMATS" : place.catalog};
}

// Where the module writes: a pending file that it opens by name, or a reference to an output that is written front to
// back.
class ExportTarget {
  public:
    // A stream of that very name is written into; a file gets the extension.
    ExportTarget(const std::string &file, FileSystem &files, const Packing &packing)
        : path_(OutputFile::is_streamed(file, files) ? file : stata_path(file)) {
        const std::string content = unpacked_stata_path(file);
        if (path_ == content && !OutputFile::is_streamed(path_, files) && is_module_path(path_, files))
            pending_ = std::make_unique<PendingFile>(files, path_);
        else
            output_ = std::make_unique<OutputFile>(path_, nullptr, files,
                                                   std::filesystem::path(content).filename().string(), packing);
    }

    std::string shown_name() const { return path_ == standard_stream ? "standard output" : path_; }

    // Tells the object's host; the name for the object.
    std::string assign(Host &host) {
        if (pending_)
            return pending_->path();
        host.assign_reference(output_reference, std::make_unique<OutputStream>(*output_, stream_));
        return output_reference;
    }
    bool is_reference() const { return output_ != nullptr; }

    // Closes the object, which writes to a reference only now. What the output failed of is known better than the
    // module can say it.
    void close(AccessObject &object) {
        stream_->open = true;
        const int32_t code = object.close();
        stream_->open = false;
        if (stream_->failure)
            std::rethrow_exception(stream_->failure);
        object.check(code);
    }

    void finish() {
        if (pending_)
            pending_->put_in_place();
        else
            output_->finish();
    }

  private:
    std::string path_;
    std::unique_ptr<PendingFile> pending_;
    std::unique_ptr<OutputFile> output_;
    std::shared_ptr<OutputStream::State> stream_ = std::make_shared<OutputStream::State>();
};

// Sort keys and characteristics name variables, which may have got other names.
void follow_names(const std::vector<Variable> &before, DataSet &written) {
    std::unordered_map<std::string, std::string> renamed;
    for (size_t i = 0; i < before.size(); ++i)
        if (before[i].name != written.variables[i].name)
            renamed[before[i].name] = written.variables[i].name;
    const auto follow = [&](std::string &name) {
        if (const auto found = renamed.find(name); found != renamed.end())
            name = found->second;
    };
    for (std::string &key : written.sort)
        follow(key);
    for (Characteristic &one : written.characteristics)
        follow(one.of);
}

// The tables of variables that only have a user format, from the catalogs. A variable has no labels when its format is
// none of a catalog's, or one of texts.
void add_label_tables(DataSet &written, ExportedFormats &formats, const Notes &warn) {
    std::unordered_set<std::string> there;
    for (const UserFormat &table : written.label_tables)
        there.insert(table.name);
    for (Variable &variable : written.variables) {
        std::string name = labels_name(variable);
        UserFormat format;
        if (!there.contains(name) && !formats.read(variable, format))
            continue;
        if (variable.kind == ValueKind::character) {
            warn(fmt::format("variable {}: a Stata file has no labels for texts; those of {} are not written.",
                             variable.name, name));
            continue;
        }
        if (!there.contains(name)) {
            name = format.name;
            if (there.insert(name).second)
                written.label_tables.push_back(std::move(format));
        }
        variable.label_table = name;
    }
}

// What the base contract has no place for, with commas between.
std::string lost_properties(const DataSet &description) {
    std::unordered_set<std::string> unused;
    for (const UserFormat &table : description.label_tables)
        unused.insert(table.name);
    for (const Variable &variable : description.variables)
        unused.erase(labels_name(variable));
    std::vector<std::string> lost;
    if (!description.label.empty())
        lost.emplace_back("the data set's label");
    if (!description.sort.empty())
        lost.emplace_back("its sort order");
    if (!description.characteristics.empty())
        lost.push_back(fmt::format("notes and other characteristics ({})", description.characteristics.size()));
    if (!unused.empty())
        lost.push_back(fmt::format("label tables that no variable uses ({})", unused.size()));
    return fmt::format("{}", fmt::join(lost, ", "));
}

// A long text that can be looked through gets room for the longest one that is there.
DataSet with_text_lengths(BatchSource &source) {
    DataSet description = source.description();
    const auto is_long = [](const Variable &variable) { return variable.stored == StoredType::long_text; };
    if (std::ranges::none_of(description.variables, is_long))
        return description;
    const DataSet measured = with_stored_types(source, StoredTypes::smallest, {});
    for (size_t i = 0; i < description.variables.size(); ++i)
        if (is_long(description.variables[i]))
            description.variables[i] = measured.variables[i];
    return description;
}

// What an export gives the module: its variables and their values, as the contract has them.
class ExportData {
  public:
    virtual ~ExportData() = default;
    virtual const std::vector<Variable> &variables() const = 0; // as they stand in the file
    virtual NAMELIST *list() = 0;
    virtual void put(AccessObject &object, const Batch &batch) = 0;
    virtual const ExportLosses &losses() const = 0;
};

class BaseData : public ExportData {
  public:
    BaseData(const Host &host, const DataSet &description, bool labels_as_names, ExportedFormats &formats,
             const Notes &note)
        : variables_(host, description, labels_as_names, formats, note), observation_(host, variables_.columns()) {}

    const std::vector<Variable> &variables() const override { return variables_.variables(); }
    NAMELIST *list() override { return variables_.list(); }
    const ExportLosses &losses() const override { return observation_.losses(); }
    void put(AccessObject &object, const Batch &batch) override {
        for (size_t row = 0; row < batch.rows; ++row)
            object.check(object->putnextrow(object.get(), observation_.filled(batch, row), list()));
    }

  private:
    ExportVariables variables_;
    ExportObservation observation_;
};

// The description as it is written. `source` are the variables as the batches have them.
class ExtendedData : public ExportData {
  public:
    ExtendedData(DataSet written, const std::vector<Variable> &source, vor_extension &extension, const Notes &warn)
        : extension_(extension), facts_(std::move(written), warn), columns_(facts_.variables(), source) {
        extension_.facts = facts_.facts();
    }

    const std::vector<Variable> &variables() const override { return facts_.variables(); }
    NAMELIST *list() override { return facts_.list(); }
    const ExportLosses &losses() const override { return columns_.losses(); }
    void put(AccessObject &object, const Batch &batch) override {
        vor_batch *taken = columns_.taken(batch);
        object.host().make_current();
        object.check(extension_.putcolumns(object.get(), taken));
    }

  private:
    vor_extension &extension_;
    ExportFacts facts_;
    StoredColumns columns_;
};

} // namespace

struct ExportSession::State {
    ExportTarget target;
    ExportedFormats formats;
    vor_extension extension = {.size_bytes = sizeof(vor_extension),
                               .version = EXTENSION_VERSION,
                               .wishes = EVERY_WISH,
                               .granted = 0,
                               .facts = nullptr};
    std::unique_ptr<ExportData> data = {};
    AccessObject object;

    State(const HostOptions &host, const Options &options, const std::string &file, const DataSet &description)
        : target(file, host.files ? *host.files : machine_files(), {options.compression_level, options.threads}),
          formats(host.catalogs, whole_place(options.formats), description.label_tables),
          object(prepared(host, options), target.shown_name()) {
        if (options.contract == Contract::extended)
            take_extended(options, description);
        else
            take_base(options, description);
        start(options, target.assign(object.host()));
    }

    HostOptions prepared(HostOptions host, const Options &options) {
        host.catalogs = formats.any() ? &formats : nullptr;
        host.statements = format_statement(options.formats);
        if (options.contract == Contract::base && lower_case(host.session_encoding) != file_encoding)
            host.file_encoding = host.label_encoding = file_encoding;
        return host;
    }

    Notes warner() {
        return [this](const std::string &text) { object.warn(text); };
    }

    void take_base(const Options &options, const DataSet &description) {
        data = std::make_unique<BaseData>(object.host(), description, options.labels_as_names, formats, warner());
        if (const std::string lost = lost_properties(description); !lost.empty())
            object.warn(fmt::format("not written: {}.", lost));
        warn_of_lost_labels(data->variables(), formats, warner());
    }

    void take_extended(const Options &options, const DataSet &description) {
        DataSet written = description;
        written.variables = file_variables(description.variables, options.labels_as_names, warner());
        follow_names(description.variables, written);
        add_label_tables(written, formats, warner());
        data = std::make_unique<ExtendedData>(std::move(written), description.variables, extension, warner());
        object->extend = &extension;
    }

    void start(const Options &options, const std::string &name) {
        object.set_outmode(options.labels_as_names && options.contract == Contract::base ? OUTMODE_WRITE_LABELS : 0);
        const int32_t named = object->set_fname(object.get(), name.c_str(), static_cast<int32_t>(name.size()));
        if (!(target.is_reference() && named == HOST_NAME_NO_EXTENSION))
            object.check(named);
        object.check(object->parseexproc(object.get(), nullptr));
        object.open();
        object.check(object->putvars(object.get(), static_cast<int32_t>(data->variables().size()), data->list()));
        object.note_remarks();
    }

    void finish() {
        target.close(object);
        object.note_remarks();
        data->losses().report(data->variables(), warner());
        object.before_output();
        target.finish();
    }
};

ExportSession::ExportSession(const HostOptions &host, const Options &options, const std::string &file,
                             const DataSet &description)
    : state_(std::make_unique<State>(host, options, file, description)) {}

ExportSession::~ExportSession() = default;

void ExportSession::put(const Batch &batch) {
    state_->data->put(state_->object, batch);
}
void ExportSession::finish() {
    state_->finish();
}

namespace {

int64_t put_rows(ExportSession &session, BatchSource &source, const Progress &progress) {
    const size_t most = batch_rows(source.description().variables);
    int64_t rows = 0;
    for (Batch batch; source.next(batch, most);) {
        session.put(batch);
        rows += static_cast<int64_t>(batch.rows);
        if (progress)
            progress(rows, source.description().observations);
    }
    return rows;
}

// Keeps the lines of an export that may have to begin anew.
class DeferredLog : public Log {
  public:
    explicit DeferredLog(Log *target) : target_(target) {}
    void line(Severity severity, std::string_view text) override {
        const std::lock_guard lock(mutex_);
        if (!open_)
            lines_.emplace_back(severity, text);
        else if (target_)
            target_->line(severity, text);
    }
    void before_output() override {
        if (target_)
            target_->before_output();
    }
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        for (const auto &[severity, text] : lines_)
            if (target_)
                target_->line(severity, text);
    }

  private:
    Log *target_;
    std::mutex mutex_;
    bool open_ = false;
    std::vector<std::pair<Severity, std::string>> lines_;
};

// Whether the types that the description records are what an export stores, as long as they hold the values.
bool keeps_types(const ExportSession::Options &options, const DataSet &description) {
    return options.contract == Contract::extended && options.types == StoredTypes::kept &&
           std::ranges::none_of(description.variables,
                                [](const Variable &variable) { return variable.stored == StoredType::unknown; });
}

// An export with the types that are recorded; nothing when a value does not fit them and the source can be read again.
std::optional<int64_t> export_as_recorded(const HostOptions &host, const ExportSession::Options &options,
                                          const std::string &file, BatchSource &source, const Progress &progress) {
    DeferredLog log(host.log);
    HostOptions deferred = host;
    deferred.log = &log;
    try {
        ExportSession session(deferred, options, file, source.description());
        const int64_t rows = put_rows(session, source, progress);
        log.open();
        session.finish();
        if (progress)
            progress(rows, rows);
        return rows;
    } catch (const Misfit &) {
        if (!source.rewind())
            throw;
        return std::nullopt;
    } catch (...) {
        log.open();
        throw;
    }
}

} // namespace

int64_t export_rows(ExportSession &session, BatchSource &source, const Progress &progress) {
    const int64_t rows = put_rows(session, source, progress);
    session.finish();
    if (progress)
        progress(rows, rows);
    return rows;
}

int64_t export_source(const HostOptions &host, const ExportSession::Options &options, const std::string &file,
                      BatchSource &given, const Progress &progress) {
    ReadAhead ahead(given, batch_rows(given.description().variables));
    BatchSource &source = options.threads > 1 && given.works_beside_others() ? ahead : given;
    if (keeps_types(options, source.description()))
        if (const auto rows = export_as_recorded(host, options, file, source, progress))
            return *rows;
    const Notes note = [&host](const std::string &sentence) {
        if (host.log)
            host.log->line(Severity::note, sentence);
    };
    const bool extended = options.contract == Contract::extended;
    ExportSession session(host, options, file,
                          extended ? with_stored_types(source, options.types, note) : with_text_lengths(source));
    return export_rows(session, source, progress);
}

} // namespace vor
