// The log: levels, the message services, and what is kept of a failure until somebody asks.
//
// Notes go to the log at once. Lines without a level and error lines belong to a failure: they are gathered, because
// only the caller of the module knows what was being done. Lines arrive in the session's encoding and leave as UTF-8
// without control characters.
#pragma once

#include "services/service_table.h"
#include "text/encodings.h"

#include <vorhost/host.h>
#include <vorhost/log.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vor::services {

class Messages {
  public:
    Messages(Log *log, const Encodings &encodings) : log_(log), encodings_(encodings) {}

    // A finished line of the module, which may begin with its level.
    void line(std::string_view text);

    void log(Severity severity, std::string_view text);
    void note(std::string_view text) { log(Severity::note, text); }

    // Adds a sentence to the failure, unless it is there already.
    void gather(std::string_view text);

    // Records what the system said; the first error of a failure counts.
    void system_error(std::error_code error);

    Host::FailureText take_failure();

    void catalog_message(int32_t group, int32_t number, va_list arguments);

    // The service that ends a return code's way: it becomes a note with the texts that came before it.
    int32_t xprrlog(int32_t zero, int32_t code);

    // Texts that go with the next return code.
    void substitute(std::vector<std::string> texts) { substitutions_ = std::move(texts); }

    // Logs how often messages came that were said only once, and starts their count anew.
    void log_repeats();

  private:
    // A line in UTF-8. A text that is UTF-8 already stays so whatever the session's encoding is: the host's own
    // sentences, and the names that the module takes from a file.
    std::string readable(std::string_view text) const;
    bool first_of(int32_t number, const std::string &subject);

    Log *log_;
    const Encodings &encodings_;
    std::vector<std::string> gathered_;
    std::optional<std::error_code> system_error_;
    std::vector<std::string> substitutions_;
    std::map<std::pair<int32_t, std::string>, int64_t> repeats_; // by message number and variable
};

// Offers the services of the log and of messages.
void offer_message_services(ServiceTable &table);

template <>
Messages &serving();

} // namespace vor::services
