#include "services/control_block.h"

#include "services/host_state.h"

#include <vorhost/missing.h>

#include <cstring>

namespace vor::services {

ControlBlock::ControlBlock(HostState &host) {
    offer_memory_services(services_);
    offer_file_services(services_);
    offer_log_services(services_);
    offer_option_services(services_);
    offer_image_services(services_);
    offer_encoding_services(services_);
    offer_character_services(services_);
    offer_number_services(services_);
    offer_format_services(services_);
    offer_task_services(services_);
    offer_family<StatementParser>(services_);

    special_missings_.fill(missing_value('.'));
    special_missings_['_'] = missing_value('_');
    for (char letter = 'A'; letter <= 'Z'; ++letter)
        special_missings_[static_cast<unsigned char>(letter)] = missing_value(letter);

    task_.files = &host.files;
    task_.procedure = host.parser.procedure();
    toolkit_.nls = &host.encodings;

    std::memcpy(gcb_.marker, "VORGCB  ", sizeof gcb_.marker);
    gcb_.groups = services_.groups();
    gcb_.status = status_.data();
    gcb_.task = &task_;
    gcb_.pool = &host.task_pool;
    gcb_.upper_table = host.characters.upper.data();
    const std::array tables = {&host.characters.same, &host.characters.same, &host.characters.upper,
                               &host.characters.lower, &host.characters.same};
    for (size_t at = 0; at < tables.size(); ++at)
        gcb_.translation_tables[at] = tables[at]->data();
    gcb_.special_missings = special_missings_.data();
    gcb_.multibyte_session = host.encodings.session_is_multibyte() ? 1 : 0;
    gcb_.toolkit = &toolkit_;
    gcb_.to_wide = session_to_wide;
}

} // namespace vor::services
