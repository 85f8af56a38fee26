// What the module logs about a failure stays with the host until somebody asks; here it becomes the one sentence that
// people read.

#include "jobs/access_object.h"

#include <fmt/format.h>

namespace vor {
AccessObject::AccessObject(HostOptions options, std::string shown_name)
    : host_(gated(std::move(options))), shown_name_(std::move(shown_name)) {
    host_.load_module();
    object_ = host_.new_object();
}

AccessObject::~AccessObject() {
    if (open_) { // after a failure, which has been told
        mute();
        close();
    }
    host_.delete_object(object_);
}

HostOptions AccessObject::gated(HostOptions options) {
    log_.target = options.log;
    options.log = &log_;
    return options;
}

void AccessObject::fail(int32_t code) {
    const Host::FailureText failure = host_.take_failure();
    const bool no_memory = code == HOST_NO_MEMORY || code == HOST_MEMORY_REPORTED;
    std::string text = failure.text.empty() ? return_code_text(code) : failure.text;
    if (failure.system_error && text.find(failure.system_error->message()) == std::string::npos)
        text += fmt::format(" ({})", failure.system_error->message());
    throw ConversionError(no_memory || failure.system_error ? Failure::machine : Failure::conversion,
                          fmt::format("{}: {}", shown_name_, text));
}

void AccessObject::set_outmode(int64_t outmode) {
    check(object_->set_outmode(object_, outmode));
}

void AccessObject::open() {
    check(object_->open(object_));
    open_ = true;
}

int32_t AccessObject::close() {
    open_ = false;
    host_.make_current();
    return object_->close(object_);
}

void AccessObject::note_remarks() {
    const Host::FailureText remarks = host_.take_failure();
    if (!remarks.text.empty())
        note(remarks.text);
}

void AccessObject::log(Severity severity, const std::string &text) {
    log_.line(severity, fmt::format("{}: {}", shown_name_, text));
}

} // namespace vor
