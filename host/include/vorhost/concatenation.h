// Stata files of equal layout put together, one behind the other.
#pragma once

#include <vorhost/conversion.h>

#include <string>
#include <vector>

namespace vor {

struct ConcatenationOptions {
    std::string encoding = {}; // of the parts' text; empty: as the release of each says
    ExportSession::Options output = {};
};

// Writes the observations of all parts, in the order given, into one file, which appears only when it is whole. The
// number written. The parts may be compressed, and of any release and byte order.
//
// Layouts are equal when the variables have the same names, stored types, units and value labels, in the same order.
// ConversionError (conversion) names the first difference: file, variable, and what either has. Every part is looked
// at before anything is written, but for pipes, whose turn comes when they are read.
//
// Everything else is as the first part has it; where others differ (labels, display formats, notes and other
// characteristics, label tables that no variable uses) a warning says so. The result of several parts is not marked as
// sorted.
int64_t concatenate(const HostOptions &host, const ConcatenationOptions &options, const std::vector<std::string> &parts,
                    const std::string &file, const Progress &progress = {});

} // namespace vor
