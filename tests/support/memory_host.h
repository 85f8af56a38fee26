// A host for tests: files, memory and log in the test's hands, and faults wherever a test wants them.
//
//     MemoryHost host;
//     host.files.put("survey.dta", bytes);
//     mcn_main(host->control_block(), nullptr);   // or host->use_module(vorimdta, mcn_main), host->load_module()
//     host.faults.fail(Operation::allocation, 3);
//     ...
//     EXPECT_EQ(host.left_over(), "");
#pragma once

#include "memory_files.h"

#include <vor/control_block.h>
#include <vorhost/host.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vor::test {

// Heap blocks that are counted. The most bytes held are kept, so that a test can bound them.
class CountingMemory : public Memory {
  public:
    explicit CountingMemory(Faults &faults) : faults_(faults) {}
    void *allocate(size_t bytes) override;
    void free(void *block) override;

    int64_t blocks() const { return blocks_; }
    size_t most_bytes() const { return most_bytes_; } // held at one time

  private:
    Faults &faults_;
    int64_t blocks_ = 0;
    size_t held_bytes_ = 0;
    size_t most_bytes_ = 0;
};

// The log's lines: "NOTE: ..." and "ERROR: ...".
class CapturedLog : public Log {
  public:
    void line(Severity severity, std::string_view text) override;

    std::vector<std::string> lines;

    bool contains(std::string_view part) const; // in one of the lines
    std::string text() const;                   // all lines, each with a line end
};

// What a host lives on, all of it in the test's hands. Outlives the host.
struct HostResources {
    Faults faults;
    CountingMemory memory{faults};
    MemoryFiles files{faults};
    CapturedLog log;

    // The given options with these files, this memory and this log.
    HostOptions options(HostOptions others = {});
};

// One at a time: the services that are made to fail belong to the one made last.
class MemoryHost : public HostResources {
  public:
    // Files, memory and log of the options are replaced; everything else holds.
    explicit MemoryHost(HostOptions options = {});

    Host *operator->() { return host_.get(); }
    Host &operator*() { return *host_; }

    // Puts another routine in the place of a service, named by its group and slot. The routine must have the service's
    // true type.
    void replace_service(int32_t group, int32_t slot, SERVICE_ROUTINE routine);
    SERVICE_ROUTINE service(int32_t group, int32_t slot);

    // Pieces of information the module asks for of an open file: bytes of the position information.
    void set_position_length(int64_t bytes);

    // What the module still holds, in words; empty when it holds nothing: no block, no open file, no temporary file.
    std::string left_over();

  private:
    std::unique_ptr<Host> host_;
    std::vector<std::unique_ptr<SERVICE_ROUTINE[]>> groups_;
    std::vector<const SERVICE_ROUTINE *> group_table_;
};

} // namespace vor::test
