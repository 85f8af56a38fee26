// Images: the module's file with its two entries, and the base class that the host gives the module's objects.
#pragma once

#include "services/service_table.h"

#include <vor/control_block.h>
#include <vorhost/host.h>

#include <memory>
#include <string>
#include <vector>

namespace vor::services {

// The places where the module is looked for, in order.
std::vector<std::string> module_places(const std::string &module_path);

// The module, loaded from its file or linked into the program.
class Module {
  public:
    // Loads the module and finds its entries; ConversionError (machine) says what is missing.
    void load(const std::string &module_path);

    // Takes a module that is linked into the program; connection may be null when somebody else connects it.
    void use(CONNECTION_ENTRY connection, CONSTRUCTOR_ENTRY entry);

    // Hands the module the control block. Nothing happens without a connection entry.
    void connect(GCB *control_block) const;

    // The same for a module that was connected before.
    void reconnect(GCB *control_block) const noexcept {
        if (connection_ != nullptr)
            connection_(control_block, nullptr);
    }

    CONSTRUCTOR_ENTRY constructor() const { return constructor_; } // null: no module

  private:
    struct CloseImage {
        void operator()(void *image) const;
    };

    std::unique_ptr<void, CloseImage> image_;
    CONNECTION_ENTRY connection_ = nullptr;
    CONSTRUCTOR_ENTRY constructor_ = nullptr;
};

// The image of the base class, as the image services know it.
struct BaseClassImage {
    static int32_t wiloadv(void **image, const char *name, int32_t flags, int32_t one, int32_t zero,
                           int32_t another_one);
    static int32_t viidb2g(void *image, CONSTRUCTOR_ENTRY *entry);
};

} // namespace vor::services
