// The way from a grammar to the host's parse engine. It knows how the engine's routines are found and which record the
// engine reports to; grammar and statements are the caller's.
#include "xsparse.h"

#include "service_entries.h"
#include "vor/imglue.h"
#include "wzst.h"

namespace {

PARSE_ROUTINE resolve_routine(const char *name) {
    TASK *task = v_global_gcb_anchor->task;
    PARSE_ROUTINE routine = nullptr;
    if (vir2g(name, &routine, task, task->image_anchor) != 0 || routine == nullptr) {
        xpmlog(MESSAGE_GROUP_PARSER, MESSAGE_NO_PARSE_ROUTINE, wzstlen(name), name);
        xexit(HOST_LOGGED, 0);
        return nullptr;
    }
    return routine;
}

int32_t debug_mask(const PROCSTR *procedure) {
    return ((procedure->debug & PROCSTR_DEBUG_SYNTAX) != 0 ? PARSE_DEBUG_SYNTAX : 0) +
           ((procedure->debug & PROCSTR_DEBUG_SEMANTICS) != 0 ? PARSE_DEBUG_SEMANTICS : 0);
}

} // namespace

void xsparse(PARSECONTROL *pc, USERINTERACT *user) {
    if (pc->token == nullptr)
        xsctok(pc, PARSE_STANDARD_TOKEN);
    if (pc->semantic == nullptr)
        xscsem(pc, PARSE_STANDARD_SEMANTIC);
    if (pc->tracking == nullptr)
        xsctrak(pc, xtanch());
    PROCSTR *procedure = v_global_gcb_anchor->task->procedure;
    xsproc(pc, procedure, debug_mask(procedure), user);
}

void xsctok(PARSECONTROL *pc, const char *name) {
    pc->token = resolve_routine(name);
}

void xscsem(PARSECONTROL *pc, const char *name) {
    pc->semantic = resolve_routine(name);
}

void xsctrak(PARSECONTROL *pc, void *handle) {
    pc->tracking = handle;
}
