// The record pump of an import: the system's hot loop. What a value needs is worked out once, in a plan with one step
// for each variable, which hangs on the input record's inuserptr; a record is then one walk over the plan.
#include "blank_padding.h"
#include "driver_records.h"
#include "imglue_extension.h"
#include "imglue_import.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr uint64_t STANDARD_MISSING = 0xFFFFFE0000000000;
constexpr double SECONDS_TO_1960 = DAYS_TO_1960 * 86400.0;
constexpr int64_t NUMBER_BYTES = 8;
constexpr double INTEGER_LIMIT = 9.223372036854776e18; // numbers from it on have no fraction to snap

enum class step_kind : uint8_t { number, date, time, datetime, text, whole_text, raw };

// How one variable's value gets into the observation.
struct value_step {
    step_kind kind;
    bool varying; // text: pointer and length are stored as well
    innamerecord *variable;
    char *position; // of the slot
    char *text;     // of the characters
};

struct row_plan {
    value_step *steps;
    value_step *end;
    innamerecord **variables; // by number
    char *scratch;            // text before it is transcoded, as wide as the widest variable; null without transcoding
    int32_t number_bytes;     // what the driver's decoders fill of a mivex_num_struct
    bool multiple_missings;
    bool encodings;  // the driver tells how much of a text is meaningful
    bool transcoded; // text goes through the pipeline
    bool in_place;   // text stands in the driver's buffer, which must not move until the host has seen it
    bool delivered;  // the current record has been; the next call moves on first
    bool sentinel_told;
};

row_plan *plan_of(const indbsrec *in) {
    return static_cast<row_plan *>(in->inuserptr);
}

step_kind kind_of(int32_t variable_type) {
    switch (variable_type) {
    case CLASS_CHARACTER:
        return step_kind::text;
    case CLASS_DATE:
        return step_kind::date;
    case CLASS_TIME:
        return step_kind::time;
    case CLASS_DATETIME:
        return step_kind::datetime;
    case CLASS_RAW:
        return step_kind::raw;
    default:
        return step_kind::number;
    }
}

value_step step_of(const IMGLUE *self, innamerecord *variable) {
    const NAMESTR *np = variable->nmptr;
    value_step step = {};
    step.kind = kind_of(variable->innametype);
    if (step.kind == step_kind::text && is_granted(self, WISH_WHOLE_TEXT))
        step.kind = step_kind::whole_text;
    step.varying = np->ntype == NAMESTR_VARYING_CHARACTER;
    step.variable = variable;
    step.position = static_cast<char *>(self->obsptr) + np->npos;
    step.text = step.varying ? static_cast<char *>(self->obsptr) + np->nipos + sizeof(int32_t) : step.position;
    return step;
}

// Whether text changes on its way: a pipeline between equal encodings passes it through as it is.
bool changes_bytes(const IMGLUE *self) {
    return self->transpipe != nullptr &&
           (self->zknlsp == nullptr || self->encoding_id != self->zknlsp->session_encoding);
}

// Allocates the observation, the plan and its scratch; null without memory.
row_plan *make_plan(IMGLUE *self) {
    const indbsrec *in = self->inptr;
    int64_t widest = NUMBER_BYTES;
    for (const innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname)
        widest = variable->innamelength > widest ? variable->innamelength : widest;
    const bool encodings = self->dbsinfoptr->supports_encoding != 0;
    const bool multiple_missings = self->dbsinfoptr->supports_multiple_missings != 0;

    auto *plan = static_cast<row_plan *>(h_malloc1(self, sizeof(row_plan)));
    auto *step = static_cast<value_step *>(h_malloc1(self, in->invars * static_cast<int64_t>(sizeof(value_step))));
    auto **variables = static_cast<innamerecord **>(h_malloc1(self, in->invars * static_cast<int64_t>(sizeof(void *))));
    auto *scratch = static_cast<char *>(h_malloc1(self, widest));
    void *observation = h_malloc1(self, self->obslen);
    if (plan == nullptr || step == nullptr || variables == nullptr || scratch == nullptr || observation == nullptr)
        return nullptr;
    self->obsptr = observation;
    *plan = {.steps = step,
             .end = step + in->invars,
             .variables = variables,
             .scratch = scratch,
             .number_bytes = static_cast<int32_t>(multiple_missings ? sizeof(mivex_num_struct) : sizeof(double)),
             .multiple_missings = multiple_missings,
             .encodings = encodings,
             .transcoded = encodings && changes_bytes(self),
             .in_place = is_granted(self, WISH_WHOLE_TEXT),
             .delivered = false,
             .sentinel_told = false};
    for (innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname) {
        *step++ = step_of(self, variable);
        *variables++ = variable;
    }
    return plan;
}

// The host's missing value for a mark of the driver.
double missing_value(const row_plan *plan, int32_t mark) {
    const double *special = v_global_gcb_anchor->special_missings;
    if (plan->multiple_missings) {
        if (mark >= 'a' && mark <= 'z')
            return special[mark - 'a' + 'A'];
        if (mark >= 'A' && mark <= 'Z')
            return special[mark];
        if (mark == '_' || mark == '-')
            return special[static_cast<int32_t>('_')];
    }
    double standard;
    memcpy(&standard, &STANDARD_MISSING, sizeof standard);
    return standard;
}

double integer_part(double number) {
    return static_cast<double>(static_cast<int64_t>(number));
}

// A number that misses a whole one by no more than the tolerance becomes that one: the way through minutes costs dates
// and times their last bits.
double snap(double number, double tolerance) {
    double whole = number;
    if (number < 0 && number > -INTEGER_LIMIT)
        whole = integer_part(number - tolerance);
    else if (number > 0 && number < INTEGER_LIMIT)
        whole = integer_part(number + tolerance);
    return whole - tolerance <= number && number <= whole + tolerance ? whole : number;
}

double host_number(step_kind kind, double number) {
    switch (kind) {
    case step_kind::date:
        return snap(number / MINUTES_PER_DAY - DAYS_TO_1960, 1e-6);
    case step_kind::time:
        return snap(number * 60.0, 1e-6);
    case step_kind::datetime:
        return snap(number * 60.0 - SECONDS_TO_1960, 0.001);
    default:
        return number;
    }
}

void log_text(IMGLUE *self, const innamerecord *variable) {
    char *text = self->to_vor_name_tempstr;
    mivex_sprintf(text, "%s at obs %lld", variable->innamename, static_cast<long long>(self->inptr->incurrent) + 1);
    xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_READ, wzstlen(text), static_cast<const char *>(text));
}

// The text as the driver decodes it; returns its length.
int32_t move_text(indbsrec *in, const row_plan *plan, const value_step *step) {
    innamerecord *variable = step->variable;
    const int32_t width = variable->innamelength;
    in->self->nprocs->readit(in, variable, step->text, width);
    const int32_t length = plan->encodings && variable->data_length < width ? variable->data_length : width;
    blank_from(step->text, length, variable->transcode_length);
    return length;
}

int32_t transcode_text(indbsrec *in, const row_plan *plan, const value_step *step) {
    IMGLUE *self = in->self;
    innamerecord *variable = step->variable;
    const int32_t room = variable->transcode_length;
    self->nprocs->readit(in, variable, plan->scratch, variable->innamelength);
    int64_t converted = 0;
    const int32_t status = self->transpipe->Transcode(self->transpipe, plan->scratch, variable->data_length, step->text,
                                                      room, &converted, 0);
    if (status != NLS_OK || converted > room)
        log_text(self, variable);
    const auto length = static_cast<int32_t>(converted > room ? room : converted);
    blank_from(step->text, length, room);
    return length;
}

void store_text(indbsrec *in, const row_plan *plan, const value_step *step) {
    const int32_t length = plan->transcoded ? transcode_text(in, plan, step) : move_text(in, plan, step);
    if (!step->varying)
        return;
    memcpy(step->position, &step->text, sizeof step->text);
    memcpy(step->position + sizeof step->text, &length, sizeof length);
}

// Values that go through as they are. The observation keeps no more of one than a number's bytes.
void store_raw(indbsrec *in, const row_plan *plan, const value_step *step) {
    const int64_t width = step->variable->innamelength;
    in->self->nprocs->readit(in, step->variable, plan->scratch, step->variable->innamelength);
    memcpy(step->position, plan->scratch, static_cast<size_t>(width < NUMBER_BYTES ? width : NUMBER_BYTES));
}

// Compares bits: the sentinel has one form only, and the value stays out of the floating-point unit.
bool is_sentinel(const double &number) {
    uint64_t bits;
    memcpy(&bits, &number, sizeof bits);
    return bits == __builtin_bit_cast(uint64_t, MISSING_SENTINEL);
}

// What becomes of a number in transit that is the sentinel. A file may store that number: a host that takes the stored
// numbers gets it, for others it is a missing value, which is told of the first.
double number_or_missing(const indbsrec *in, row_plan *plan, const innamerecord *variable, int32_t mark) {
    if (mark != NOT_MISSING)
        return missing_value(plan, mark);
    if (is_granted(in->self, WISH_STORED_NUMBERS))
        return MISSING_SENTINEL;
    if (!plan->sentinel_told)
        log_warning("Variable %s has the value -1e301 at obs %lld; it becomes a missing value, as do all such values.",
                    variable->innamename, in->incurrent + 1);
    plan->sentinel_told = true;
    return missing_value(plan, 0);
}

void store_record(indbsrec *in, row_plan *plan) {
    const auto readit = in->self->nprocs->readit;
    const int32_t number_bytes = plan->number_bytes;
    const value_step *const end = plan->end;
    mivex_num_struct value = {};
    for (const value_step *step = plan->steps; step != end; ++step) {
        const step_kind kind = step->kind;
        if (kind == step_kind::text) {
            store_text(in, plan, step);
            continue;
        }
        if (kind == step_kind::whole_text) {
            readit(in, step->variable, step->position, sizeof(vor_text_slot));
            continue;
        }
        if (kind == step_kind::raw) {
            store_raw(in, plan, step);
            continue;
        }
        readit(in, step->variable, &value, number_bytes);
        if (is_sentinel(value.num)) {
            value.num = number_or_missing(in, plan, step->variable, value.miss_char);
            value.miss_char = 0; // the driver sets it for these values only
        } else if (kind != step_kind::number) {
            value.num = host_number(kind, value.num);
        }
        memcpy(step->position, &value.num, sizeof value.num);
    }
}

void log_counts(const indbsrec *in) {
    const int64_t passed_over = in->self->current_record_number;
    const int64_t observations = passed_over >= in->intotal ? 0 : in->incurrent + 1 - passed_over;
    log_note("The import data set has %lld observations and %d variables.", observations,
             static_cast<int32_t>(in->invars));
}

status install_plan(IMGLUE *self) {
    row_plan *plan = make_plan(self);
    if (plan == nullptr)
        return ERROR_MEMORY;
    self->inptr->inuserptr = plan;
    return DONE;
}

// The record behind the one that was delivered last becomes the current one.
status leave_delivered(indbsrec *in, row_plan *plan) {
    if (!plan->delivered)
        return DONE;
    plan->delivered = false;
    return in->self->nprocs->getrecord(in);
}

// Makes the first row of a batch the current record.
status go_to_row(IMGLUE *self, int64_t row) {
    indbsrec *in = self->inptr;
    row_plan *plan = plan_of(in);
    if (self->obs_buffer_allocated == 0) {
        self->obs_buffer_allocated = 1;
        return row == NEXT_ROW ? self->nprocs->initbuffer(in) : self->nprocs->seekrecord(in, row);
    }
    const int64_t next = in->incurrent + (plan->delivered ? 1 : 0);
    if (row == NEXT_ROW || (row == next && in->infinish == 0))
        return DONE;
    plan->delivered = false;
    return self->nprocs->seekrecord(in, row);
}

status read_blocks(indbsrec *in, row_plan *plan, vor_batch *batch) {
    while (batch->rows < batch->row_limit) {
        if (const status s = leave_delivered(in, plan))
            return s;
        if (in->infinish != 0)
            return batch->rows > 0 ? DONE : ERROR_END_OF_FILE;
        const int64_t rows = in->self->nprocs->readblock(in, plan->variables, batch);
        if (rows == 0)
            return DONE;
        batch->rows += rows;
        in->self->records_processed_count += rows;
        plan->delivered = true;
    }
    return DONE;
}

} // namespace

status mivex_setup_read_buffer(IMGLUE *self) {
    indbsrec *in = self->inptr;
    if (in->inuserptr == nullptr)
        if (const status s = install_plan(self))
            return s;
    plan_of(in)->delivered = false;
    if (self->obs_buffer_allocated != 0)
        return self->nprocs->re_initbuffer(in);
    self->obs_buffer_allocated = 1;
    return self->nprocs->initbuffer(in);
}

status mivex_get_one_record(IMGLUE *self) {
    indbsrec *in = self->inptr;
    row_plan *plan = plan_of(in);
    if (const status s = leave_delivered(in, plan))
        return s;
    if (in->infinish != 0) {
        log_counts(in);
        return ERROR_END_OF_FILE;
    }
    store_record(in, plan);
    ++self->records_processed_count;
    plan->delivered = plan->in_place;
    return plan->in_place ? DONE : self->nprocs->getrecord(in);
}

innamerecord *const *mivex_variables(IMGLUE *self) {
    indbsrec *in = self->inptr;
    if (in->inuserptr == nullptr && install_plan(self) != DONE)
        return nullptr;
    return plan_of(in)->variables;
}

status mivex_get_columns(IMGLUE *self, vor_batch *batch) {
    indbsrec *in = self->inptr;
    if (const status s = go_to_row(self, batch->first_row))
        return s;
    row_plan *plan = plan_of(in);
    const status s = read_blocks(in, plan, batch);
    self->nprocs->endblocks(in, plan->variables, batch);
    if (s == ERROR_END_OF_FILE)
        log_counts(in);
    return s;
}
