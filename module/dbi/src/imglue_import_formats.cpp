// Display formats on import. Two chains of rules, of each the first that matches applies: one looks at both formats of
// the variable, the other at its display format alone. The drivers' names mean what their letters say: "mdyhm" is a
// date in the order month, day, year with hours and minutes.
#include "imglue_import_formats.h"

#include "hcstrings.h"
#include "imglue_text.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr int32_t FORMAT_NAME_BYTES = 8;
constexpr int32_t NUMBER_WIDTH = 12; // where a format has none and needs one

struct format {
    char name[FORMAT_NAME_BYTES + 1]; // terminated
    int32_t width;
    int32_t decimals;
};

// What a rule does to a width: 0 becomes when_zero; what is then below lowest becomes lowest, and what is above
// highest becomes when_above.
struct width_rule {
    int32_t when_zero;
    int32_t lowest;
    int32_t highest;
    int32_t when_above;
};

constexpr width_rule NUMBER = {NUMBER_WIDTH, INT32_MIN, INT32_MAX, 0};
constexpr width_rule DATETIME_INPUT = {18, 10, 40, 50};
constexpr width_rule DATETIME_DISPLAY = {16, 10, 40, 50};
constexpr width_rule NUMERIC_DATE = {10, 2, 10, 10};
constexpr width_rule NAMED_DATE = {9, 2, 9, 9};
constexpr width_rule MONTH_AND_YEAR = {7, 7, 7, 7};

enum class side { input, display };

// The format on that side, when it has this name, gets another one (null: keeps it) and a width of the rule (null: a
// plain number, which needs no name but room for its decimals).
struct format_rule {
    side tested;
    const char *name;
    const char *becomes;
    const width_rule *width;
};

constexpr format_rule RULES[] = {
    {side::input, "fixed", "", nullptr},
    {side::display, "e", nullptr, &NUMBER},
    {side::display, "comma", nullptr, &NUMBER},
    {side::display, "dollar", "nlmny", &NUMBER},
    {side::input, "datehm", "datetime", &DATETIME_INPUT},
    {side::input, "mdyhm", "datetime", &DATETIME_INPUT},
    {side::input, "dmy", "ddmmyy", &NUMERIC_DATE},
    {side::input, "nldate", nullptr, &NAMED_DATE},
    {side::input, "date", nullptr, &NAMED_DATE},
    {side::input, "mdy", "mmddyy", &NUMERIC_DATE},
    {side::input, "mmmyy", "monyy", &MONTH_AND_YEAR},
    {side::input, "monyy", nullptr, &MONTH_AND_YEAR},
    {side::input, "mmyy", "monyy", &MONTH_AND_YEAR},
};

constexpr format_rule DISPLAY_RULES[] = {
    {side::display, "fixed", "", nullptr},
    {side::display, "e", nullptr, &NUMBER},
    {side::display, "comma", nullptr, &NUMBER},
    {side::display, "dollar", nullptr, &NUMBER},
    {side::display, "datehm", "datetime", &DATETIME_DISPLAY},
    {side::display, "mdyhm", "datetime", &DATETIME_DISPLAY},
    {side::display, "dmy", "ddmmyy", &NUMERIC_DATE},
    {side::display, "date", nullptr, &NAMED_DATE},
    {side::display, "mdy", "mmddyy", &NUMERIC_DATE},
    {side::display, "ymd", "yymmdd", &NUMERIC_DATE},
    {side::display, "mmmyy", "monyy", &MONTH_AND_YEAR},
    {side::display, "monyy", nullptr, &MONTH_AND_YEAR},
    {side::display, "mmyy", "monyy", &MONTH_AND_YEAR},
};

format make_format(const char *name, const int32_t (&width_and_decimals)[2]) {
    format made{};
    mivex_strncpy(made.name, name == nullptr ? "" : name, sizeof made.name);
    made.width = width_and_decimals[0];
    made.decimals = width_and_decimals[1];
    return made;
}

void make_character(format *changed, int32_t length) {
    memcpy(changed->name, "$", 2);
    changed->width = length;
    changed->decimals = 0;
}

int32_t ruled_width(const width_rule &rule, int32_t width) {
    if (width == 0)
        width = rule.when_zero;
    if (width < rule.lowest)
        return rule.lowest;
    return width > rule.highest ? rule.when_above : width;
}

void apply(const format_rule &rule, format *changed) {
    if (rule.becomes != nullptr)
        mivex_strncpy(changed->name, rule.becomes, sizeof changed->name);
    if (rule.width != nullptr)
        changed->width = ruled_width(*rule.width, changed->width);
    else if (changed->decimals > changed->width)
        changed->width = min(changed->decimals, INT32_MAX - 4) + 4;
}

template <size_t count>
void apply_first(const format_rule (&rules)[count], format *input, format *display) {
    for (const format_rule &rule : rules) {
        format *tested = rule.tested == side::input ? input : display;
        if (comp2inull(tested->name, rule.name) == 0) {
            apply(rule, tested);
            return;
        }
    }
}

int16_t narrowed(int32_t number) {
    return static_cast<int16_t>(number < INT16_MIN ? INT16_MIN : min(number, INT16_MAX));
}

// Puts the format into its place in the description: the name in capitals, up to its first white space.
void store(format *stored, char *area, int16_t *name_length, int16_t *width, int16_t *decimals) {
    char *name = stored->name;
    blank(name, FORMAT_NAME_BYTES);
    const bool named = wzstrip(name, FORMAT_NAME_BYTES) > 0;
    if (named && stored->width == 0 && stored->decimals != 0)
        stored->width = NUMBER_WIDTH;
    for (int32_t i = 0; i < FORMAT_NAME_BYTES; ++i) {
        if (name[i] >= 'a' && name[i] <= 'z')
            name[i] = static_cast<char>(name[i] - 'a' + 'A');
    }
    const int32_t length = zeroit(name, FORMAT_NAME_BYTES);
    vzmp(name, length, area, FORMAT_NAME_BYTES);
    *name_length = static_cast<int16_t>(length);
    *width = narrowed(stored->width);
    *decimals = narrowed(stored->decimals);
}

} // namespace

void to_vor_formats(innamerecord *in1name, NAMESTR *np) {
    format input = make_format(in1name->innameif, in1name->innameinf);
    format display = make_format(in1name->innameof, in1name->innameoutf);
    if (in1name->innametype == CLASS_CHARACTER) {
        make_character(&input, in1name->transcode_length);
        if (display.name[0] != '$')
            make_character(&display, in1name->transcode_length);
    } else {
        apply_first(RULES, &input, &display);
    }
    apply_first(DISPLAY_RULES, &input, &display);
    store(&input, np->niformlong, &np->niformlongl, &np->nifl, &np->nifd);
    store(&display, np->nformlong, &np->nformlongl, &np->nfl, &np->nfd);
}
