#include "services/parsing_services.h"

#include "services/host_state.h"

namespace vor::services {
namespace {

void *xtanch(SERVICE_ID) {
    return current_host().parser.xtanch();
}

int32_t xttpshx(SERVICE_ID, void *anchor) {
    return current_host().parser.xttpshx(anchor);
}

int32_t xttpsh(SERVICE_ID, const char *text, int32_t length) {
    return current_host().parser.xttpsh(text, length);
}

int32_t xhqrel(SERVICE_ID, int32_t mark, int32_t pool) {
    return current_host().parser.xhqrel(mark, pool);
}

int32_t xsproc(SERVICE_ID, PARSECONTROL *control, PROCSTR *procedure, int32_t debug, USERINTERACT *interaction) {
    return current_host().parser.xsproc(control, procedure, debug, interaction);
}

int32_t vir2g(SERVICE_ID, const char *name, PARSE_ROUTINE *routine, TASK *, void *) {
    return StatementParser::vir2g(name, routine);
}

} // namespace

void offer_parsing_services(ServiceTable &table) {
    table.offer(slot::xtanch, xtanch);
    table.offer(slot::xttpshx, xttpshx);
    table.offer(slot::xttpsh, xttpsh);
    table.offer(slot::xhqrel, xhqrel);
    table.offer(slot::xsproc, xsproc);
    table.offer(slot::vir2g, vir2g);
}

} // namespace vor::services
