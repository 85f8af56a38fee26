#include "services/host_state.h"

#include <vorhost/missing.h>

#include <cstring>
#include <utility>
#include <vector>

namespace vor::services {
namespace {

// The module keeps one control block for the whole program, so there is one host at a time that services work for.
HostState *serving_host = nullptr;
std::vector<HostState *> living_hosts; // in the order in which they were made

} // namespace

HostState &current_host() {
    return *serving_host;
}

// NOLINTBEGIN(bugprone-macro-parentheses): a type and a member cannot stand in parentheses
#define VOR_SERVING(Family, member)                                                                                    \
    template <>                                                                                                        \
    Family &serving() {                                                                                                \
        return current_host().member;                                                                                  \
    }
// NOLINTEND(bugprone-macro-parentheses)
VOR_SERVING(FILE_CONTEXT, files)
VOR_SERVING(Messages, messages)
VOR_SERVING(ScratchPools, scratch_pools)
VOR_SERVING(StatementParser, parser)
VOR_SERVING(StringsAndNumbers, strings_and_numbers)
VOR_SERVING(TaskServices, task)
VOR_SERVING(UserFormats, formats)
#undef VOR_SERVING

HostState::HostState(HostOptions given)
    : options(std::move(given)), own_files(options.files == nullptr ? disk_files() : nullptr),
      own_memory(options.memory == nullptr ? heap_memory() : nullptr), encodings(options.session_encoding),
      own_label_encoding(options.label_encoding.empty() || options.label_encoding == options.session_encoding
                             ? nullptr
                             : std::make_unique<Encodings>(options.label_encoding)),
      label_encoding(own_label_encoding ? *own_label_encoding : encodings), characters(encodings),
      messages(options.log, encodings),
      files(options.files == nullptr ? *own_files : *options.files, messages, encodings),
      task_pool(options.memory == nullptr ? *own_memory : *options.memory),
      scratch_pools(options.memory == nullptr ? *own_memory : *options.memory, messages),
      formats(options.catalogs, {encodings, label_encoding}, messages), task{options, encodings, messages},
      strings_and_numbers{encodings}, parser(messages), control_block(*this) {
    living_hosts.push_back(this);
    if (serving_host == nullptr)
        serving_host = this;
}

HostState::~HostState() {
    std::erase(living_hosts, this);
}

HostState *youngest_host() {
    return living_hosts.empty() ? nullptr : living_hosts.back();
}

HostState *serve(HostState *host) {
    return std::exchange(serving_host, host);
}

void HostState::make_current() noexcept {
    if (serving_host == this)
        return;
    serving_host = this;
    module.reconnect(control_block.get());
}

ControlBlock::ControlBlock(HostState &host) {
    offer_family<FILE_CONTEXT>(services_);
    offer_family<ScratchPools>(services_);
    offer_family<TaskServices>(services_);
    offer_family<BaseClassImage>(services_);
    offer_family<StatementParser>(services_);
    offer_family<StringsAndNumbers>(services_);
    offer_family<UserFormats>(services_);
    offer_message_services(services_);

    special_missings_.fill(missing_value('.'));
    special_missings_['_'] = missing_value('_');
    for (char letter = 'A'; letter <= 'Z'; ++letter)
        special_missings_[static_cast<unsigned char>(letter)] = missing_value(letter);

    task_.files = &host.files;
    task_.procedure = host.parser.procedure();
    toolkit_.nls = &host.encodings;

    std::memcpy(gcb_.marker, "VORGCB  ", sizeof gcb_.marker);
    gcb_.groups = services_.groups();
    gcb_.status = status_.data();
    gcb_.task = &task_;
    gcb_.pool = &host.task_pool;
    gcb_.upper_table = host.characters.upper.data();
    const std::array tables = {&host.characters.same, &host.characters.same, &host.characters.upper,
                               &host.characters.lower, &host.characters.same};
    for (size_t at = 0; at < tables.size(); ++at)
        gcb_.translation_tables[at] = tables[at]->data();
    gcb_.special_missings = special_missings_.data();
    gcb_.multibyte_session = host.encodings.session_is_multibyte() ? 1 : 0;
    gcb_.toolkit = &toolkit_;
    gcb_.to_wide = [](const char *bytes, int64_t length_bytes, ZKChar *wide, int64_t limit, int64_t *length) {
        return current_host().encodings.to_wide(bytes, length_bytes, wide, limit, length);
    };
}

} // namespace vor::services
