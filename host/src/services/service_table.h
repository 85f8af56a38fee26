// The tables of routines through which the module reaches the host, one routine for each service of the list.
//
// A routine is offered for a slot of the list by its true type, so one with a wrong signature does not compile. A slot
// for which nothing is offered holds a stub of the right type that says so in the log and fails. This knows nothing of
// what the services do.
#pragma once

#include <vor/services.h>

#include <array>
#include <memory>
#include <type_traits>

namespace vor::services {

inline constexpr int32_t SERVICE_NOT_OFFERED = static_cast<int32_t>(0x80310001);

// The type of a routine behind a signature of the list: the service's identity comes first.
template <class Signature>
struct RoutineOf;
template <class Result, class... Parameters>
struct RoutineOf<Result(Parameters...)> {
    using Type = Result (*)(SERVICE_ID, Parameters...);
};
template <class Result, class... Parameters>
struct RoutineOf<Result(Parameters..., ...)> {
    using Type = Result (*)(SERVICE_ID, Parameters..., ...);
};

template <int32_t group_number, int32_t slot_number, class Signature>
struct ServiceSlot {
    static constexpr SERVICE_ID id{group_number, slot_number};
    using Routine = typename RoutineOf<Signature>::Type;
};

namespace slot {
#define VOR_SERVICE_SLOT(group, number, name, ...) inline constexpr ServiceSlot<group, number, __VA_ARGS__> name{};
VOR_SERVICES(VOR_SERVICE_SLOT)
#undef VOR_SERVICE_SLOT
} // namespace slot

class ServiceTable {
  public:
    // Every slot of the list holds its stub.
    ServiceTable();

    template <int32_t group, int32_t number, class Signature>
    void offer(ServiceSlot<group, number, Signature> slot, typename RoutineOf<Signature>::Type routine) {
        put(slot.id, reinterpret_cast<SERVICE_ROUTINE>(routine));
    }

    // For the control block: a table for each group, null for a group without services.
    const SERVICE_ROUTINE *const *groups() const { return groups_.data(); }

  private:
    using Group = std::array<SERVICE_ROUTINE, SERVICE_SLOTS>;

    void put(SERVICE_ID id, SERVICE_ROUTINE routine);

    std::array<std::unique_ptr<Group>, SERVICE_GROUPS> tables_;
    std::array<const SERVICE_ROUTINE *, SERVICE_GROUPS> groups_{};
};

// The family of services of the host that is current. Each family declares its own.
template <class Family>
Family &serving();

// A routine that finds its family and hands everything on to one of its operations.
template <class Family, auto operation, class Signature>
struct HandOn;
template <class Family, auto operation, class Result, class... Parameters>
struct HandOn<Family, operation, Result(Parameters...)> {
    static Result routine(SERVICE_ID, Parameters... parameters) {
        if constexpr (std::is_member_function_pointer_v<decltype(operation)>)
            return (serving<Family>().*operation)(parameters...);
        else
            return operation(parameters...);
    }
};

// Offers every service of the list for which the family has a public operation of the same name.
template <class Family>
void offer_family(ServiceTable &table) {
#define VOR_OFFER_OPERATION(group, number, service, ...)                                                               \
    if constexpr (requires { &Family::service; })                                                                      \
        table.offer(slot::service, HandOn<Family, &Family::service, __VA_ARGS__>::routine);
    VOR_SERVICES(VOR_OFFER_OPERATION)
#undef VOR_OFFER_OPERATION
}

} // namespace vor::services
