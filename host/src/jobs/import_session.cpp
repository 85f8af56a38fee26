// An import, in the order that the access object asks for: mode, name, statements, open, variables, observations until
// the end of data, close, delete.
#include "files/file_ends.h"
#include "files/output_file.h"
#include "jobs/access_object.h"
#include "jobs/file_facts.h"
#include "jobs/import_values.h"
#include "jobs/stata_files.h"
#include "jobs/user_formats.h"
#include "text/loss_counter.h"

#include <vor/formats.h>
#include <vor/namestr.h>
#include <vorhost/ascii.h>
#include <vorhost/batch.h>
#include <vorhost/conversion.h>
#include <vorhost/host.h>
#include <vorhost/sentences.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vor {
namespace {

constexpr vor_extension every_wish = {.size_bytes = sizeof(vor_extension),
                                      .version = EXTENSION_VERSION,
                                      .wishes = EVERY_WISH,
                                      .granted = 0,
                                      .facts = nullptr};

// Which encodings the host is told of. The text of older files is not transcoded by the module: the session takes the
// file's encoding, and no text is cut because it grows. Of newer files, value labels are not transcoded.
void choose_encodings(HostOptions &host, const ImportSession::Options &options, const StataHead &head) {
    if (options.contract == Contract::extended) { // the module hands text over as it is
        if (lower_case(host.session_encoding) != "utf-8")
            const Host refuses_unknown_encodings({.session_encoding = host.session_encoding});
        if (!options.encoding.empty())
            host.session_encoding = options.encoding;
        else if (head.text_is_utf8)
            host.session_encoding = "utf-8";
        return;
    }
    if (head.text_is_utf8)
        host.label_encoding = options.encoding.empty() ? "utf-8" : options.encoding;
    if (options.encoding.empty())
        return;
    const bool session_chosen = lower_case(host.session_encoding) != "utf-8";
    if (!head.text_is_utf8 || !session_chosen)
        host.session_encoding = options.encoding;
    if (head.text_is_utf8)
        host.file_encoding = options.encoding;
}

std::string encoding_note(const ImportSession::Options &options, const StataHead &head,
                          const std::string &session_encoding) {
    if (!options.encoding.empty())
        return fmt::format("its text is read as {}.", options.encoding);
    if (head.text_is_utf8)
        return fmt::format("release {}; its text is read as UTF-8.", head.release);
    return fmt::format("release {}; its text is read as {} where it is valid, else as Windows Latin 1.", head.release,
                       lower_case(session_encoding) == "utf-8" ? "UTF-8" : session_encoding);
}

Format format_of(const char *name, int16_t length, int16_t width, int16_t decimals) {
    return {std::string(name, static_cast<size_t>(length)), width, decimals};
}

void copy_bytes(ByteFile &from, ByteFile &to, std::error_code &error) {
    std::vector<char> piece(65536);
    uint64_t done = 0;
    while (const size_t count = from.read(done, piece, error)) {
        to.write(done, std::span(piece).first(count), error);
        if (error)
            return;
        done += count;
    }
}

} // namespace

struct ImportSession::State {
    std::unique_ptr<FileEnds> ends; // null: temporary files are kept whole
    ImportedFormats formats;
    // Null under the base contract. Stands until the object is closed.
    std::unique_ptr<vor_extension> extension;
    AccessObject object;
    FileSummary summary;
    DataSet description;
    std::unique_ptr<ImportValues> values;
    int64_t passed_over = 0; // observations before the first one
    // Values of a leap-second clock for which a clock without leap seconds has no name.
    struct LeapSeconds {
        size_t column;
        LossCounter values = {};
    };
    std::vector<LeapSeconds> leap_seconds = {};

    State(const HostOptions &host, const Options &options, StataInput input, std::unique_ptr<FileEnds> file_ends)
        : ends(std::move(file_ends)),
          formats(host.catalogs, options.value_labels, options.selection.chooses_variables()),
          extension(options.contract == Contract::extended ? std::make_unique<vor_extension>(every_wish) : nullptr),
          object(prepared(host, options), input.shown_name) {
        if (extension && lower_case(host.valid_variable_names) == "v7")
            extension->wishes &= ~uint64_t{WISH_OWN_NAMES}; // the module cleans them
        object->extend = extension.get();
        summary.file = input.shown_name;
        summary.release = input.head.release;
        summary.big_endian = input.head.big_endian;
        summary.observations = input.head.observations;
        if (!input.remark.empty())
            object.note(input.remark);
        if (input.stream)
            object.host().assign_reference(input.name, std::move(input.stream));
        object.set_outmode(OUTMODE_IMPORT | (options.value_labels ? OUTMODE_WRITE_LABELS : 0));
        object.check(object->set_fname(object.get(), input.name.c_str(), static_cast<int32_t>(input.name.size())));
        object.check(object->parseimproc(object.get(), nullptr));
        open(input);
        describe(options);
        summary.data_label = extension ? description.label : data_label(input.head.data_label);
        description.label = summary.data_label;
        object.detail(encoding_note(options, input.head, host.session_encoding));
    }

    // A stream is read to its end here. What it failed of is known better than the module can say it.
    void open(const StataInput &input) {
        try {
            object.open();
        } catch (const ConversionError &) {
            if (input.stream_failure && *input.stream_failure)
                std::rethrow_exception(*input.stream_failure);
            throw;
        }
    }

    HostOptions prepared(HostOptions host, const Options &options) {
        host.catalogs = &formats;
        host.statements += format_statement(options.formats);
        if (ends)
            host.files = ends.get();
        return host;
    }

    // Text that the module hands over outside the observations, as UTF-8.
    // what and whose: as DecodeText has them.
    std::string decode(std::string_view bytes, std::string_view what, std::string_view whose) {
        std::string scratch;
        return accepted(object.host().decode(bytes, scratch), what, whose, object.host().options().session_encoding);
    }

    // The module does not know the data label: it is in the file's encoding.
    std::string data_label(std::string_view bytes) {
        std::string scratch;
        const HostOptions &host = object.host().options();
        return accepted(object.host().decode_label(bytes, scratch), "the data label", "",
                        host.label_encoding.empty() ? host.session_encoding : host.label_encoding);
    }

    std::string accepted(const Host::Decoded &decoded, std::string_view what, std::string_view whose,
                         const std::string &encoding) {
        if (!decoded.valid)
            object.note(fmt::format("{}{} is not valid {}; it is taken as Windows Latin 1: {}", what, whose, encoding,
                                    decoded.text));
        return std::string(decoded.text);
    }

    void describe(const Options &options) {
        int32_t count = 0;
        NAMELIST *list = nullptr;
        object.check(object->getvars(object.get(), &count, &list));
        object.note_remarks();
        if (extension)
            description = described(*extension->facts, options.value_labels,
                                    [this](std::string_view bytes, std::string_view what, std::string_view whose) {
                                        return decode(bytes, what, whose);
                                    });
        std::vector<ImportValues::Wanted> wanted;
        for (const NAMELIST *node = list; node; node = node->next) {
            wanted.push_back({static_cast<int32_t>(wanted.size()), &node->namestr});
            if (extension)
                add_formats(node->namestr, description.variables[wanted.size() - 1]);
            else
                description.variables.push_back(describe(node->namestr, wanted.size()));
        }
        if (extension) {
            take_clean_names(wanted);
            note_calendars();
            keep_label_tables(options.formats);
        }
        if (!extension)
            note_last_format();
        const Selection &selection = options.selection;
        if (selection.chooses_variables())
            choose(selection, wanted);
        for (const std::string &name : formats.replaced())
            object.note(fmt::format("the user format {} had other labels, which are replaced.", name));
        pass_over(selection.first_row - 1);
        values =
            import_values(object, extension.get(), description.variables, std::move(wanted), passed_over,
                          [this](size_t column, int64_t first) {
                              object.note(fmt::format(
                                  "variable {} has text that is not valid {}, first in observation {}; such text "
                                  "is taken as Windows Latin 1.",
                                  description.variables[column].name, object.host().options().session_encoding, first));
                          });
        for (size_t column = 0; column < description.variables.size(); ++column)
            if (temporal_class(description.variables[column]) == Temporal::leap_clock)
                leap_seconds.push_back({.column = column});
    }

    // The host's formats beside what the facts say. Labels of a date leave it a date.
    void add_formats(const NAMESTR &source, Variable &variable) {
        variable.format = format_of(source.nformlong, source.nformlongl, source.nfl, source.nfd);
        variable.informat = format_of(source.niformlong, source.niformlongl, source.nifl, source.nifd);
        variable.format = host_format(variable);
        if (temporal_class(variable) == Temporal::none && !variable.label_table.empty())
            variable.format = {variable.label_table, 0, 0};
    }

    // Names that the module has cleaned, also where the facts name variables.
    void take_clean_names(const std::vector<ImportValues::Wanted> &wanted) {
        if ((extension->granted & WISH_OWN_NAMES) != 0)
            return;
        std::unordered_map<std::string, std::string> clean;
        for (size_t i = 0; i < wanted.size(); ++i) {
            const NAMESTR &variable = *wanted[i].variable;
            std::string &name = description.variables[i].name;
            const std::string given = decode({variable.name_p, static_cast<size_t>(variable.namelen)},
                                             "the name of variable ", std::to_string(i + 1));
            clean[name] = given;
            name = given;
        }
        const auto follow = [&](std::string &name) {
            if (const auto found = clean.find(name); found != clean.end())
                name = found->second;
        };
        for (std::string &key : description.sort)
            follow(key);
        for (Characteristic &one : description.characteristics)
            follow(one.of);
    }

    // The label tables go to a catalog, too, when one is named.
    void keep_label_tables(const FormatPlace &place) {
        if (place.library.empty())
            return;
        for (const UserFormat &table : description.label_tables)
            formats.write(place.library, place.catalog.empty() ? "FORMATS" : place.catalog, table, false);
    }

    void note_calendars() {
        for (const Variable &variable : description.variables) {
            const size_t at = variable.stata_format.find("tb");
            if (find_unit(variable.stata_format.data(), static_cast<int64_t>(variable.stata_format.size())) ==
                UNIT_CALENDAR)
                object.note(fmt::format("variable {} counts the days of the business calendar {}, which a file of its "
                                        "own describes; its values stay plain numbers.",
                                        variable.name, variable.stata_format.substr(at + 2)));
        }
    }

    void count_leap_seconds(const Batch &batch) {
        for (LeapSeconds &seen : leap_seconds)
            for (size_t row = 0; row < batch.rows; ++row)
                if (in_leap_second(Temporal::leap_clock, batch.columns[seen.column].number(row)))
                    seen.values.add(passed_over + batch.first_row + static_cast<int64_t>(row) + 1);
    }

    void choose(const Selection &selection, std::vector<ImportValues::Wanted> &wanted) {
        const std::vector<size_t> columns = chosen_columns(description.variables, selection, summary.file);
        object.detail(
            fmt::format("{} of {} kept.", columns.size(), counted(static_cast<int64_t>(wanted.size()), "variable")));
        description = described(description, columns);
        std::vector<ImportValues::Wanted> chosen;
        chosen.reserve(columns.size());
        for (const size_t column : columns)
            chosen.push_back(wanted[column]);
        wanted = std::move(chosen);
        formats.release(description.variables);
    }

    void pass_over(int64_t observations) {
        object->current_record_number = observations;
        passed_over = observations;
        description.observations = std::max<int64_t>(summary.observations - observations, 0);
    }

    void note_last_format() {
        const auto &variables = description.variables;
        const auto last = std::find_if(variables.begin(), variables.end(),
                                       [this](const Variable &variable) { return formats.ends_with(variable); });
        if (last != variables.end() && last + 1 != variables.end())
            object.note(fmt::format("{} variables have value labels, the most that are kept; those of variables after "
                                    "{} are left out.",
                                    MOST_USER_FORMATS, last->name));
    }

    Variable describe(const NAMESTR &source, size_t ordinal) {
        Variable variable;
        variable.name = decode({source.name_p, static_cast<size_t>(source.namelen)}, "the name of variable ",
                               std::to_string(ordinal));
        variable.label =
            decode({source.label_p, static_cast<size_t>(source.nlablen)}, "the label of variable ", variable.name);
        const bool varying = source.ntype == NAMESTR_VARYING_CHARACTER;
        variable.kind = source.ntype == NAMESTR_NUMERIC ? ValueKind::numeric : ValueKind::character;
        variable.length = varying ? source.nlng2 : source.nlng;
        variable.format = format_of(source.nformlong, source.nformlongl, source.nfl, source.nfd);
        variable.informat = format_of(source.niformlong, source.niformlongl, source.nifl, source.nifd);
        if (formats.unwanted(variable.format.name))
            variable.format = {};
        return variable;
    }

    bool rewind() {
        for (LeapSeconds &seen : leap_seconds)
            seen.values = {};
        return values->rewind();
    }

    bool next(Batch &batch, size_t most_rows) {
        const bool more = values->next(batch, most_rows);
        count_leap_seconds(batch);
        return more;
    }

    void close() {
        for (const LeapSeconds &seen : leap_seconds)
            if (seen.values)
                object.warn(fmt::format("variable {}: {}; other programs may not know the second 60.",
                                        description.variables[seen.column].name,
                                        seen.values.sentence("inside a leap second")));
        for (size_t column = 0; column < description.variables.size(); ++column)
            if (const int64_t count = values->bad_texts(column))
                object.note(fmt::format("variable {}: {} in all taken as Windows Latin 1.",
                                        description.variables[column].name, counted(count, "value")));
        object.check(object.close());
        object.note_remarks();
        object.before_output();
    }
};

ImportSession::ImportSession(HostOptions host, const Options &options, const std::string &file) {
    FileSystem &files = host.files ? *host.files : machine_files();
    StataInput input = open_stata_input(file, files, host.unpacking);
    choose_encodings(host, options, input.head);
    std::unique_ptr<FileEnds> ends;
    if (options.head_only && input.stream && !OutputFile::is_streamed(file, files))
        ends = std::make_unique<FileEnds>(
            files, [&files, file, unpacking = host.unpacking](ByteFile &copy, std::error_code &error) {
                copy_bytes(*open_stata_input(file, files, unpacking).stream, copy, error);
            });
    state_ = std::make_unique<State>(host, options, std::move(input), std::move(ends));
}

ImportSession::~ImportSession() = default;

const FileSummary &ImportSession::summary() const {
    return state_->summary;
}
const DataSet &ImportSession::description() const {
    return state_->description;
}
bool ImportSession::rewind() {
    return state_->rewind();
}
bool ImportSession::next(Batch &batch, size_t most_rows) {
    return state_->next(batch, most_rows);
}
void ImportSession::close() {
    state_->close();
}

namespace {

class ImportSource : public BatchSource {
  public:
    ImportSource(ImportSession &session, int64_t limit, Progress progress, AtEnd then)
        : session_(session), progress_(std::move(progress)), description_(session.description()),
          closed_(then == AtEnd::open) {
        if (limit >= 0)
            description_.observations = std::min(description_.observations, limit);
        limited_ = limit >= 0;
    }
    const DataSet &description() const override { return description_; }
    bool works_beside_others() const override { return false; }

    bool next(Batch &batch, size_t most_rows) override {
        const auto left = static_cast<size_t>(description_.observations - rows_);
        const bool more =
            (!limited_ || left != 0) && session_.next(batch, limited_ ? std::min(most_rows, left) : most_rows);
        if (!more && !closed_) {
            closed_ = true;
            session_.close();
        }
        rows_ += more ? static_cast<int64_t>(batch.rows) : 0;
        if (progress_)
            progress_(rows_, description_.observations);
        return more;
    }
    bool rewind() override {
        rows_ = 0;
        return session_.rewind();
    }

  private:
    ImportSession &session_;
    Progress progress_;
    DataSet description_;
    bool limited_ = false;
    bool closed_; // or not to be
    int64_t rows_ = 0;
};

} // namespace

namespace {

int64_t put_rows(BatchSource &source, BatchSink &sink, int64_t wanted, const Progress &progress) {
    const size_t most = batch_rows(source.description().variables);
    int64_t rows = 0;
    for (Batch batch; source.next(batch, most);) {
        rows += static_cast<int64_t>(batch.rows);
        sink.put(batch);
        if (progress)
            progress(rows, wanted);
    }
    return rows;
}

} // namespace

int64_t import_rows(ImportSession &session, BatchSink &sink, int64_t limit, const Progress &progress, size_t threads) {
    sink.begin(session.description());
    ImportSource source(session, limit, {}, AtEnd::open);
    const int64_t wanted = source.description().observations;
    // The module is on the other thread meanwhile, and on no other.
    const int64_t rows =
        threads > 1 ? put_rows(*read_ahead(source, batch_rows(source.description().variables)), sink, wanted, progress)
                    : put_rows(source, sink, wanted, progress);
    session.close();
    if (progress)
        progress(rows, rows);
    sink.finish();
    return rows;
}

std::unique_ptr<BatchSource> import_source(ImportSession &session, int64_t limit, Progress progress, AtEnd then) {
    return std::make_unique<ImportSource>(session, limit, std::move(progress), then);
}

} // namespace vor
