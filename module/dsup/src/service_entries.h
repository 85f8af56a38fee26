// The module's entries to the host services: one callable object for each service of the list, under the service's
// name. An entry clears its group's status byte and calls the routine in its slot, passing group and slot along.
#pragma once

#include "vor/services.h"
#include "vvimodcn.h"

template <int32_t group>
SERVICE_ROUTINE service_routine(int32_t slot) {
    v_global_gcb_anchor->status[group] = 0;
    return v_global_gcb_anchor->groups[group][slot];
}

template <int32_t group, int32_t slot, class signature>
struct service_entry;

template <int32_t group, int32_t slot, class result, class... parameters>
struct service_entry<group, slot, result(parameters...)> {
    result operator()(parameters... arguments) const {
        auto routine = reinterpret_cast<result (*)(SERVICE_ID, parameters...)>(service_routine<group>(slot));
        return routine({group, slot}, arguments...);
    }
};

template <int32_t group, int32_t slot, class result, class... parameters>
struct service_entry<group, slot, result(parameters..., ...)> {
    template <class... substitutions>
    result operator()(parameters... arguments, substitutions... values) const {
        auto routine = reinterpret_cast<result (*)(SERVICE_ID, parameters..., ...)>(service_routine<group>(slot));
        return routine({group, slot}, arguments..., values...);
    }
};

#define VOR_SERVICE_ENTRY(group, slot, name, ...) inline constexpr service_entry<group, slot, __VA_ARGS__> name{};
VOR_SERVICES(VOR_SERVICE_ENTRY)
#undef VOR_SERVICE_ENTRY

// The context that every file service takes.
inline FILE_CONTEXT *file_context() {
    return v_global_gcb_anchor->task->files;
}
