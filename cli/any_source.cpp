#include "any_source.h"

#include "destinations.h"

#include <vorhost/parquet.h>
#include <vorhost/tables.h>

namespace vor::cli {

AnySource::AnySource(const std::string &text, const Options &options, const Run &run) {
    const auto place = text == "-" ? std::nullopt : options.tables ? parse_place(text) : parse_library(text);
    const bool from_library = place && place->kind == Destination::Kind::library;
    libraries_ = std::make_unique<RunLibraries>(
        LibraryOptions{}, RunLibraries::Data{from_library ? "SOURCE" : "", from_library ? place->path : ""},
        from_library ? Library::Access::read : Library::Access::write);
    summary_.file = text;
    if (from_library) {
        refuse_reading_options(options.reading);
        Library &library = *libraries_->data();
        const std::string name = place->dataset.empty() ? only_dataset(library) : place->dataset;
        summary_.file = place->path + ":" + name;
        source_ = library.dataset_source(name, run.notes(), run.warnings());
    } else if (place && place->kind == Destination::Kind::parquet) {
        source_ = parquet_source(text, run.options.threads, run.warnings());
    } else if (place) {
        source_ = delimited_source(
            text, {.separator = place->separator, .log = &run.log, .unpacking = run.options.unpacking()});
    } else {
        check_stata_name(text);
        HostOptions host = run.host();
        host.log = options.silent ? nullptr : host.log;
        host.catalogs = &libraries_->all();
        host.valid_variable_names = options.reading.valid_variable_names;
        session_ =
            std::make_unique<ImportSession>(host,
                                            ImportSession::Options{.encoding = options.reading.encoding,
                                                                   .formats = libraries_->place(),
                                                                   .contract = contract_of(options.reading.contract),
                                                                   .head_only = options.head_only},
                                            text);
        summary_ = session_->summary();
        return;
    }
    summary_.data_label = description().label;
    summary_.observations = description().observations;
}

void AnySource::close() {
    if (session_)
        session_->close();
}

} // namespace vor::cli
