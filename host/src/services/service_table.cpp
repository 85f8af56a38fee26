#include "services/service_table.h"

#include "services/host_state.h"

#include <fmt/format.h>
#include <type_traits>

namespace vor::services {
namespace {

void report_missing(SERVICE_ID id, const char *name) {
    current_host().messages.gather(
        fmt::format("The host does not offer the service {} (group {}, slot {})", name, id.group, id.slot));
}

template <class Result>
Result failure() {
    if constexpr (std::is_same_v<Result, int32_t>)
        return SERVICE_NOT_OFFERED;
    else
        return Result();
}

// What stands in a slot until a routine is offered for it. `Slot` gives the stub its name.
template <class Slot, class Signature>
struct Missing;
template <class Slot, class Result, class... Parameters>
struct Missing<Slot, Result(Parameters...)> {
    static Result routine(SERVICE_ID id, Parameters...) {
        report_missing(id, Slot::name);
        return failure<Result>();
    }
};
template <class Slot, class Result, class... Parameters>
struct Missing<Slot, Result(Parameters..., ...)> {
    static Result routine(SERVICE_ID id, Parameters..., ...) {
        report_missing(id, Slot::name);
        return failure<Result>();
    }
};

#define VOR_MISSING_NAME(group, number, service, ...)                                                                  \
    struct service##_name {                                                                                            \
        static constexpr const char *name = #service;                                                                  \
    };
VOR_SERVICES(VOR_MISSING_NAME)
#undef VOR_MISSING_NAME

} // namespace

ServiceTable::ServiceTable() {
#define VOR_MISSING_STUB(group, number, service, ...)                                                                  \
    offer(slot::service, Missing<service##_name, __VA_ARGS__>::routine);
    VOR_SERVICES(VOR_MISSING_STUB)
#undef VOR_MISSING_STUB
}

void ServiceTable::put(SERVICE_ID id, SERVICE_ROUTINE routine) {
    const auto group = static_cast<size_t>(id.group);
    if (!tables_[group]) {
        tables_[group] = std::make_unique<Group>();
        tables_[group]->fill(nullptr);
        groups_[group] = tables_[group]->data();
    }
    (*tables_[group])[static_cast<size_t>(id.slot)] = routine;
}

} // namespace vor::services
