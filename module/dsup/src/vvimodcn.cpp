// Knows the connection entry, the anchors, what the image says about itself and how a block is asked of a pool; calls
// no service and keeps no record of blocks. The build gives the three texts of the image information.
#include "vvimodcn.h"

#include "vor/layout_asserts.h"

GCB *v_global_gcb_anchor;
void *v_global_pidb_anchor;
TOOLKIT *Exported_ZKHandle;

const IMAGE_INFORMATION vi_mcn = {
    .marker = "VOR_Image_Information=",
    .version = VORIMDTA_VERSION,
    .release = VORIMDTA_RELEASE,
    .build_date = VORIMDTA_BUILD_DATE,
};

void himodcn() {}

const IMAGE_INFORMATION *mcn_main(GCB *gcb, void *pidb) {
    v_global_gcb_anchor = gcb;
    v_global_pidb_anchor = pidb;
    himodcn();
    Exported_ZKHandle = gcb->toolkit;
    return &vi_mcn;
}

void *vmalcp_handler(POOL *pool, int64_t length_bytes, int32_t flags) {
    if (length_bytes < 0)
        return nullptr;
    return pool->allocate(pool, length_bytes, flags);
}

void *vmalloc_handler(int64_t length_bytes, int32_t flags) {
    return vmalcp_handler(v_global_gcb_anchor->pool, length_bytes, flags);
}

void vmfree_handler(POOL *pool, void *block, int64_t length_bytes, int32_t flags) {
    if (block != nullptr)
        pool->free(pool, block, length_bytes, flags);
}
