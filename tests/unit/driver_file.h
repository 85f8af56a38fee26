// A Stata file opened for the driver alone: a session record, the input record and a file of the given bytes, without
// the access object. Reads and allocations can be made to fail.
#pragma once

#include "driver_records.h"
#include "imglue_log.h"
#include "imstata_records.h"
#include "module_host.h"
#include "stata_file_builder.h"

#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vor::test {

// What the driver delivers for one value: a number, a missing value, or a text without its trailing blanks.
using DriverCell = std::variant<double, Missing, std::string>;

// The file with another number at a named place, or so many bytes behind it.
inline std::string with_number(const StataFile &file, const std::string &place, std::uint64_t value, std::size_t width,
                               std::size_t behind = 0) {
    Offsets places;
    std::string bytes = build(file, &places);
    patch_number(bytes, places.at(place) + behind, value, width, file.order);
    return bytes;
}

class DriverFile {
  public:
    explicit DriverFile(std::string contents) : bytes(std::move(contents)) {
        init_imstata(&procs);
        self->dbsinfoptr = &info;
        self->do_input = 1;
        in.self = self.get();
        in.mivex_infd = file.handle;
        in.inobscount = -1;
        in.inbuffsize = 32000;
        in.message_string = message_.data();
        procs.get_extend_info(&in, nullptr, &info);
    }

    std::int32_t set_up() { return procs.dindbssetup(&in); }
    std::string_view message() const { return message_.data(); }
    bool says(std::string_view part) const { return message().find(part) != std::string_view::npos; }

    innamerecord &variable(std::size_t index) {
        innamerecord *found = in.firstname;
        while (index-- > 0)
            found = found->nextname;
        return *found;
    }

    // The value of the current record.
    DriverCell value(innamerecord &of) {
        if (of.innametype == CLASS_CHARACTER) {
            std::string text(static_cast<std::size_t>(of.innamelength) + 1, '#');
            procs.readit(&in, &of, text.data(), of.innamelength);
            if (text.back() != '#')
                return "written past its length";
            text.resize(static_cast<std::size_t>(of.data_length));
            return text;
        }
        mivex_num_struct number = {.num = 0, .miss_char = 0};
        procs.readit(&in, &of, &number, 8);
        if (number.num != MISSING_SENTINEL)
            return number.num;
        return Missing{number.miss_char == 0 ? '.' : static_cast<char>(number.miss_char)};
    }

    // Sets up the file and reads it whole; `status` is what ended the reading.
    std::vector<std::vector<DriverCell>> read_all(std::int32_t &status) {
        std::vector<std::vector<DriverCell>> rows;
        status = set_up();
        if (status == 0)
            status = procs.initbuffer(&in);
        while (status == 0 && in.infinish == 0) {
            rows.emplace_back();
            for (innamerecord *each = in.firstname; each != nullptr; each = each->nextname)
                rows.back().push_back(value(*each));
            status = procs.getrecord(&in);
        }
        return rows;
    }

    ModuleHost host;
    std::string bytes;
    WatchedFile file = open(host, bytes);
    native_procs procs{};
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    indbsinfo info{};
    indbsrec in{};

  private:
    static WatchedFile open(ModuleHost &host, const std::string &bytes) {
        host.files.put("file.dta", bytes);
        return {"file.dta", WX_OPEN_INPUT};
    }

    std::vector<char> message_ = std::vector<char>(IMGLUE_SCRATCH_BYTES);
};

} // namespace vor::test
