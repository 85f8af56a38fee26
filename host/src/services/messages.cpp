#include "services/messages.h"

#include "services/message_catalog.h"
#include "text/encodings.h"
#include "text/message_format.h"
#include "text/utf8.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <fmt/format.h>

namespace vor::services {
namespace {

constexpr size_t MOST_LINE_BYTES = 0x7FFF;
constexpr size_t MOST_GATHERED = 20; // lines of one failure
constexpr int32_t MOST_SUBSTITUTION_BYTES = 4096;
constexpr std::string_view OBSERVATION_MARK = " at obs ";

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '.'))
        text.remove_suffix(1);
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    return text;
}

} // namespace

std::string Messages::readable(std::string_view text) const {
    std::string scratch;
    std::string line(is_utf8(text) ? text : encodings_.decode(text, scratch).text);
    for (char &character : line)
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7F')
            character = '?';
    return line;
}

void Messages::line(std::string_view text) {
    const bool has_level = text.size() > 2 && text[0] == '%' && text[1] >= '1' && text[1] <= '3' && text[2] == 'z';
    const char level = has_level ? text[1] : '\0';
    if (has_level)
        text.remove_prefix(3);
    if (level == '2' || level == '3')
        log(level == '2' ? Severity::warning : Severity::note, text);
    else
        gather(text);
}

void Messages::log(Severity severity, std::string_view text) {
    if (log_ != nullptr)
        log_->line(severity, readable(text));
}

void Messages::gather(std::string_view text) {
    std::string sentence = readable(trimmed(text));
    const bool known = std::find(gathered_.begin(), gathered_.end(), sentence) != gathered_.end();
    if (!sentence.empty() && !known && gathered_.size() < MOST_GATHERED)
        gathered_.push_back(std::move(sentence));
}

void Messages::system_error(std::error_code error) {
    if (error && !system_error_)
        system_error_ = error;
}

Host::FailureText Messages::take_failure() {
    Host::FailureText failure{fmt::format("{}", fmt::join(gathered_, "; ")), system_error_};
    if (!failure.text.empty())
        failure.text += '.';
    gathered_.clear();
    system_error_.reset();
    return failure;
}

// Whether this is the first time that a message comes about this subject since the counts were logged.
bool Messages::first_of(int32_t number, const std::string &subject) {
    return ++repeats_[{number, subject}] == 1;
}

void Messages::catalog_message(int32_t group, int32_t number, va_list arguments) {
    const CatalogMessage *message = find_message(group, number);
    if (message == nullptr)
        return gather(fmt::format("Message {} of group {:#x} has no text", number, group));
    const int32_t length = message->argument == MessageArgument::none ? 0 : va_arg(arguments, int32_t);
    std::string argument = std::to_string(length);
    if (message->argument == MessageArgument::text) {
        const char *text = va_arg(arguments, const char *);
        const int32_t bytes = std::clamp(length, 0, MOST_SUBSTITUTION_BYTES);
        argument = text == nullptr ? std::string() : readable({text, static_cast<size_t>(bytes)});
    }
    const std::string subject = argument.substr(0, argument.rfind(OBSERVATION_MARK));
    if (message->repeats && !first_of(number, message->argument == MessageArgument::text ? subject : std::string()))
        return;
    const std::string sentence = fmt::format(fmt::runtime(message->sentence), argument);
    if (message->severity == Severity::error)
        gather(sentence);
    else if (log_ != nullptr)
        log_->line(Severity::note, sentence + ".");
}

void Messages::log_repeats() {
    for (const auto &[key, times] : repeats_) {
        const auto &[number, subject] = key;
        if (times < 2 || log_ == nullptr)
            continue;
        const char *what = number == MESSAGE_VALUE_NOT_READ      ? "texts of {} could not be read whole."
                           : number == MESSAGE_VALUE_NOT_WRITTEN ? "texts could not be written whole."
                                                                 : "names and labels could not be written whole.";
        log_->line(Severity::note, fmt::format("{} ", times) + fmt::format(fmt::runtime(what), subject));
    }
    repeats_.clear();
}

// The module goes on after such a message, so it is a note.
int32_t Messages::xprrlog(int32_t /*zero*/, int32_t code) {
    const std::string substitution = substitutions_.empty() ? std::string() : substitutions_.front();
    substitutions_.clear();
    if (code != 0 && code != CATALOGS_OFF)
        note(return_code_text(code, substitution) + ".");
    return 0;
}

// Routines that take a list of arguments cannot hand it on as it is.
namespace {

int32_t xpslog(SERVICE_ID, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    serving<Messages>().line(format_message(format, arguments, MOST_LINE_BYTES));
    va_end(arguments);
    return 0;
}

int32_t xpmlog(SERVICE_ID, int32_t group, int32_t number, ...) {
    va_list arguments;
    va_start(arguments, number);
    serving<Messages>().catalog_message(group, number, arguments);
    va_end(arguments);
    return 0;
}

int32_t deliver(const std::string &message, char *text) {
    std::memcpy(text, message.data(), message.size());
    return static_cast<int32_t>(message.size());
}

int32_t xpslstv(SERVICE_ID, void *, char *text, int32_t limit, const char *format, int32_t format_length,
                va_list arguments) {
    const std::string_view pattern(format, static_cast<size_t>(std::max(format_length, 0)));
    return deliver(format_message(pattern, arguments, static_cast<size_t>(std::max(limit, 0))), text);
}

int32_t xpsstr(SERVICE_ID, char *text, int32_t limit, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int32_t length = deliver(format_message(format, arguments, static_cast<size_t>(std::max(limit, 0))), text);
    va_end(arguments);
    return length;
}

int32_t wrmksub(SERVICE_ID, int32_t count, ...) {
    std::vector<std::string> texts;
    va_list arguments;
    va_start(arguments, count);
    for (int32_t taken = 0; taken < count; ++taken) {
        const char *text = va_arg(arguments, const char *);
        const int32_t length = std::clamp(va_arg(arguments, int32_t), 0, MOST_SUBSTITUTION_BYTES);
        texts.emplace_back(text == nullptr ? "" : text, text == nullptr ? 0 : static_cast<size_t>(length));
    }
    va_end(arguments);
    serving<Messages>().substitute(std::move(texts));
    return 0;
}

} // namespace

void offer_message_services(ServiceTable &table) {
    offer_family<Messages>(table);
    table.offer(slot::xpslog, xpslog);
    table.offer(slot::xpmlog, xpmlog);
    table.offer(slot::xpslstv, xpslstv);
    table.offer(slot::xpsstr, xpsstr);
    table.offer(slot::wrmksub, wrmksub);
}

} // namespace vor::services
