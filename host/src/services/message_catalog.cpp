#include "services/message_catalog.h"

#include "files/file_stream.h"
#include "services/service_table.h"

#include <vor/imglue.h>
#include <vor/services.h>

#include <array>
#include <fmt/format.h>

namespace vor::services {
namespace {

constexpr std::array catalog_messages = {
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_UNKNOWN_ENCODING, Severity::error, MessageArgument::text, false,
                   "The encoding {} is not known"},
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_CODED, Severity::note, MessageArgument::length, true,
                   "A variable name or label of {} bytes could not be written whole in the file's encoding"},
    CatalogMessage{
        MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_READ, Severity::note, MessageArgument::text, true,
        "The text of {} could not be read whole: the session's encoding lacks a character of it, or it is not "
        "valid in the file's encoding, or too long"},
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_WRITTEN, Severity::note, MessageArgument::length, true,
                   "A text could not be written whole in the file's encoding into the {} bytes of its variable"},
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_STATEMENT_OPTION, Severity::note, MessageArgument::text, false,
                   "The option {} of the statement is not used here"},
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_LABEL_CUT, Severity::note, MessageArgument::text, false,
                   "The variable label \"{}\" was cut, because it is too long in the session's encoding"},
    CatalogMessage{MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_READ, Severity::note, MessageArgument::none, false,
                   "A variable name has characters that the session's encoding lacks, or is not valid in the file's "
                   "encoding; the variable is named by its position"},
    CatalogMessage{MESSAGE_GROUP_PARSER, MESSAGE_NO_PARSE_ROUTINE, Severity::error, MessageArgument::text, false,
                   "The statement parser has no routine {}"},
};

struct CodeSentence {
    int32_t code;
    std::string_view sentence;
};

constexpr std::array code_sentences = {
    CodeSentence{HOST_OK, "Done"},
    CodeSentence{HOST_NO_MEMORY, "There is not enough memory"},
    CodeSentence{HOST_NAME_TOO_LONG, "The file's full name is longer than 1023 bytes"},
    CodeSentence{HOST_NO_OBJECT, "There is no place for the access object"},
    CodeSentence{HOST_NO_NAME, "No file was named"},
    CodeSentence{HOST_END_OF_DATA, "There are no more observations"},
    CodeSentence{HOST_NAME_BLANK, "The file name is blank"},
    CodeSentence{HOST_NAME_WILDCARD, "The file name contains a wildcard (* or ?); name one file"},
    CodeSentence{HOST_NAME_NO_EXTENSION, "The file reference has no name, and so no extension"},
    CodeSentence{HOST_LOGGED, "The conversion failed; the log says why"},
    CodeSentence{HOST_TASK_NO_MEMORY, "The task ended: there is not enough memory"},
    CodeSentence{HOST_MEMORY_REPORTED, "There is not enough memory"},
    CodeSentence{HOST_INPUT_FAILED, "The file could not be read"},
    CodeSentence{HOST_OUTPUT_FAILED, "The file could not be written"},
    CodeSentence{HOST_INPUT_UNSUITABLE, "The file is not one that can be read here"},
    CodeSentence{static_cast<int32_t>(FORMAT_NOT_FOUND), "There is no user format {}"},
    CodeSentence{static_cast<int32_t>(FORMAT_NOT_REPLACED), "The user format {} was there before and was kept"},
    CodeSentence{BUILDER_REFUSED, "{}"},
    CodeSentence{BAD_FUNCTION, "There is no such translation table"},
    CodeSentence{SERVICE_NOT_OFFERED, "The host lacks a service that is needed here"},
    CodeSentence{FILE_FAILED, "The file could not be used"},
    CodeSentence{FILE_NOT_ASSIGNED, "No file is assigned to the logical name"},
    CodeSentence{FILE_BAD_POSITION, "The file has no byte of that number"},
    CodeSentence{FILE_BAD_REQUEST, "The name or the length is not one that a file can have"},
    CodeSentence{OPTION_NOT_SET, "The option is not set"},
    CodeSentence{OPTION_NOT_KNOWN, "The access object has no such option"},
    CodeSentence{IMAGE_NOT_FOUND, "There is no image of that name"},
    CodeSentence{ROUTINE_NOT_FOUND, "There is no routine of that name"},
    CodeSentence{CATALOG_FAILED, "{}"},
    CodeSentence{CATALOG_BAD_FORMAT, "The user format {} contradicts itself and was not stored"},
    CodeSentence{CATALOGS_OFF, "User formats are not kept, because there is no catalog for them"},
    CodeSentence{static_cast<int32_t>(NLS_TRUNCATED), "The converted text is longer than its place"},
    CodeSentence{static_cast<int32_t>(NLS_BAD_INPUT), "The text is not valid in its encoding"},
    CodeSentence{static_cast<int32_t>(NLS_NO_MAPPING), "The text holds a character that the encoding does not have"},
    CodeSentence{static_cast<int32_t>(NLS_NOT_KNOWN), "There is no such encoding"},
};

} // namespace

const CatalogMessage *find_message(int32_t group, int32_t number) {
    for (const CatalogMessage &message : catalog_messages)
        if (message.group == group && message.number == number)
            return &message;
    return nullptr;
}

std::string return_code_text(int32_t code, std::string_view substitution) {
    for (const CodeSentence &known : code_sentences)
        if (known.code == code)
            return fmt::format(fmt::runtime(known.sentence), substitution);
    return fmt::format("The operation failed with code {:#x}", static_cast<uint32_t>(code));
}

} // namespace vor::services
