// The services of a control block as plain calls, under the services' names: what the module's entries are to the
// module, for tests of the host without a module.
#pragma once

#include <vor/control_block.h>
#include <vor/services.h>

namespace vor::test {

template <int32_t group, int32_t slot, class Signature>
class ServiceCall;

template <int32_t group, int32_t slot, class Result, class... Parameters>
class ServiceCall<group, slot, Result(Parameters...)> {
  public:
    explicit ServiceCall(const GCB *gcb) : gcb_(gcb) {}
    Result operator()(Parameters... arguments) const {
        const auto routine = reinterpret_cast<Result (*)(SERVICE_ID, Parameters...)>(gcb_->groups[group][slot]);
        return routine({group, slot}, arguments...);
    }

  private:
    const GCB *gcb_;
};

template <int32_t group, int32_t slot, class Result, class... Parameters>
class ServiceCall<group, slot, Result(Parameters..., ...)> {
  public:
    explicit ServiceCall(const GCB *gcb) : gcb_(gcb) {}
    template <class... Rest>
    Result operator()(Parameters... arguments, Rest... rest) const {
        const auto routine = reinterpret_cast<Result (*)(SERVICE_ID, Parameters..., ...)>(gcb_->groups[group][slot]);
        return routine({group, slot}, arguments..., rest...);
    }

  private:
    const GCB *gcb_;
};

struct ServiceCalls {
    explicit ServiceCalls(const GCB *control_block) : gcb(control_block) {}

    FILE_CONTEXT *files() const { return gcb->task->files; }

    const GCB *gcb;
#define VOR_SERVICE_CALL(group, slot, name, ...) ServiceCall<group, slot, __VA_ARGS__> name{gcb};
    VOR_SERVICES(VOR_SERVICE_CALL)
#undef VOR_SERVICE_CALL
};

} // namespace vor::test
