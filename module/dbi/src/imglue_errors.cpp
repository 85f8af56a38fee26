// Knows every internal code, its text and its host return code. Does not know what led to a code: the driver's own
// words about it wait in the message_string of the open file.
#include "imglue_errors.h"

#include "imglue_log.h"
#include "imglue_session.h"
#include "output_records.h"
#include "service_entries.h"

enum failure_kind : uint8_t {
    FAILED,
    OUT_OF_MEMORY,
    SAID_ALREADY, // the text, if any, is all there is to say: close stays silent about it
    UNSUITABLE,
};

// By failure_kind.
static constexpr struct {
    int32_t import_code;
    int32_t export_code;
} host_codes[] = {
    {.import_code = HOST_INPUT_FAILED, .export_code = HOST_OUTPUT_FAILED},
    {.import_code = HOST_MEMORY_REPORTED, .export_code = HOST_MEMORY_REPORTED},
    {.import_code = HOST_LOGGED, .export_code = HOST_LOGGED},
    {.import_code = HOST_INPUT_UNSUITABLE, .export_code = HOST_OUTPUT_FAILED},
};

struct error_entry {
    int32_t code;
    failure_kind kind;
    const char *text; // the whole log line, null for none
};

static constexpr error_entry error_table[] = {
    {ERROR_MEMORY, OUT_OF_MEMORY, "Memory request error"},
    {ERROR_READ, FAILED, "Disk Read Request Error"},
    {ERROR_WRITE, FAILED, "Disk Write Error"},
    {ERROR_SEEK, FAILED, "Disk Seeking Error"},
    {ERROR_POSITION_SIZE, FAILED, "Position buffer size too small"},
    {ERROR_BUFFER_SIZE, FAILED, "Could not reset the disk access buffer size"},
    {ERROR_NO_TRANSCODING, FAILED, "Transcoding not supported for this file format"},
    {ERROR_REPORTED, SAID_ALREADY, nullptr},
    {ERROR_INPUT_INVALID, FAILED, "Requested Input File Is Invalid"},
    {ERROR_END_OF_FILE, FAILED, "Hit End Of File"},
    {ERROR_VARIABLE_TYPE, FAILED, "Unknown internal variable type"},
    {ERROR_INPUT_UNSUITABLE, UNSUITABLE, nullptr},
    {ERROR_OUTPUT_INVALID, FAILED, "Requested Output File is Invalid"},
    {ERROR_NO_VARIABLES, FAILED, "There are no variables for the output file"},
    {ERROR_TOO_MANY_VARIABLES, SAID_ALREADY, "%1zToo many variables for the output file"},
    {ERROR_TOO_MANY_RECORDS, SAID_ALREADY, "%1zToo many records for the output file"},
    {ERROR_TEMP_OPEN, FAILED, "Error when trying to open the temporary file"},
    {ERROR_TEMP_ASSIGN, FAILED, "Error when trying to assign logical name to temporary file"},
    {ERROR_AUX_OPEN, FAILED, "Error when trying to open the auxiliary file"},
    {ERROR_AUX_ASSIGN, FAILED, "Error when trying to assign logical name to auxiliary file"},
};

static error_entry find_error(int32_t code) {
    for (const error_entry &entry : error_table) {
        if (entry.code == code)
            return entry;
    }
    return {code, FAILED, nullptr};
}

static void write_pending_message(IMGLUE *self) {
    const bool exporting = self->do_input == 0;
    if (exporting && self->outptr != nullptr)
        write_message_to_logfile(self, self->outptr->message_string);
    if (!exporting && self->inptr != nullptr)
        write_message_to_logfile(self, self->inptr->message_string);
}

int32_t mivex_report_error(IMGLUE *self, int32_t error_code) {
    const error_entry entry = find_error(error_code);
    write_pending_message(self);
    if (entry.text != nullptr)
        xpslog(entry.text);
    self->haderror = entry.kind == SAID_ALREADY ? ERROR_REPORTED : error_code;
    mivex_clean_up(self);
    return self->do_input != 0 ? host_codes[entry.kind].import_code : host_codes[entry.kind].export_code;
}
