// The beginnings of both kinds of files, and the tags of the tagged one. Numbers are in the file's byte order.
#include "imstata_header.h"

#include "imglue_extension.h"
#include "imglue_files.h"
#include "imglue_number_text.h"
#include "imstata_facts.h"
#include "imstata_reading.h"
#include "wzst.h"

// The fixed header of the binary releases: release, byte order, file type and an unused byte (one each), the number of
// variables (2) and of observations (4), the data label and, from 105 on, a time stamp; and the chain of expansion
// fields, each a type byte, a length and that many bytes, which a field of type 0 ends.

namespace {

enum header_offset : int32_t {
    AT_RELEASE = 0,
    AT_BYTE_ORDER = 1,
    AT_FILE_TYPE = 2,
    AT_UNUSED = 3,
    AT_VARIABLES = 4,
    AT_OBSERVATIONS = 6,
    AT_DATA_LABEL = 10,
};

constexpr char CHARACTERISTIC_FIELD = 1; // type of an expansion field

} // namespace

status parse_binary_header(indbsrec *in, headerrec *header) {
    char fixed[AT_DATA_LABEL];
    if (const status s = seek_to(in, 0))
        return s;
    if (const status s = read_exactly(in, fixed, sizeof fixed, "the header"))
        return s;
    header->release = static_cast<uint8_t>(fixed[AT_RELEASE]);
    header->byteorder = static_cast<uint8_t>(fixed[AT_BYTE_ORDER]);
    header->filetype = static_cast<uint8_t>(fixed[AT_FILE_TYPE]);
    header->unused = static_cast<uint8_t>(fixed[AT_UNUSED]);
    header->nvar_2byte = static_cast<int16_t>(number_at(fixed + AT_VARIABLES, 2, header->byteorder));
    header->nobs_4byte = int32_at(fixed + AT_OBSERVATIONS, header->byteorder);
    // The release comes first: a file of another kind is often shorter than the header.
    const release_layout *layout = find_release(header->release);
    if (layout == nullptr || layout->tagged)
        return fail_plain(in, ERROR_INPUT_INVALID,
                          "For Stata, Release flags of 103 to 115 are supported.  You had -> %d", header->release);
    if (const status s = read_exactly(in, header->datalabel, layout->data_label_bytes, "the data label"))
        return s;
    header->datalabel[layout->data_label_bytes] = '\0';
    header->timestamp[layout->timestamp_bytes] = '\0';
    return read_exactly(in, header->timestamp, layout->timestamp_bytes, "the time stamp");
}

status skip_binary_expansion_records(indbsrec *in) {
    dsnrecord *dsn = in->indsn;
    const int32_t length_bytes = dsn->layout->expansion_length_bytes;
    if (length_bytes == 0)
        return DONE;
    int64_t position = file_position(in);
    if (position < 0)
        return ERROR_SEEK;
    for (;;) {
        char head[1 + 4];
        if (const status s = read_exactly(in, head, 1 + length_bytes, "an expansion field"))
            return s;
        if (head[0] == 0)
            return DONE;
        const auto length = static_cast<int64_t>(number_at(head + 1, length_bytes, dsn->byte_order));
        const int64_t body = position + 1 + length_bytes;
        if (length > dsn->file_size - body)
            return fail(in, ERROR_INPUT_INVALID,
                        "The expansion field at byte %lld has a length of %lld bytes; the file holds %lld more.",
                        position, length, dsn->file_size - body);
        position = body + length;
        const bool kept = head[0] == CHARACTERISTIC_FIELD && is_granted(in->self, WISH_CHARACTERISTICS);
        if (const status s = kept ? keep_characteristic(in, length) : seek_to(in, position))
            return s;
        dsn->characteristics += kept ? 0 : 1;
    }
}

// Tags of a tagged file. The header's elements may stand in any order that gives the release first; the sections behind
// it have one order and exact tags. The numbers between tags are binary.

namespace {

constexpr int64_t TIMESTAMP_LENGTH_BYTES = 1;

// A header on its way: which elements were seen, and the counts as they stand in the file.
struct header_parse {
    indbsrec *in;
    headerrec *header;
    const release_layout *layout; // null before <release>
    char variables[8];
    char observations[8];
    bool variables_seen;
    bool observations_seen;
    int64_t text_bytes;
};

using element_routine = status (*)(header_parse *parse);

status parse_release(header_parse *parse) {
    char digits[3];
    if (const status s = read_exactly(parse->in, digits, sizeof digits, "the release"))
        return s;
    int32_t release = 0;
    for (const char digit : digits)
        release = is_digit(digit) ? 10 * release + (digit - '0') : INT16_MAX; // no release is as high
    const release_layout *layout = find_release(release);
    if (layout == nullptr || !layout->tagged)
        return fail(parse->in, ERROR_INPUT_INVALID,
                    "The Stata file is of release %s; tagged files of the releases 117, 118 and 119 can be read.",
                    show_text(digits, sizeof digits).text);
    parse->layout = layout;
    parse->header->release = static_cast<uint8_t>(release);
    return DONE;
}

status parse_byte_order(header_parse *parse) {
    char order[3];
    if (const status s = read_exactly(parse->in, order, sizeof order, "the byte order"))
        return s;
    const bool least_first = memcmp(order, "LSF", sizeof order) == 0;
    parse->header->byteorder = least_first ? LEAST_SIGNIFICANT_FIRST : MOST_SIGNIFICANT_FIRST;
    return DONE;
}

status parse_variables(header_parse *parse) {
    parse->variables_seen = true;
    return read_exactly(parse->in, parse->variables, parse->layout->variable_count_bytes, "the number of variables");
}

status parse_observations(header_parse *parse) {
    parse->observations_seen = true;
    return read_exactly(parse->in, parse->observations, parse->layout->observation_count_bytes,
                        "the number of observations");
}

status parse_label(header_parse *parse) {
    const int32_t length_bytes = parse->layout->data_label_length_bytes;
    char field[2];
    if (const status s = read_exactly(parse->in, field, length_bytes, "the length of the data label"))
        return s;
    const auto length = static_cast<int32_t>(number_at(field, length_bytes, parse->header->byteorder));
    if (length > parse->layout->data_label_bytes)
        return fail(parse->in, ERROR_INPUT_INVALID,
                    "The data label before byte %lld has a length of %d bytes; at most %d are expected.",
                    file_position(parse->in), length, parse->layout->data_label_bytes);
    parse->header->datalabel[length] = '\0';
    return read_exactly(parse->in, parse->header->datalabel, length, "the data label");
}

status parse_timestamp(header_parse *parse) {
    char field[TIMESTAMP_LENGTH_BYTES];
    if (const status s = read_exactly(parse->in, field, sizeof field, "the length of the time stamp"))
        return s;
    const auto length = static_cast<unsigned char>(field[0]);
    parse->header->timestamp[length] = '\0';
    return read_exactly(parse->in, parse->header->timestamp, length, "the time stamp");
}

constexpr struct {
    const char *name;
    element_routine parse;
    bool needs_release; // its width is the release's
} HEADER_ELEMENTS[] = {
    {.name = "release", .parse = parse_release, .needs_release = false},
    {.name = "byteorder", .parse = parse_byte_order, .needs_release = false},
    {.name = "K", .parse = parse_variables, .needs_release = true},
    {.name = "N", .parse = parse_observations, .needs_release = true},
    {.name = "label", .parse = parse_label, .needs_release = true},
    {.name = "timestamp", .parse = parse_timestamp, .needs_release = false},
};

status read_byte(header_parse *parse, char *byte) {
    if (++parse->text_bytes > LONGEST_HEADER_TEXT)
        return fail(parse->in, ERROR_INPUT_INVALID,
                    "</header> was not found in the first %lld bytes of the Stata file.", LONGEST_HEADER_TEXT);
    return read_exactly(parse->in, byte, 1, "the header");
}

// Reads up to and including the next tag; `tag` receives its terminated name.
status read_tag(header_parse *parse, char *tag) {
    char byte = '\0';
    while (byte != '<')
        if (const status s = read_byte(parse, &byte))
            return s;
    int32_t length = 0;
    for (;;) {
        if (const status s = read_byte(parse, &byte))
            return s;
        if (byte == '>')
            break;
        if (length == LONGEST_TAG)
            return fail(parse->in, ERROR_INPUT_INVALID,
                        "The header's tag before byte %lld is longer than %d bytes: |%s|.", file_position(parse->in),
                        LONGEST_TAG, show_text(tag, length).text);
        tag[length++] = byte;
    }
    tag[length] = '\0';
    if (length == 0)
        return fail(parse->in, ERROR_READ, "The header's tag before byte %lld has no name.", file_position(parse->in));
    return DONE;
}

status parse_element(header_parse *parse, const char *tag) {
    for (const auto &element : HEADER_ELEMENTS) {
        if (comp2inull(tag, element.name) != 0)
            continue;
        if (element.needs_release && parse->layout == nullptr)
            return fail(parse->in, ERROR_INPUT_INVALID,
                        "The header of the Stata file has <%s> before byte %lld, where <release> is expected first.",
                        element.name, file_position(parse->in));
        return element.parse(parse);
    }
    return DONE; // closing tags, and elements of which nothing is needed
}

// The counts are converted last: the byte order may stand behind them.
status finish_header(header_parse *parse) {
    headerrec *header = parse->header;
    if (!parse->variables_seen || !parse->observations_seen)
        return fail(
            parse->in, ERROR_INPUT_INVALID, "The header of the Stata file ends at byte %lld without the element <%s>.",
            file_position(parse->in), parse->layout == nullptr ? "release" : (parse->variables_seen ? "N" : "K"));
    if (header->byteorder == 0)
        header->byteorder = LEAST_SIGNIFICANT_FIRST;
    const int32_t order = header->byteorder;
    if (parse->layout->variable_count_bytes == 2)
        header->nvar_2byte = static_cast<int16_t>(number_at(parse->variables, 2, order));
    else
        header->nvar_4byte = int32_at(parse->variables, order);
    if (parse->layout->observation_count_bytes == 4)
        header->nobs_4byte = int32_at(parse->observations, order);
    else
        header->nobs_8byte = static_cast<int64_t>(number_at(parse->observations, 8, order));
    return DONE;
}

// Reads a tag that begins with `opening` and compares it. found receives the bytes read.
status read_exact_tag(indbsrec *in, const char *opening, const char *name, bool *same, shown_text *found) {
    const int32_t opening_length = wzstlen(opening);
    const int32_t name_length = wzstlen(name);
    const int32_t length = opening_length + name_length + 1;
    char tag[2 + LONGEST_TAG + 1];
    if (const status s = read_exactly(in, tag, length, name))
        return s;
    *found = show_text(tag, length);
    *same = memcmp(tag, opening, static_cast<size_t>(opening_length)) == 0 &&
            memcmp(tag + opening_length, name, static_cast<size_t>(name_length)) == 0 && tag[length - 1] == '>';
    return DONE;
}

status read_opening_tag(indbsrec *in, const char *name) {
    bool same;
    shown_text found;
    if (const status s = read_exact_tag(in, "<", name, &same, &found))
        return s;
    if (same)
        return DONE;
    if (mivex_lseek(in->mivex_infd, -(2 + wzstlen(name)), 1) < 0)
        return fail(in, ERROR_SEEK, "The Stata file could not be moved back to the start of an element.");
    return fail_plain(in, ERROR_INPUT_INVALID, "Didn't see the |%s| element.  Got -> |%s| at byte %lld", name,
                      found.text, file_position(in));
}

status read_closing_tag(indbsrec *in, const char *name) {
    bool same;
    shown_text found;
    if (const status s = read_exact_tag(in, "</", name, &same, &found))
        return s;
    if (same)
        return DONE;
    return fail_plain(in, ERROR_INPUT_INVALID, "Didn't see end for |%s| element.  Got -> |%s| at byte %lld", name,
                      found.text, file_position(in) - (3 + wzstlen(name)));
}

// The length in front of a block, and the byte behind it, which the file has room for.
status read_block_length(indbsrec *in, const char *name, int64_t *length, int64_t *end) {
    char field[4];
    if (const status s = read_exactly(in, field, sizeof field, name))
        return s;
    *length = static_cast<int64_t>(number_at(field, sizeof field, in->indsn->byte_order));
    const int64_t position = file_position(in);
    if (position < 0)
        return ERROR_SEEK;
    const int64_t left = in->indsn->file_size - position;
    if (*length > left)
        return fail(in, ERROR_INPUT_INVALID,
                    "The element <%s> at byte %lld has a length of %lld bytes; the file holds %lld more.", name,
                    position, *length, left);
    *end = position + *length;
    return DONE;
}

status skip_block(indbsrec *in, const char *name) {
    int64_t length;
    int64_t end;
    if (const status s = read_block_length(in, name, &length, &end))
        return s;
    return seek_to(in, end);
}

status read_characteristic(indbsrec *in) {
    int64_t length;
    int64_t end;
    if (const status s = read_block_length(in, "ch", &length, &end))
        return s;
    if (is_granted(in->self, WISH_CHARACTERISTICS))
        return keep_characteristic(in, length);
    ++in->indsn->characteristics;
    return seek_to(in, end);
}

} // namespace

status parse_xml_header(indbsrec *in, headerrec *header) {
    header_parse parse = {.in = in,
                          .header = header,
                          .layout = nullptr,
                          .variables = {},
                          .observations = {},
                          .variables_seen = false,
                          .observations_seen = false,
                          .text_bytes = 0};
    header->filetype = 1;
    header->byteorder = 0;
    for (;;) {
        char tag[LONGEST_TAG + 1];
        if (const status s = read_tag(&parse, tag))
            return s;
        if (comp2inull(tag, "/header") == 0)
            return finish_header(&parse);
        if (const status s = parse_element(&parse, tag))
            return s;
    }
}

status parse_xml_item(indbsrec *in, const char *name, int64_t len, void *storage) {
    if (len != ITEM_CLOSES)
        if (const status s = read_opening_tag(in, name))
            return s;
    if (len == ITEM_OPENS)
        return DONE;
    if (len > 0)
        if (const status s = read_exactly(in, storage, len, name))
            return s;
    if (len == ITEM_SKIPPED)
        if (const status s = skip_block(in, name))
            return s;
    return read_closing_tag(in, name);
}

status skip_xml_expansion_records(indbsrec *in) {
    if (const status s = parse_xml_item(in, "characteristics", ITEM_OPENS, nullptr))
        return s;
    for (;;) {
        const status opened = read_opening_tag(in, "ch");
        if (opened == ERROR_INPUT_INVALID)
            return parse_xml_item(in, "characteristics", ITEM_CLOSES, nullptr);
        if (opened != DONE)
            return opened;
        if (const status s = read_characteristic(in))
            return s;
        if (const status s = read_closing_tag(in, "ch"))
            return s;
    }
}
