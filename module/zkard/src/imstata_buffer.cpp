// The buffer of observation records: the first fill, the step from one record to the next, the rewind. The buffer holds
// inbuffnum + 2 records; when the current one would be the last of them it moves to the first slot, so that the record
// behind it is always there too.
//
// Only records that are still to be delivered are read, and one that the file does not hold whole is never current.
// Those that the host passes over (current_record_number) are not read at all: the first fill begins behind them.
#include "driver_records.h"
#include "imglue_files.h"
#include "imglue_memory.h"
#include "imstata_reading.h"
#include "imstata_records.h"

namespace {

constexpr int64_t RECORDS_BESIDE = 2; // slots of the buffer beyond inbuffnum

// The record does not stand whole in the buffer: says what the file holds of it.
status fail_record(indbsrec *in, int64_t observation) {
    const int64_t position = static_cast<int64_t>(in->infirstpos_double) + observation * in->inreclen;
    return fail(in, ERROR_READ,
                "The Stata file is too short: expected %lld bytes of obs %lld at byte %lld, found %lld.", in->inreclen,
                observation + 1, position, in->indsn->bytes_of_next_record);
}

// Fills the buffer from a slot on with the records from `observation` on, as far as there is room and they are wanted.
// A short read is no failure yet.
status fill_buffer(indbsrec *in, int64_t slot, int64_t observation) {
    const int64_t room = in->inbuffnum + RECORDS_BESIDE - slot;
    const int64_t left = in->intotal - observation;
    const int64_t wanted = (left < room ? left : room) * in->inreclen;
    const int64_t found = mivex_read(in->mivex_infd, in->inbuffer + slot * in->inreclen, wanted);
    if (found < 0)
        return fail(in, ERROR_READ, "The Stata file could not be read: %lld bytes from obs %lld on.", wanted,
                    observation + 1);
    in->indsn->records_in_buffer = slot + found / in->inreclen;
    in->indsn->bytes_of_next_record = found % in->inreclen;
    return DONE;
}

// The first record to deliver, from 0: intotal when the host passes over all of them.
int64_t first_record(const indbsrec *in) {
    const int64_t wanted = in->self->current_record_number;
    if (wanted < 0)
        return 0;
    return wanted < in->intotal ? wanted : in->intotal;
}

// The first record to deliver becomes the current one. In a file that is too short for it, the first one that is not
// whole is asked for instead, which says where the file ends.
status start_reading(indbsrec *in) {
    in->inbuffptr = in->inbuffer;
    in->inbuffp2 = in->inbuffer + in->inreclen;
    const auto start = static_cast<int64_t>(in->infirstpos_double);
    const int64_t whole_records = (in->indsn->file_size - start) / in->inreclen;
    const int64_t first = in->incurrent < whole_records ? in->incurrent : whole_records;
    if (const status s = first == 0 ? DONE : seek_to(in, start + first * in->inreclen))
        return s;
    if (const status s = fill_buffer(in, 0, first))
        return s;
    return first == in->incurrent && in->indsn->records_in_buffer > 0 ? DONE : fail_record(in, first);
}

status finish_without_records(indbsrec *in) {
    in->ineof = 0;
    in->inmerge = 0;
    in->infinish = 1;
    incrementfinish();
    return DONE;
}

status assign_decoders(indbsrec *in) {
    for (innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname) {
        variable->innamefunct = find_decoder(variable->innameftype, in->indsn->layout->missing, in->indsn->byte_order);
        if (variable->innamefunct == nullptr)
            return fail(in, ERROR_VARIABLE_TYPE, "The variable %s has the unknown decoder code %d.",
                        variable->innamename, variable->innameftype);
    }
    return DONE;
}

status allocate_buffer(indbsrec *in) {
    const int64_t records = in->inbuffsize / in->inreclen;
    in->inbuffnum = records < RECORDS_BESIDE ? 0 : records - RECORDS_BESIDE;
    const int64_t bytes = (in->inbuffnum + RECORDS_BESIDE) * in->inreclen;
    in->inbuffer = static_cast<char *>(h_malloc1(in->self, bytes));
    if (in->inbuffer == nullptr)
        return fail_memory(in);
    if (reset_datalen(in->self, 1, bytes) < 0)
        return fail(in, ERROR_BUFFER_SIZE, "A record buffer of %lld bytes was refused.", bytes);
    return DONE;
}

// The first of each was noted with its place.
void note_changed_values(const indbsrec *in) {
    if (in->indsn->texts_cut > 1)
        log_note("Values cut to the length of their variable: %lld.", in->indsn->texts_cut);
    if (in->indsn->texts_absent > 1)
        log_note("Values left blank because the file does not hold their long strings: %lld.", in->indsn->texts_absent);
}

} // namespace

status initbuffer(indbsrec *in) {
    const int64_t first = first_record(in);
    in->self->current_record_number = first;
    if (first == in->intotal)
        return finish_without_records(in);
    if (first == in->intotal - 1)
        in->ineof = 1;
    if (const status s = assign_decoders(in))
        return s;
    in->incurrent = first;
    in->inbuffcurr = 0;
    in->inbyfirstrec = 0;
    if (const status s = allocate_buffer(in))
        return s;
    const int64_t position = file_position(in);
    if (position < 0)
        return ERROR_SEEK;
    in->infirstpos_double = static_cast<double>(position);
    return start_reading(in);
}

namespace {

// Reads again from the first record to deliver on.
status restart(indbsrec *in) {
    in->incurrent = first_record(in);
    in->inbuffcurr = 0;
    in->infinish = 0;
    in->inmerge = 0;
    in->ineof = in->incurrent == in->intotal - 1 ? 1 : 0;
    if (in->incurrent == in->intotal)
        return finish_without_records(in);
    if (const status s = seek_to(in, static_cast<int64_t>(in->infirstpos_double)))
        return s;
    return start_reading(in);
}

} // namespace

status re_initbuffer(indbsrec *in) {
    in->indsn->texts_cut = 0;
    in->indsn->texts_absent = 0;
    return restart(in);
}

status seekrecord(indbsrec *in, int64_t record) {
    const int64_t passed_over = first_record(in);
    in->self->current_record_number = record;
    const status s = in->inbuffer == nullptr ? initbuffer(in) : restart(in);
    in->self->current_record_number = passed_over;
    return s;
}

int64_t records_at_hand(const indbsrec *in) {
    const int64_t steps = in->inbuffnum + 1; // the last slot's record moves to the first one before it is current
    const int64_t records = in->indsn->records_in_buffer;
    return (records < steps ? records : steps) - in->inbuffcurr;
}

void step_over(indbsrec *in, int64_t count) {
    in->inbuffcurr += count;
    in->incurrent += count;
    in->inbuffptr += count * in->inreclen;
    in->inbuffp2 += count * in->inreclen;
    if (in->incurrent == in->intotal - 1)
        in->ineof = 1;
}

status getrecord(indbsrec *in) {
    if (in->ineof != 0 || in->infinish != 0) {
        in->ineof = 0;
        if (in->infinish == 0) {
            in->infinish = 1;
            incrementfinish();
            note_changed_values(in);
        }
        in->inmerge = 0;
        return DONE;
    }
    if (in->inbuffcurr + 1 >= in->indsn->records_in_buffer)
        return fail_record(in, in->incurrent + 1);
    if (in->incurrent == in->intotal - 2)
        in->ineof = 1;
    in->incurrent += 1;
    if (in->inbuffcurr < in->inbuffnum) {
        in->inbuffptr = in->inbuffp2;
        in->inbuffp2 += in->inreclen;
        in->inbuffcurr += 1;
        return DONE;
    }
    memcpy(in->inbuffer, in->inbuffp2, static_cast<size_t>(in->inreclen));
    in->inbuffptr = in->inbuffer;
    in->inbuffp2 = in->inbuffer + in->inreclen;
    in->inbuffcurr = 0;
    return fill_buffer(in, 1, in->incurrent + 1);
}
