// Builds the header, the ordered ranges and the labels of one user format and accounts for their stored sizes. How a
// catalog keeps them is the host's affair.
#include "zfmtmkfm.h"

#include "service_entries.h"
#include "vor/imglue.h"
#include "wzst.h"
#include "ztrebdf.h"

#include <cstddef>
#include <cstring>

namespace {

constexpr int64_t POOL_BYTES = 1024; // the pool's first size
constexpr int32_t SHORT_NAME_BYTES = 8;
constexpr int32_t LONG_NAME_BYTES = 32;
constexpr uint8_t VERSION_SHORT_NAME = 4;
constexpr uint8_t VERSION_LONG_NAME = 6;
constexpr int64_t STORED_RANGE_BYTES = 48; // a stored range, without the characters of its value after the first
constexpr int64_t STORED_LABEL_BYTES = 15; // what a stored label takes beside its text
constexpr int32_t MESSAGE_BYTES = 256;
constexpr int32_t QUOTED_BYTES = 128; // of a value or name in a message

struct HANDLEINFO {
    XFRWSTR xfrwstr;
    HEADSTR headstr;
    ZFMTMAKEFMTOPTS fmtopts;
    POOL *pool;
    TREE *head_n_s;        // numeric ranges
    IRANGESTR_N_S *n_s_p;  // the last one made
    IRANGESTR_N_S *n_s_p2; // the one that a duplicate met
    TREE *head_c_s;        // the same for character ranges
    IRANGESTR_C_S *c_s_p;
    IRANGESTR_C_S *c_s_p2;
    LABELSTR_NCF *head_lncf; // in the order of the pairs
    LABELSTR_NCF **tail_lncf;
};

template <class record>
record *allocate(POOL *pool, int64_t length_bytes = static_cast<int64_t>(sizeof(record))) {
    return static_cast<record *>(pool->allocate(pool, length_bytes, POOL_ZEROED));
}

// -1 gives 0, as 0 does.
int64_t rounded_up_to_4(int64_t bytes) {
    return (bytes + 3) / 4 * 4;
}

// Gives the host the text of the status about to be returned. "%*s" takes the quoted text's length and the text; the
// length is no limit to every formatter, so the text is terminated as well.
int32_t refuse_text(const char *format, const char *quoted, int32_t quoted_bytes) {
    char terminated[QUOTED_BYTES + 1];
    const int32_t kept = min(quoted_bytes, QUOTED_BYTES);
    memcpy(terminated, quoted, static_cast<size_t>(kept));
    terminated[kept] = '\0';
    char message[MESSAGE_BYTES];
    const int32_t length = xpsstr(message, MESSAGE_BYTES, format, kept, static_cast<const char *>(terminated));
    wrmksub(1, static_cast<const char *>(message), length);
    return ZFMT_REFUSED;
}

int32_t refuse_number(double value) {
    char message[MESSAGE_BYTES];
    const int32_t length = xpsstr(message, MESSAGE_BYTES, "The numeric value of %f is duplicated", value);
    wrmksub(1, static_cast<const char *>(message), length);
    return ZFMT_REFUSED;
}

int32_t check_name(const char *fmtname, int32_t fmtname_l, const ZFMTMAKEFMTOPTS *options) {
    if (fmtname_l > SHORT_NAME_BYTES && options->maxfmtname8 != 0)
        return refuse_text("Format name %*s is over 8 characters but a max of 8 is required", fmtname, fmtname_l);
    if (fmtname_l > LONG_NAME_BYTES)
        return refuse_text("Format name %*s is over 32 characters", fmtname, fmtname_l);
    return 0;
}

void fill_header(HEADSTR *header, const char *fmtname, int32_t fmtname_l, POOL *pool) {
    header->rectype = 1;
    header->h_min = 1;
    header->rangsort = 1;
    header->range_group = 1;
    header->poolptr = pool;
    header->crdate = zdattim();
    header->type = fmtname_l > 0 && fmtname[0] == '$' ? FORMAT_CHARACTER : FORMAT_NUMERIC;
    header->vernum = fmtname_l > SHORT_NAME_BYTES ? VERSION_LONG_NAME : VERSION_SHORT_NAME;
    vzmp(fmtname, fmtname_l, header->fmtname, SHORT_NAME_BYTES);
    if (header->vernum == VERSION_LONG_NAME)
        vzmp(fmtname, fmtname_l, header->fmtname_long, LONG_NAME_BYTES);
}

void fill_target(XFRWSTR *target, const ZFMTMAKEFMTOPTS *options) {
    const int32_t library_bytes = wzstrip(options->libname, sizeof options->libname);
    target->libname.length = static_cast<int16_t>(library_bytes);
    memcpy(target->libname.text, options->libname, static_cast<size_t>(library_bytes));
    target->objlibnm = options->memname;
    target->noreplace = options->noreplace != 0 ? 1 : 0;
}

LABELSTR_NCF *new_label(POOL *pool, const char *label, int32_t labellen) {
    constexpr size_t text_at = offsetof(LABELSTR_NCF, ncf) + offsetof(ILABELSTR_NCF, label);
    auto *record = allocate<LABELSTR_NCF>(pool, static_cast<int64_t>(sizeof(LABELSTR_NCF)) + labellen);
    if (record == nullptr)
        return nullptr;
    record->ncf.rectype = LABEL_TEXT;
    record->ncf.length = static_cast<int16_t>(labellen);
    memcpy(reinterpret_cast<char *>(record) + text_at, label, static_cast<size_t>(labellen));
    return record;
}

// A tree node and its range record.
TREE *new_range(POOL *pool, int64_t range_bytes) {
    return allocate<TREE>(pool, static_cast<int64_t>(sizeof(TREE)) + range_bytes);
}

bool append_number(POOL *pool, ULABHDTL *list, int64_t number) {
    auto *element = allocate<ULABLST>(pool);
    if (element == nullptr)
        return false;
    element->u = number;
    (list->tail == nullptr ? list->head : list->tail->next) = element;
    list->tail = element;
    ++list->count;
    return true;
}

// Gives a range that has a label one label more. False without memory; the range is then unchanged.
bool add_label_number(POOL *pool, uint8_t *flags, LABEL_REFERENCE *u, int64_t number) {
    if ((*flags & RANGE_MANY_LABELS) != 0)
        return append_number(pool, u->list, number);
    auto *list = allocate<ULABHDTL>(pool);
    if (list == nullptr || !append_number(pool, list, u->number) || !append_number(pool, list, number))
        return false;
    u->list = list;
    *flags |= RANGE_MANY_LABELS;
    return true;
}

// Puts the label at the end of the format's labels; the pair has been taken.
void link_label(HANDLEINFO *info, LABELSTR_NCF *label) {
    HEADSTR *header = &info->headstr;
    *info->tail_lncf = label;
    info->tail_lncf = &label->next;
    ++header->nlabels;
    header->totlabsize += rounded_up_to_4(label->ncf.length + STORED_LABEL_BYTES);
    if (header->maxlabl < label->ncf.length)
        header->maxlabl = label->ncf.length;
}

template <class range>
range *range_of(TREE *node) {
    return reinterpret_cast<range *>(node + 1);
}

enum class placing { fresh, joined, duplicate, contradiction, no_memory };

// Enters a node in its tree, or gives its label to the range that has the value already; *met is then that range.
template <class range>
placing place_range(HANDLEINFO *info, TREE **root, TREE *node, range **met) {
    TREE *place = ztrebdf(root, node, 0, 0, trecomp);
    if (place == nullptr)
        return placing::contradiction;
    HEADSTR *header = &info->headstr;
    if (place == node) {
        ++header->nranges;
        return placing::fresh;
    }
    *met = range_of<range>(place);
    if (info->fmtopts.multilabel == 0)
        return placing::duplicate;
    if (!add_label_number(info->pool, &(*met)->flags, &(*met)->u, header->nlabels))
        return placing::no_memory;
    header->multilabel = 1;
    return placing::joined;
}

bool fits(int32_t text_bytes) {
    return text_bytes >= 0 && text_bytes <= ZFMT_TEXT_BYTES;
}

} // namespace

int32_t zfmtmakefmt_init(void **handlep, const char *fmtname, int32_t fmtname_l, const ZFMTMAKEFMTOPTS *optstrp) {
    *handlep = nullptr;
    const int32_t name_status = check_name(fmtname, fmtname_l, optstrp);
    if (name_status != 0)
        return name_status;
    POOL *pool = xmpoolc(POOL_BYTES);
    if (pool == nullptr)
        return HOST_NO_MEMORY;
    auto *info = allocate<HANDLEINFO>(pool);
    if (info == nullptr) {
        xmpoold(pool);
        return HOST_NO_MEMORY;
    }
    info->pool = pool;
    info->fmtopts = *optstrp;
    info->tail_lncf = &info->head_lncf;
    info->xfrwstr.hp = &info->headstr;
    fill_target(&info->xfrwstr, optstrp);
    fill_header(&info->headstr, fmtname, fmtname_l, pool);
    *handlep = info;
    return 0;
}

int32_t zfmtmakefmt_addnum(void *handle, double value, const char *label, int32_t labellen) {
    auto *info = static_cast<HANDLEINFO *>(handle);
    if (info == nullptr || info->headstr.type != FORMAT_NUMERIC || !fits(labellen))
        return ZFMT_REFUSED;
    LABELSTR_NCF *label_record = new_label(info->pool, label, labellen);
    TREE *node = new_range(info->pool, sizeof(IRANGESTR_N_S));
    if (label_record == nullptr || node == nullptr)
        return HOST_NO_MEMORY;
    info->n_s_p = range_of<IRANGESTR_N_S>(node);
    info->n_s_p->rectype = RANGE_NUMERIC_VALUE;
    info->n_s_p->u.number = info->headstr.nlabels;
    wzcsdbl(&value, info->n_s_p->start);

    switch (place_range(info, &info->head_n_s, node, &info->n_s_p2)) {
    case placing::duplicate:
        return refuse_number(value);
    case placing::contradiction:
        return ZFMT_REFUSED;
    case placing::no_memory:
        return HOST_NO_MEMORY;
    case placing::fresh:
    case placing::joined:
        break;
    }
    info->headstr.totrangsize += STORED_RANGE_BYTES;
    link_label(info, label_record);
    return 0;
}

int32_t zfmtmakefmt_addchar(void *handle, const char *value, int32_t valuelen, const char *label, int32_t labellen) {
    auto *info = static_cast<HANDLEINFO *>(handle);
    if (info == nullptr || info->headstr.type != FORMAT_CHARACTER || !fits(labellen) || !fits(valuelen))
        return ZFMT_REFUSED;
    LABELSTR_NCF *label_record = new_label(info->pool, label, labellen);
    TREE *node = new_range(info->pool, static_cast<int64_t>(sizeof(IRANGESTR_C_S)) + valuelen);
    if (label_record == nullptr || node == nullptr)
        return HOST_NO_MEMORY;
    info->c_s_p = range_of<IRANGESTR_C_S>(node);
    info->c_s_p->rectype = RANGE_CHARACTER_VALUE;
    info->c_s_p->u.number = info->headstr.nlabels;
    info->c_s_p->startlen = static_cast<int16_t>(valuelen);
    memcpy(reinterpret_cast<char *>(info->c_s_p) + offsetof(IRANGESTR_C_S, startc), value,
           static_cast<size_t>(valuelen));

    switch (place_range(info, &info->head_c_s, node, &info->c_s_p2)) {
    case placing::duplicate:
        return refuse_text("The character value of '%*s' is duplicated", value, valuelen);
    case placing::contradiction:
        return ZFMT_REFUSED;
    case placing::no_memory:
        return HOST_NO_MEMORY;
    case placing::fresh:
        info->headstr.totrangsize += STORED_RANGE_BYTES + rounded_up_to_4(valuelen - 1);
        break;
    case placing::joined:
        break;
    }
    if (info->headstr.maxstartl < labellen)
        info->headstr.maxstartl = static_cast<int16_t>(labellen);
    link_label(info, label_record);
    return 0;
}

int32_t zfmtmakefmt_term(void *handle) {
    auto *info = static_cast<HANDLEINFO *>(handle);
    if (info == nullptr)
        return 0;
    HEADSTR *header = &info->headstr;
    TREE **root = header->type == FORMAT_NUMERIC ? &info->head_n_s : &info->head_c_s;
    info->xfrwstr.rp = *root == nullptr ? nullptr : ztrelst(root);
    info->xfrwstr.lp = info->head_lncf;
    header->h_max = header->h_def = header->truelen = header->maxlabl;
    const int32_t status =
        header->vernum == VERSION_LONG_NAME
            ? xfwrfmt(header->fmtname_long, wzstrip(header->fmtname_long, LONG_NAME_BYTES), &info->xfrwstr)
            : xfwrfmt(header->fmtname, SHORT_NAME_BYTES, &info->xfrwstr);
    xmpoold(info->pool);
    return status;
}
