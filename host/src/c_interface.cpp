// The flat interface of libvordta.so. What happens inside is C++; nothing of it gets out.
#include <vorhost/arrow.h>
#include <vorhost/conversion.h>
#include <vorhost/description.h>
#include <vorhost/vordta.h>

#include <algorithm>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <utility>

namespace {

using nlohmann::json;
using vor::ConversionError;
using vor::Failure;

thread_local std::string last_error;
thread_local std::string log_lines;
thread_local std::string taken_lines;

// The module does one thing at a time.
std::recursive_mutex module_mutex;
using ModuleLock = std::lock_guard<std::recursive_mutex>;

struct ThreadLog : vor::Log {
    void line(vor::Severity severity, std::string_view text) override {
        log_lines.append(vor::severity_word(severity)).append(": ").append(text).append("\n");
    }
};
ThreadLog thread_log;

[[noreturn]] void refuse(const std::string &sentence) {
    throw ConversionError(Failure::usage, sentence);
}

// The code of what an action does.
template <class Action>
int guarded(Action action) noexcept {
    constexpr int conversion = 1, usage = 2, machine = 3;
    try {
        action();
        return 0;
    } catch (const ConversionError &error) {
        last_error = error.what();
        return error.failure() == Failure::usage ? usage : error.failure() == Failure::machine ? machine : conversion;
    } catch (const json::exception &error) {
        last_error = std::string("The options are not as expected: ") + error.what();
        return usage;
    } catch (const std::bad_alloc &) {
        last_error = "There is not enough memory.";
        return machine;
    } catch (const std::system_error &error) {
        last_error = error.what();
        return machine;
    } catch (const std::exception &error) {
        last_error = error.what();
        return conversion;
    }
}

json parse_options(const char *text, std::initializer_list<const char *> known) {
    json options = text ? json::parse(text) : json::object();
    if (!options.is_object())
        refuse("The options are no JSON object.");
    for (const auto &[key, value] : options.items())
        if (std::find(known.begin(), known.end(), key) == known.end())
            refuse("There is no option \"" + key + "\".");
    return options;
}

bool chosen(const json &options, const char *key, const char *other, const char *usual) {
    const std::string word = options.value(key, usual);
    if (word != other && word != usual)
        refuse(std::string("The option \"") + key + "\" is \"" + usual + "\" or \"" + other + "\".");
    return word == other;
}

} // namespace

struct vordta_reader {
    vor::ArrowOptions arrow;
    int64_t rows = -1;
    std::unique_ptr<vor::ImportSession> session;
    std::string description;
    bool streamed = false;

    vordta_reader(const char *path, const json &options)
        : arrow{chosen(options, "labels", "categories", "codes"), chosen(options, "missing", "marks", "null"), {}} {
        vor::ImportSession::Options how;
        how.value_labels = options.value("value_labels", true);
        how.encoding = options.value("encoding", "");
        if (options.contains("columns"))
            how.selection.keep = options["columns"].get<std::vector<std::string>>();
        if (options.contains("rows")) {
            const auto range = options["rows"].get<std::vector<int64_t>>();
            if (range.size() != 2 || range[0] < 0 || range[1] < -1)
                refuse("The option \"rows\" is the first row, from 0, and how many, or -1 for all.");
            how.selection.first_row = range[0] + 1;
            rows = range[1];
        }
        vor::HostOptions host;
        host.log = &thread_log;
        session = std::make_unique<vor::ImportSession>(host, how, path);
        vor::write_description_json(session->summary(), session->description(), {},
                                    [this](std::string_view text) { description += text; });
    }
};

namespace {

// The observations of a reader for any thread.
class ReaderSource : public vor::BatchSource {
  public:
    explicit ReaderSource(vordta_reader &reader)
        : source_(vor::import_source(*reader.session, reader.rows, {}, vor::AtEnd::open)) {}
    const vor::DataSet &description() const override { return source_->description(); }
    bool next(vor::Batch &batch, size_t most_rows) override {
        const ModuleLock lock(module_mutex);
        return source_->next(batch, most_rows);
    }
    bool rewind() override {
        const ModuleLock lock(module_mutex);
        return source_->rewind();
    }

  private:
    std::unique_ptr<vor::BatchSource> source_;
};

} // namespace

int vordta_open(const char *path, const char *options, vordta_reader **reader) {
    return guarded([&] {
        if (!path || !reader)
            refuse("vordta_open needs a path and a place for the reader.");
        const ModuleLock lock(module_mutex);
        *reader = new vordta_reader(
            path, parse_options(options, {"columns", "rows", "encoding", "labels", "missing", "value_labels"}));
    });
}

const char *vordta_describe(vordta_reader *reader) {
    return reader ? reader->description.c_str() : "";
}

int vordta_stream(vordta_reader *reader, struct ArrowArrayStream *out) {
    return guarded([&] {
        if (!reader || !out)
            refuse("vordta_stream needs a reader and a place for the stream.");
        const ModuleLock lock(module_mutex);
        auto source = std::make_unique<ReaderSource>(*reader);
        if (std::exchange(reader->streamed, true))
            source->rewind();
        vor::make_arrow_stream(std::move(source), reader->arrow, out);
    });
}

void vordta_close(vordta_reader *reader) {
    const ModuleLock lock(module_mutex);
    delete reader;
}

int vordta_write(const char *path, const char *options, struct ArrowArrayStream *in) {
    return guarded([&] {
        if (!in || !in->release)
            refuse("vordta_write needs a path and a stream.");
        const ArrowArrayStream stream = *in;
        in->release = nullptr;
        vor::ArrowInput input;
        input.warnings = [](const std::string &text) { thread_log.line(vor::Severity::warning, text); };
        std::string types = "kept";
        std::exception_ptr wrong;
        try {
            const json given = parse_options(options, {"description", "types"});
            if (given.contains("description"))
                input.description = given["description"].dump();
            types = given.value("types", "kept");
            if (!path || (types != "kept" && types != "smallest" && types != "double"))
                refuse(path ? "The option \"types\" is \"kept\", \"smallest\" or \"double\"."
                            : "vordta_write needs a path and a stream.");
        } catch (...) {
            wrong = std::current_exception();
        }
        const auto source = vor::arrow_source(stream, std::move(input)); // releases the stream whatever happens
        if (wrong)
            std::rethrow_exception(wrong);
        vor::ExportSession::Options how;
        how.types = types == "smallest" ? vor::StoredTypes::smallest
                    : types == "double" ? vor::StoredTypes::double_width
                                        : vor::StoredTypes::kept;
        vor::HostOptions host;
        host.log = &thread_log;
        const ModuleLock lock(module_mutex);
        vor::export_source(host, how, path, *source);
    });
}

const char *vordta_last_error(void) {
    return last_error.c_str();
}

const char *vordta_take_log(void) {
    taken_lines = std::exchange(log_lines, {});
    return taken_lines.c_str();
}

const char *vordta_version(void) {
    return VORDTA_VERSION;
}
