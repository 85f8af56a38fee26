// The host's public face: it makes the state that the services share, connects modules and counts what they hold.

#include "services/host_state.h"
#include "services/message_catalog.h"

#include <vor/imglue.h>
#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor {

using services::HostState;

struct Host::State : HostState {
    using HostState::HostState;
};

Host::Host(HostOptions options) : state_(std::make_unique<State>(std::move(options))) {}

// What is still open is closed by services of this host. Then the host before it serves again: the module must not keep
// a control block that is gone.
Host::~Host() {
    HostState *before = services::serve(state_.get());
    const bool was_serving = before == state_.get();
    state_.reset();
    services::serve(was_serving ? nullptr : before);
    if (HostState *other = services::youngest_host(); was_serving && other != nullptr)
        other->make_current();
}

GCB *Host::control_block() {
    state_->make_current();
    return state_->control_block.get();
}

void Host::make_current() {
    state_->make_current();
}

void Host::load_module() {
    state_->make_current();
    state_->module.load(state_->options.module_path);
    state_->module.connect(state_->control_block.get());
}

void Host::use_module(Constructor constructor, Connection connection) {
    state_->make_current();
    state_->module.use(connection, constructor);
    state_->module.connect(state_->control_block.get());
}

IMGLUE *Host::new_object() {
    State &state = *state_;
    state.make_current();
    if (state.module.constructor() == nullptr)
        throw ConversionError(Failure::machine, "No module is loaded.");
    const uint64_t owner = ++state.last_owner;
    IMGLUE *object = nullptr;
    int32_t code = HOST_NO_MEMORY;
    state.parser.set_statements(state.options.statements);
    state.task_pool.set_owner(owner);
    try {
        code = state.module.constructor()(&object);
    } catch (...) {
        state.task_pool.set_owner(0);
        state.task_pool.release_owner(owner);
        throw;
    }
    state.task_pool.set_owner(0);
    if (code == HOST_OK && object != nullptr) {
        state.objects[object] = owner;
        return object;
    }
    state.task_pool.release_owner(owner);
    const std::string said = take_failure().text;
    throw ConversionError(code == HOST_NO_MEMORY ? Failure::machine : Failure::usage,
                          said.empty() ? services::return_code_text(code) + "." : said);
}

// The module leaves the record and its statement options to the host: what the constructor allocated goes with the
// object, and parse-control records, which no object owns, go with the last one.
void Host::delete_object(IMGLUE *object) {
    State &state = *state_;
    const auto found = state.objects.find(object);
    if (found == state.objects.end())
        return;
    state.make_current();
    if (object->delete_ != nullptr)
        object->delete_(object);
    state.task_pool.release_owner(found->second);
    state.objects.erase(found);
    if (state.objects.empty())
        state.task_pool.release_flags(POOL_GRAMMAR);
    state.messages.log_repeats();
}

void Host::assign_reference(const std::string &logical_name, std::unique_ptr<ByteFile> file) {
    state_->files.assign_reference(logical_name, std::move(file));
}

Host::FailureText Host::take_failure() {
    return state_->messages.take_failure();
}

Host::Decoded Host::decode(std::string_view bytes, std::string &scratch) const {
    return state_->encodings.decode(bytes, scratch);
}

Host::Decoded Host::decode_label(std::string_view bytes, std::string &scratch) const {
    return state_->label_encoding.decode(bytes, scratch);
}

std::string Host::encode(std::string_view utf8, int *replaced) const {
    return state_->encodings.encode(utf8, replaced);
}

const HostOptions &Host::options() const {
    return state_->options;
}

size_t Host::blocks_in_use() const {
    return state_->task_pool.blocks() + state_->scratch_pools.blocks();
}

size_t Host::files_open() const {
    return state_->files.open_files();
}

std::string return_code_text(int code) {
    return services::return_code_text(code) + ".";
}

TaskExit::TaskExit(int code, const std::string &said)
    : ConversionError(code == HOST_TASK_NO_MEMORY ? Failure::machine : Failure::conversion,
                      said.empty() ? services::return_code_text(code) + "." : said),
      code_(code) {}

} // namespace vor
