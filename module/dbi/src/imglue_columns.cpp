// Batches at the door: a batch is looked at before anything is written into it or into the file, and the columns of an
// import start empty. Knows nothing of stored values.
#include "imglue_columns.h"

#include "driver_records.h"
#include "imglue_errors.h"
#include "imglue_import.h"
#include "imglue_log.h"
#include "output_records.h"

#include <cstring>

static constexpr int32_t OFFSET_SIZES[] = {sizeof(int32_t), sizeof(int64_t)};

static bool is_offset_size(int32_t bytes) {
    return bytes == OFFSET_SIZES[0] || bytes == OFFSET_SIZES[1];
}

// Whether a column has the buffers that its variable needs.
static bool has_buffers(const vor_column *column, const innamerecord *variable) {
    if (variable->innametype != CLASS_CHARACTER)
        return column->values != nullptr && column->validity != nullptr;
    return column->offsets != nullptr && is_offset_size(column->offset_bytes) && column->room_bytes >= 0 &&
           (column->bytes != nullptr || column->room_bytes == 0);
}

static bool is_fillable(const vor_batch *batch, const indbsrec *in, innamerecord *const *variables) {
    if (batch->first_row < NEXT_ROW || batch->row_limit < 0 || batch->column_count < 0) {
        log_error("A batch of %lld rows from %lld on and %lld columns cannot be filled.", batch->row_limit,
                  batch->first_row, batch->column_count);
        return false;
    }
    for (int64_t i = 0; i < batch->column_count; ++i) {
        const vor_column *column = &batch->columns[i];
        if (column->variable < 0 || column->variable >= in->invars) {
            log_error("Column %lld of a batch asks for variable %d; the file has %d.", i, column->variable,
                      static_cast<int32_t>(in->invars));
            return false;
        }
        if (!has_buffers(column, variables[column->variable])) {
            log_error("Column %lld of a batch lacks a buffer that the variable %s needs.", i,
                      variables[column->variable]->innamename);
            return false;
        }
    }
    return true;
}

static void start(vor_batch *batch) {
    batch->rows = 0;
    for (int64_t i = 0; i < batch->column_count; ++i) {
        vor_column *column = &batch->columns[i];
        column->needed_bytes = column->null_count = 0;
        column->has_marks = column->has_binary = 0;
        if (column->offsets != nullptr)
            memset(column->offsets, 0, static_cast<size_t>(column->offset_bytes));
    }
}

int32_t getcolumns(IMGLUE *self, vor_batch *batch) {
    const indbsrec *in = self->do_input != 0 ? self->inptr : nullptr;
    if (in == nullptr || in->indsn == nullptr) {
        log_error("Columns of the Stata file were asked for without its variables.");
        return HOST_LOGGED;
    }
    innamerecord *const *variables = mivex_variables(self);
    if (variables == nullptr)
        return mivex_report_error(self, ERROR_MEMORY);
    if (!is_fillable(batch, in, variables))
        return HOST_LOGGED;
    start(batch);
    const status error = mivex_get_columns(self, batch);
    if (error == ERROR_END_OF_FILE)
        return HOST_END_OF_DATA;
    if (error != DONE)
        return mivex_report_error(self, error);
    return batch->rows == 0 && batch->row_limit > 0 ? HOST_NO_MEMORY : HOST_OK;
}

// Whether a column has the values of a variable. One without texts may have no bytes.
static bool has_values(const vor_column *column, const outvarrec *variable) {
    const bool is_number = column->type >= 0 && column->type < STORED_NUMBERS;
    if (variable->outinsymbol->symtype != CLASS_CHARACTER)
        return is_number && column->values != nullptr;
    return (column->type == STORED_STRING || column->type == STORED_STRL) && column->offsets != nullptr &&
           is_offset_size(column->offset_bytes);
}

static bool is_writable(const vor_batch *batch, const outdbsrec *out) {
    if (batch->rows < 0 || batch->column_count != out->outvars) {
        log_error("A batch of %lld rows and %lld columns cannot be written; the file has %d variables.", batch->rows,
                  batch->column_count, out->outvars);
        return false;
    }
    const outvarrec *variable = out->outallhead;
    for (int64_t i = 0; i < batch->column_count && batch->rows > 0; ++i, variable = variable->nextoutvar) {
        if (!has_values(&batch->columns[i], variable)) {
            log_error("Column %lld of a batch, of type %d, lacks values that the variable %s can take.", i,
                      batch->columns[i].type, variable->outinsymbol->symname);
            return false;
        }
    }
    return true;
}

int32_t putcolumns(IMGLUE *self, vor_batch *batch) {
    outdbsrec *out = self->do_input == 0 ? self->outptr : nullptr;
    if (out == nullptr || out->outbuffer == nullptr)
        return HOST_LOGGED;
    if (out->outallhead->facts == nullptr) {
        log_error("Columns can be written only into a file whose facts were given.");
        return HOST_LOGGED;
    }
    if (!is_writable(batch, out))
        return HOST_LOGGED;
    const status error = self->nprocs->writeblock(out, batch);
    return error == DONE ? HOST_OK : mivex_report_error(self, error);
}
