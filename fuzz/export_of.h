// An export of whatever a source gives, under either contract: it ends with a file or with a ConversionError.
#pragma once

#include "fuzz_host.h"

#include <vorhost/conversion.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <unistd.h>

namespace vor::fuzz {

// A file of this process that is read by its name; the bytes are replaced with each input.
inline std::string input_file(const std::string &ending, const std::string &bytes) {
    const std::string path = "/dev/shm/vordta-fuzz-" + std::to_string(getpid()) + ending;
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

// make_source: a std::unique_ptr to a source, new with each call.
template <typename MakeSource>
void export_of(MakeSource make_source) {
    for (const Contract contract : {Contract::extended, Contract::base}) {
        test::HostResources host;
        try {
            ExportSession::Options options;
            options.contract = contract;
            const auto source = make_source(host.log);
            export_source(host.options(), options, "/memory/output.dta", *source);
            require(host.files.exists("/memory/output.dta"), "the file is there");
        } catch (const ConversionError &) { // how damaged inputs end
        }
        require_nothing_left(host);
    }
}

} // namespace vor::fuzz
