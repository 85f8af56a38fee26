// The smallest host that the module's helpers need: a pool, the character tables and a log that is kept. It is the
// module's host while it exists.
#pragma once

#include "service_entries.h"

#include <array>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace vor::test {

class SmallHost {
  public:
    SmallHost() {
        for (int byte = 0; byte < 256; ++byte) {
            const auto index = static_cast<std::size_t>(byte);
            tables_[0][index] = static_cast<std::uint8_t>(byte + 1);
            tables_[1][index] = static_cast<std::uint8_t>(byte - 1);
            tables_[2][index] = static_cast<std::uint8_t>(byte >= 'a' && byte <= 'z' ? byte - 32 : byte);
            tables_[3][index] = static_cast<std::uint8_t>(byte >= 'A' && byte <= 'Z' ? byte + 32 : byte);
            tables_[4][index] = static_cast<std::uint8_t>(255 - byte);
        }
        for (std::size_t i = 0; i < tables_.size(); ++i)
            control_block.translation_tables[i] = tables_[i].data();
        control_block.upper_table = tables_[2].data();
        control_block.groups = groups_.data();
        control_block.status = status_.data();
        control_block.pool = &pool_;
        enter(39, 89, reinterpret_cast<SERVICE_ROUTINE>(&write_log));
        current_ = this;
        v_global_gcb_anchor = &control_block;
    }
    ~SmallHost() {
        for (void *block : blocks_)
            std::free(block);
        current_ = nullptr;
        v_global_gcb_anchor = nullptr;
    }
    SmallHost(const SmallHost &) = delete;
    SmallHost &operator=(const SmallHost &) = delete;

    void enter(std::size_t group, std::size_t slot, SERVICE_ROUTINE routine) {
        slots_[group][slot] = routine;
        groups_[group] = slots_[group].data();
    }

    GCB control_block{};
    std::vector<std::string> log;
    int allocations_left = -1; // before the pool refuses; -1: it never does

  private:
    static void *allocate(POOL *, std::int64_t length, std::int32_t) {
        if (current_->allocations_left == 0)
            return nullptr;
        --current_->allocations_left;
        return current_->blocks_.emplace_back(std::calloc(1, static_cast<std::size_t>(length)));
    }

    static std::int32_t write_log(SERVICE_ID, const char *format, ...) {
        // The level prefix stays in front of the line as it is.
        const std::string prefix(format, format[0] == '%' ? 3 : 0);
        char line[4096];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(line, sizeof line, format + prefix.size(), arguments);
        va_end(arguments);
        current_->log.push_back(prefix + line);
        return 0;
    }

    inline static SmallHost *current_ = nullptr;
    POOL pool_{.allocate = allocate, .free = nullptr};
    std::array<std::array<std::uint8_t, 256>, 5> tables_{};
    std::vector<std::array<SERVICE_ROUTINE, SERVICE_SLOTS>> slots_{static_cast<std::size_t>(SERVICE_GROUPS)};
    std::array<const SERVICE_ROUTINE *, SERVICE_GROUPS> groups_{};
    std::array<std::uint8_t, SERVICE_GROUPS> status_{};
    std::vector<void *> blocks_;
};

} // namespace vor::test
