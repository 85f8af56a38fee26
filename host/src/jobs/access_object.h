// One access object of the module, driven in the order it asks for; its failures become ConversionErrors.
#pragma once

#include <vor/imglue.h>
#include <vorhost/error.h>
#include <vorhost/host.h>

#include <memory>
#include <string>

namespace vor {

class AccessObject {
  public:
    // Loads the module and makes the object. `shown_name` is the file's name in messages.
    AccessObject(HostOptions options, std::string shown_name);

    // Closes the file when it is open, silently, and deletes the object.
    ~AccessObject();

    Host &host() { return host_; }
    IMGLUE *operator->() {
        host_.make_current();
        return object_;
    }
    IMGLUE *get() { return object_; }

    // Throws when an operation's code is not 0.
    void check(int32_t code) {
        if (code != HOST_OK)
            fail(code);
    }

    // A ConversionError with what the module and the host said about the failure behind a code.
    [[noreturn]] void fail(int32_t code);

    void set_outmode(int64_t outmode);
    void open();

    // The close slot; the object counts as closed whatever it returns.
    int32_t close();

    // Notes what was remarked about operations that succeeded all the same, such as a user format that was left out.
    void note_remarks();

    // A note, or a warning, that begins with the file's name.
    void note(const std::string &text) { log(Severity::note, text); }
    void detail(const std::string &text) { log(Severity::detail, text); }
    void warn(const std::string &text) { log(Severity::warning, text); }

    // Throws when what was said keeps the output from appearing.
    void before_output() { log_.before_output(); }

    // Drops every note from here on: what an abandoned conversion says is of no use.
    void mute() { log_.open = false; }

  private:
    struct Gate : Log {
        Log *target = nullptr;
        bool open = true;
        void line(Severity severity, std::string_view text) override {
            if (target && open)
                target->line(severity, text);
        }
        void before_output() override {
            if (target)
                target->before_output();
        }
    };
    HostOptions gated(HostOptions options);
    void log(Severity severity, const std::string &text);

    Gate log_;
    Host host_;
    std::string shown_name_;
    IMGLUE *object_;
    bool open_ = false;
};

} // namespace vor
